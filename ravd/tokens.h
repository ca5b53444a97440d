// Tokens: 43 characters of base64url that let in as the user they were made for. Only their hashes are kept, in the
// database, durable before anybody has the token.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ravd {

class Database;

// How many an account may have.
constexpr size_t token_limit = 32;

class Tokens {
 public:
    enum class Outcome { done, too_many, failed };

    explicit Tokens(Database &database) : database_(database) {}

    // Makes a new token for an account. token is set when done.
    Outcome create(uint32_t account, std::string &token);
    // Ends all tokens of an account. Returns false when the database failed; then none has ended.
    bool revoke(uint32_t account);
    // The account that a token is of; nothing for any other text. How long it takes tells nothing of any token.
    std::optional<uint32_t> owner(std::string_view token);

 private:
    Database &database_;
};

}  // namespace ravd
