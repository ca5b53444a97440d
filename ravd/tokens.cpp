// Tokens and their hashes. 256 random bits need no slow hash: nobody can guess what was hashed.
#include "ravd/tokens.h"

#include <array>
#include <ctime>

#include <openssl/crypto.h>
#include <openssl/sha.h>
#include <sys/random.h>

#include "ravd/hex.h"
#include "ravd/log.h"
#include "ravd/persist/database.h"

namespace ravd {

namespace {

constexpr size_t token_bytes = 32;

using Bytes = std::array<unsigned char, token_bytes>;

std::string base64url(const Bytes &bytes) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string text;
    uint32_t bits = 0;
    int count = 0;
    for (const unsigned char byte : bytes) {
        bits = bits << 8 | byte;
        for (count += 8; count >= 6; count -= 6) text += digits[bits >> (count - 6) & 63];
    }
    if (count > 0) text += digits[bits << (6 - count) & 63];
    return text;
}

std::string hash_of(std::string_view token) {
    Bytes digest;
    static_assert(sizeof digest == SHA256_DIGEST_LENGTH);
    SHA256(reinterpret_cast<const unsigned char *>(token.data()), token.size(), digest.data());
    return hex_digits(digest);
}

bool report(const Database &database, const char *what) {
    log_error("%s: %s", what, database.error().c_str());
    return false;
}

}  // namespace

Tokens::Outcome Tokens::create(uint32_t account, std::string &token) {
    Bytes bytes;
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) return Outcome::failed;
    std::string made = base64url(bytes);
    OPENSSL_cleanse(bytes.data(), bytes.size());
    database_.begin();
    Statement count = database_.prepare("SELECT count(*) FROM token WHERE account = ?");
    if (count.bind(1, account).step() && count.integer(0) >= static_cast<int64_t>(token_limit)) {
        count = {};
        database_.roll_back();
        return Outcome::too_many;
    }
    count = {};
    database_.prepare("INSERT INTO token VALUES (?, ?, ?)")
        .bind(1, hash_of(made))
        .bind(2, account)
        .bind(3, static_cast<int64_t>(time(nullptr)))
        .step();
    if (!database_.commit()) {
        report(database_, "a token could not be stored");
        return Outcome::failed;
    }
    token = std::move(made);
    return Outcome::done;
}

bool Tokens::revoke(uint32_t account) {
    database_.begin();
    database_.prepare("DELETE FROM token WHERE account = ?").bind(1, account).step();
    return database_.commit() || report(database_, "tokens could not be revoked");
}

// The look-up may tell how far two hashes agree: of no use to anybody, for nobody chooses what a token hashes to.
std::optional<uint32_t> Tokens::owner(std::string_view token) {
    const std::string hash = hash_of(token);
    database_.clear();
    Statement rows = database_.prepare("SELECT hash, account FROM token WHERE hash = ?");
    const bool found = rows.bind(1, hash).step();
    if (database_.failed()) report(database_, "a token could not be looked up");
    if (!found || CRYPTO_memcmp(rows.text(0).data(), hash.data(), hash.size()) != 0) return std::nullopt;
    return static_cast<uint32_t>(rows.integer(1));
}

}  // namespace ravd
