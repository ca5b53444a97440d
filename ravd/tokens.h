// Tokens: 43 characters of base64url that let in as the user they were made for. Only their hashes are kept, in the
// database, durable before anybody has the token.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ravd {

class Database;

class Tokens {
 public:
    explicit Tokens(Database &database) : database_(database) {}

    // A new token for an account; nothing when it could not be stored or the account has too many.
    std::optional<std::string> create(uint32_t account);
    // Ends all tokens of an account. Returns false when the database failed.
    bool revoke(uint32_t account);
    // The account that a token is of; nothing for any other text. Takes the same time whatever differs.
    std::optional<uint32_t> owner(std::string_view token);

 private:
    Database &database_;
};

}  // namespace ravd
