// Who reads or writes, and what the schema lets them.
#pragma once

#include <cstdint>
#include <string>

namespace ravd {

// In the order of the pairs in the attribute "perms" ("rwr---": admin reads and writes, user reads, guest neither).
enum class Role : uint8_t { admin, user, guest };

// The identity that a request is served with.
struct Viewer {
    Role role = Role::guest;
    std::string user;  // the name of the user who has logged in; empty while nobody has
};

}  // namespace ravd
