// Passwords as salted hashes, which cost time on purpose: see workers.h. Every function may be called on any thread.
#pragma once

#include <string>

namespace ravd {

enum : unsigned {
    lowest_hash_cost = 1,
    default_hash_cost = 5,
    highest_hash_cost = 11
};  // of yescrypt, as crypt(5) has it

// The hash of a password with a new salt, as crypt(5) writes it ("$y$…"). Empty when the system can make none.
std::string hash_password(const std::string &password, unsigned cost);
// Whether the password is the one that was hashed; takes the same time whatever differs. An empty hash is nobody's.
bool verify_password(const std::string &password, const std::string &hash);

// Overwrites the text's bytes, all of its capacity, and makes it empty.
void wipe(std::string &text);

}  // namespace ravd
