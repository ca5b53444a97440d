#include "ravd/persist/content_digest.h"

#include <array>
#include <memory>
#include <vector>

#include <openssl/evp.h>
#include <sqlite3.h>

#include "ravd/hex.h"

namespace ravd {

namespace {

struct Finalize {
    void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
};
using Prepared = std::unique_ptr<sqlite3_stmt, Finalize>;

struct FreeDigest {
    void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
};

Prepared prepare(sqlite3 *database, const std::string &sql) {
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr);
    return Prepared(statement);
}

// Its kind and its length stand before each value, so that no two contents read the same.
void add_value(EVP_MD_CTX *digest, sqlite3_stmt *row, int column) {
    const int kind = sqlite3_column_type(row, column);
    const void *bytes = sqlite3_column_blob(row, column);
    const auto size = static_cast<uint64_t>(sqlite3_column_bytes(row, column));
    EVP_DigestUpdate(digest, &kind, sizeof kind);
    EVP_DigestUpdate(digest, &size, sizeof size);
    if (size > 0) EVP_DigestUpdate(digest, bytes, size);
}

bool add_rows(EVP_MD_CTX *digest, sqlite3 *database, const std::string &sql) {
    const Prepared rows = prepare(database, sql);
    if (!rows) return false;
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(rows.get())) == SQLITE_ROW)
        for (int column = 0; column < sqlite3_column_count(rows.get()); column++) add_value(digest, rows.get(), column);
    return result == SQLITE_DONE;
}

}  // namespace

std::string content_digest(sqlite3 *database) {
    const std::unique_ptr<EVP_MD_CTX, FreeDigest> digest(EVP_MD_CTX_new());
    EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr);
    const Prepared tables =
        prepare(database, "SELECT name FROM sqlite_schema WHERE type = 'table' AND name <> 'content' ORDER BY name");
    while (tables && sqlite3_step(tables.get()) == SQLITE_ROW) {
        const std::string name = reinterpret_cast<const char *>(sqlite3_column_text(tables.get(), 0));
        EVP_DigestUpdate(digest.get(), name.data(), name.size() + 1);
        if (!add_rows(digest.get(), database, "SELECT * FROM \"" + name + "\" ORDER BY 1")) return "";
    }
    std::array<unsigned char, 32> bytes;
    EVP_DigestFinal_ex(digest.get(), bytes.data(), nullptr);
    return hex_digits(bytes);
}

}  // namespace ravd
