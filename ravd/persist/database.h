// The database of the state folder: what must outlive the daemon. One SQLite file, ravd.db, open to its owner only; a
// transaction is on the disk when commit() has returned.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace ravd {

// A prepared statement with its parameters, from 1, and the columns of its row, from 0.
class Statement {
 public:
    Statement() = default;
    Statement &bind(int parameter, int64_t value);
    Statement &bind(int parameter, std::string_view text);

    // Goes to the next row. Returns false when there is none, or on failure: then the database says so.
    bool step();
    int64_t integer(int column) const;
    std::string text(int column) const;

 private:
    friend class Database;
    struct Finalize {
        void operator()(sqlite3_stmt *statement) const;
    };
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
    class Database *database_ = nullptr;
};

class Database {
 public:
    Database() = default;
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    // Opens the file in folder, makes it where there is none, and brings its tables up to date in one transaction. A
    // damaged file is put aside as "ravd.db.corrupt-N"; then the last good copy is used (good_copy.h), or else a new
    // one begun; both are logged. Returns false and sets error on any other failure.
    bool open(const std::string &folder, std::string &error);
    // Whether what was opened is the copy, which may lack what was stored last.
    bool is_copy() const { return is_copy_; }

    Statement prepare(std::string_view sql);
    // Runs a statement without parameters or rows. Returns false on failure.
    bool run(const char *sql);

    // Everything that is written is written in a transaction, which also keeps a digest of all that is there: so damage
    // is found in values, too. begin() forgets earlier failures; commit() fails when anything since then did, and takes
    // all of it back. What has been committed has reached the disk, and the last good copy, too, unless that was logged
    // to have failed.
    bool begin();
    bool commit();
    void roll_back();

    // Has the transaction that is open fail.
    void fail(const char *reason) {
        if (error_.empty()) error_ = reason;
    }

    // What failed last, for the log; "" when nothing has since clear().
    const std::string &error() const { return error_; }
    bool failed() const { return !error_.empty(); }
    void clear() { error_.clear(); }

 private:
    friend class Statement;
    int prepare_file(const std::string &path);
    bool has_its_content();
    bool migrate();
    bool store_digest();
    void copy();
    void fail();

    std::string path_;
    bool is_copy_ = false;
    sqlite3 *handle_ = nullptr;
    std::string error_;
};

}  // namespace ravd
