#include "ravd/persist/good_copy.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ravd {

namespace {

// A descriptor that is closed with its scope.
struct File {
    explicit File(int descriptor) : fd(descriptor) {}
    ~File() {
        if (fd >= 0) close(fd);
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;

    const int fd;
};

std::string copy_name(const std::string &path) {
    return path + ".good";
}

bool fail(const std::string &path, std::string &error) {
    error = path + ": " + strerror(errno);
    return false;
}

// The file at from, whole on the disk, becomes the one at to.
bool put_in_place(const std::string &from, const std::string &to, std::string &error) {
    const File file(open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    const File folder(open(to.substr(0, to.rfind('/')).c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY));
    if (file.fd < 0 || folder.fd < 0 || fsync(file.fd) != 0 || rename(from.c_str(), to.c_str()) != 0)
        return fail(from, error);
    return fsync(folder.fd) == 0 || fail(to, error);
}

// The file is written anew each time, and synced at its end: nothing on the way need be.
bool back_up(sqlite3 *database, const std::string &path, std::string &error) {
    sqlite3 *target = nullptr;
    int result = sqlite3_open_v2(path.c_str(), &target, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW, nullptr);
    if (result == SQLITE_OK)
        result = sqlite3_exec(target, "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    sqlite3_backup *backup = result == SQLITE_OK ? sqlite3_backup_init(target, "main", database, "main") : nullptr;
    const bool done = backup && sqlite3_backup_step(backup, -1) == SQLITE_DONE;
    const bool finished = sqlite3_backup_finish(backup) == SQLITE_OK && done;
    if (!finished) error = path + ": " + sqlite3_errmsg(target);
    return sqlite3_close(target) == SQLITE_OK && finished;
}

bool copy_bytes(const File &from, const File &to) {
    struct stat file = {};
    if (fstat(from.fd, &file) != 0) return false;
    for (off_t done = 0; done < file.st_size;) {
        const ssize_t sent = sendfile(to.fd, from.fd, &done, static_cast<size_t>(file.st_size - done));
        if (sent <= 0) return false;
    }
    return true;
}

}  // namespace

bool make_private_file(const std::string &path, std::string &error) {
    const File file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    struct stat status = {};
    if (file.fd < 0 || fstat(file.fd, &status) != 0) return fail(path, error);
    if (!S_ISREG(status.st_mode)) {
        error = path + ": no regular file";
        return false;
    }
    return fchmod(file.fd, 0600) == 0 || fail(path, error);
}

bool make_good_copy(sqlite3 *database, const std::string &path, std::string &error) {
    const std::string fresh = copy_name(path) + ".new";
    unlink(fresh.c_str());
    return make_private_file(fresh, error) && back_up(database, fresh, error) &&
           put_in_place(fresh, copy_name(path), error);
}

bool use_good_copy(const std::string &path, std::string &error) {
    const File copy(open(copy_name(path).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (copy.fd < 0) return false;
    const std::string fresh = path + ".new";
    unlink(fresh.c_str());
    if (!make_private_file(fresh, error)) return false;
    const File target(open(fresh.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW));
    if (target.fd < 0 || !copy_bytes(copy, target)) return fail(fresh, error);
    return put_in_place(fresh, path, error);
}

}  // namespace ravd
