// SQLite with a rollback journal: a commit has reached the disk, with the folder's entry, when it returns.
#include "ravd/persist/database.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ravd/log.h"
#include "ravd/persist/content_digest.h"
#include "ravd/persist/good_copy.h"

namespace ravd {

namespace {

// Every step brings the tables of the version that is its place to the next one.
constexpr const char *migrations[] = {
    "CREATE TABLE account (number INTEGER PRIMARY KEY, username TEXT NOT NULL, enabled INTEGER NOT NULL,"
    " role TEXT NOT NULL, alias TEXT NOT NULL, language TEXT NOT NULL, password_hash TEXT NOT NULL);"
    "CREATE TABLE account_numbers (last INTEGER NOT NULL);"  // one row: the highest number ever used
    "INSERT INTO account_numbers VALUES (0);"
    "CREATE TABLE token (hash TEXT PRIMARY KEY, account INTEGER NOT NULL, created INTEGER NOT NULL);"
    "CREATE INDEX token_account ON token (account);",
    "CREATE TABLE setting (name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;",
    // The one that the next start loads has no name, restore points have theirs.
    "CREATE TABLE configuration (name TEXT PRIMARY KEY, document TEXT NOT NULL, saved INTEGER NOT NULL);",
    ("CREATE TABLE content (digest TEXT NOT NULL);"  // one row: of all other tables
     "INSERT INTO content VALUES ('');"),
};

constexpr const char *settings =
    "PRAGMA journal_mode = DELETE; PRAGMA synchronous = EXTRA; PRAGMA foreign_keys = ON; PRAGMA trusted_schema = OFF;"
    "PRAGMA secure_delete = ON; PRAGMA locking_mode = EXCLUSIVE;";

// An empty file is one whose making was cut off, or all that is left of another.
bool is_missing(const std::string &path) {
    struct stat file;
    if (lstat(path.c_str(), &file) != 0) return errno == ENOENT;
    return S_ISREG(file.st_mode) && file.st_size == 0 && unlink(path.c_str()) == 0;
}

bool is_damage(int code) {
    return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

std::string journal_of(const std::string &path) {
    return path + "-journal";
}

// The database alone, or with what SQLite left beside it, under the first free name. The journal goes first: whatever
// takes the database's place must never be found beside it.
bool put_aside(const std::string &path, std::string &error) {
    std::string aside;
    for (int n = 1;; n++) {
        aside = path + ".corrupt-" + std::to_string(n);
        struct stat file;
        if (lstat(aside.c_str(), &file) != 0) break;
    }
    rename(journal_of(path).c_str(), journal_of(aside).c_str());
    if (rename(path.c_str(), aside.c_str()) != 0) {
        error = path + ": damaged, and can't be put aside: " + strerror(errno);
        return false;
    }
    log_error("%s: damaged; put aside as %s", path.c_str(), aside.c_str());
    return true;
}

}  // namespace

void Statement::Finalize::operator()(sqlite3_stmt *statement) const {
    sqlite3_finalize(statement);
}

Statement &Statement::bind(int parameter, int64_t value) {
    if (statement_ && sqlite3_bind_int64(statement_.get(), parameter, value) != SQLITE_OK) database_->fail();
    return *this;
}

Statement &Statement::bind(int parameter, std::string_view text) {
    const int result = statement_ ? sqlite3_bind_text64(statement_.get(), parameter, text.data(), text.size(),
                                                        SQLITE_TRANSIENT, SQLITE_UTF8)
                                  : SQLITE_OK;
    if (result != SQLITE_OK) database_->fail();
    return *this;
}

bool Statement::step() {
    if (!statement_) return false;
    const int result = sqlite3_step(statement_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) database_->fail();
    return result == SQLITE_ROW;
}

int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

std::string Statement::text(int column) const {
    const auto *bytes = reinterpret_cast<const char *>(sqlite3_column_text(statement_.get(), column));
    return bytes ? std::string(bytes, static_cast<size_t>(sqlite3_column_bytes(statement_.get(), column))) : "";
}

Database::~Database() {
    sqlite3_close_v2(handle_);
}

// What is there, else the last good copy, else a new one.
bool Database::open(const std::string &folder, std::string &error) {
    error.clear();
    path_ = folder + "/ravd.db";
    for (bool copied = false;;) {
        if (!copied && is_missing(path_)) {
            copied = true;
            unlink(journal_of(path_).c_str());  // it would undo pages of the copy
            is_copy_ = use_good_copy(path_, error);
            if (is_copy_) log_error("%s: the last good copy is used", path_.c_str());
        }
        if (!error.empty() || !make_private_file(path_, error)) return false;
        const int result = prepare_file(path_);
        if (result == SQLITE_OK) break;
        error = path_ + ": " + error_;
        sqlite3_close_v2(handle_);
        handle_ = nullptr;
        if (!is_damage(result) || !put_aside(path_, error)) return false;
        is_copy_ = false;
        error.clear();
        clear();
    }
    copy();  // one that is new, or comes from an older version, has none of this kind yet
    return true;
}

// Returns an SQLite code; error_ has its text.
int Database::prepare_file(const std::string &path) {
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_EXRESCODE;
    int result = sqlite3_open_v2(path.c_str(), &handle_, flags, nullptr);
    if (result == SQLITE_OK) result = sqlite3_exec(handle_, settings, nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) {
        fail();
        return result & 0xff;
    }
    Statement check = prepare("PRAGMA quick_check(1)");
    const bool sound = check.step() && check.text(0) == "ok" && has_its_content();
    check = {};
    if (!sound && !failed()) error_ = "damaged";
    if (!sound)
        return is_damage(sqlite3_errcode(handle_) & 0xff) || error_ == "damaged" ? SQLITE_CORRUPT : SQLITE_ERROR;
    return migrate() ? SQLITE_OK : SQLITE_ERROR;
}

// Whether the tables hold what the digest was made of; a database that is new or comes from an older version has none.
bool Database::has_its_content() {
    Statement table = prepare("SELECT 1 FROM sqlite_schema WHERE name = 'content'");
    if (!table.step()) return !failed();
    Statement digest = prepare("SELECT digest FROM content");
    return digest.step() && digest.text(0) == content_digest(handle_);
}

bool Database::migrate() {
    Statement version = prepare("PRAGMA user_version");
    const int64_t present = version.step() ? version.integer(0) : 0;
    version = {};
    constexpr auto newest = static_cast<int64_t>(std::size(migrations));
    if (present > newest) {
        error_ = "made by a newer version";
        return false;
    }
    if (present == newest) return !failed();
    begin();
    for (int64_t step = present; step < newest; step++) run(migrations[step]);
    run(("PRAGMA user_version = " + std::to_string(newest)).c_str());
    return commit();
}

Statement Database::prepare(std::string_view sql) {
    Statement statement;
    statement.database_ = this;
    sqlite3_stmt *prepared = nullptr;
    if (sqlite3_prepare_v2(handle_, sql.data(), static_cast<int>(sql.size()), &prepared, nullptr) != SQLITE_OK) fail();
    statement.statement_.reset(prepared);
    return statement;
}

bool Database::run(const char *sql) {
    if (sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) == SQLITE_OK) return true;
    fail();
    return false;
}

bool Database::begin() {
    clear();
    return run("BEGIN IMMEDIATE");
}

bool Database::commit() {
    if (!failed() && store_digest() && run("COMMIT")) {
        copy();
        return true;
    }
    const std::string reason = error_;
    roll_back();
    error_ = reason;
    return false;
}

bool Database::store_digest() {
    const std::string digest = content_digest(handle_);
    if (digest.empty()) fail("what is stored can't be read");
    prepare("UPDATE content SET digest = ?").bind(1, digest).step();
    return !failed();
}

// A copy that can't be made undoes nothing of what is durable.
void Database::copy() {
    std::string error;
    if (!make_good_copy(handle_, path_, error))
        log_warning("the last good copy stays an earlier one: %s", error.c_str());
}

void Database::roll_back() {
    if (handle_ && sqlite3_get_autocommit(handle_) == 0) sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr);
}

// The first failure is the cause of what follows.
void Database::fail() {
    if (error_.empty()) error_ = sqlite3_errmsg(handle_);
}

}  // namespace ravd
