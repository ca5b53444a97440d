// Behind fork() only what is safe there: other threads may have held any lock. So the child allocates nothing.
#include "ravd/transfer/peer_files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ravd/child_process.h"
#include "ravd/firmware/random_id.h"

namespace ravd {

// What the child is to do, with all that it needs for it.
struct PeerFile::Task {
    const Peer &peer;
    bool (*run)(int socket, const Task &task);  // false with errno where the report is still to be given
    std::string path, folder, name, beside;
    std::string_view content;
};

namespace {

constexpr int own_socket = STDERR_FILENO + 1;

// What the process tells over the socket, as it stands in memory; a reader's is followed by size bytes.
struct Report {
    int64_t error;  // 0 or an error number
    uint64_t size;
};

// problem: stands for a report that has not come.
Report report_of(const std::string &head, int problem) {
    Report report = {problem, 0};
    if (head.size() == sizeof report) memcpy(&report, head.data(), sizeof report);
    return report;
}

bool send_all(int fd, const void *data, size_t size) {
    const char *next = static_cast<const char *>(data);
    while (size > 0) {
        const ssize_t sent = write(fd, next, size);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        next += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

void report(int socket, int error, uint64_t size = 0) {
    const Report told = {error, size};
    send_all(socket, &told, sizeof told);
}

// An ordinary user's daemon has its own rights only.
bool become(const Peer &peer) {
    if (geteuid() != 0) {
        errno = EACCES;
        return peer.uid == geteuid();
    }
    return become_user(peer.uid, peer.gid, peer.groups);
}

bool prepare(int socket, const Peer &peer, pid_t parent) {
    if (dup2(socket, own_socket) < 0) return false;
    close_range(own_socket + 1, UINT32_MAX, 0);
    reset_signals();
    if (!become(peer)) return false;
    // Nobody looks into this memory, and it goes with its parent; a change of user has taken both back.
    return prctl(PR_SET_DUMPABLE, 0) == 0 && prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent;
}

bool read_file(int socket, const Report &known, int file) {
    if (!send_all(socket, &known, sizeof known)) return true;
    char bytes[65536];
    for (uint64_t left = known.size; left > 0;) {
        const ssize_t got = read(file, bytes, left < sizeof bytes ? static_cast<size_t>(left) : sizeof bytes);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0 || !send_all(socket, bytes, static_cast<size_t>(got))) return true;
        left -= static_cast<uint64_t>(got);
    }
    return true;
}

int open_regular(const char *path, struct stat &info) {
    const int file = open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0 || fstat(file, &info) != 0) return -1;
    if (S_ISREG(info.st_mode)) return file;
    errno = EINVAL;
    return -1;
}

// A file beside the one that is meant; is_named tells whether it has its name for the time being already, for not every
// file system has files without one.
int open_beside(int folder, const char *name, bool &is_named) {
    int file = openat(folder, ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, 0600);
    is_named = file < 0;
    if (is_named) file = openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    return file;
}

void append_number(char *text, int number) {
    char digits[12];
    size_t count = 0;
    do digits[count++] = static_cast<char>('0' + number % 10);
    while ((number /= 10) > 0);
    while (count > 0) *text++ = digits[--count];
    *text = '\0';
}

bool give_name(int folder, int file, const char *name) {
    char own[32] = "/proc/self/fd/";
    append_number(own + sizeof "/proc/self/fd/" - 1, file);
    return linkat(AT_FDCWD, own, folder, name, AT_SYMLINK_FOLLOW) == 0;
}

// Whether what has the name may be replaced; is_free when nothing has it.
bool may_replace(int folder, const char *name, bool &is_free) {
    struct stat there = {};
    is_free = fstatat(folder, name, &there, AT_SYMLINK_NOFOLLOW) != 0;
    if (is_free) return errno == ENOENT;
    errno = EPERM;
    return S_ISREG(there.st_mode) && there.st_uid == geteuid();
}

}  // namespace

PeerFile::~PeerFile() {
    if (pid_ > 0) end_process(pid_);
}

Descriptor PeerFile::read(const Peer &peer, const std::string &path) {
    const auto run = [](int socket, const Task &task) {
        struct stat info = {};
        const int file = open_regular(task.path.c_str(), info);
        return file >= 0 && read_file(socket, {0, static_cast<uint64_t>(info.st_size)}, file);
    };
    return start({peer, run, path, {}, {}, {}, {}});
}

Descriptor PeerFile::write(const Peer &peer, const std::string &path, std::string_view content) {
    const auto run = [](int socket, const Task &task) {
        const int folder = open(task.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        bool is_free = false, is_named = false;
        if (folder < 0 || !may_replace(folder, task.name.c_str(), is_free)) return false;
        const char *beside = task.beside.c_str();
        const int file = open_beside(folder, beside, is_named);
        if (file < 0) return false;
        const bool is_placed =
            send_all(file, task.content.data(), task.content.size()) && fsync(file) == 0 &&
            (is_named || give_name(folder, file, beside)) &&
            renameat2(folder, beside, folder, task.name.c_str(), is_free ? RENAME_NOREPLACE : 0) == 0;
        if (is_placed) {
            fsync(folder);
            report(socket, 0, task.content.size());
            return true;
        }
        const int reason = errno;
        unlinkat(folder, beside, 0);
        errno = reason;
        return false;
    };
    const size_t slash = path.rfind('/');
    return start(
        {peer, run, {}, path.substr(0, slash + 1), path.substr(slash + 1), "." + random_id() + ".new", content});
}

std::string_view PeerFile::take(std::string_view bytes) {
    const size_t missing = std::min(sizeof(Report) - head_.size(), bytes.size());
    head_ += bytes.substr(0, missing);
    return bytes.substr(missing);
}

Fault PeerFile::fault(int problem) const {
    const auto error = static_cast<int>(report_of(head_, problem != 0 ? problem : EIO).error);
    return error == 0 ? Fault() : Fault{9016, strerror(error), {}};
}

uint64_t PeerFile::size() const {
    return report_of(head_, 0).size;
}

Descriptor PeerFile::start(const Task &task) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return Descriptor();
    Descriptor ours(ends[0]);
    const Descriptor theirs(ends[1]);
    fcntl(ours.get(), F_SETFL, O_NONBLOCK);
    const pid_t parent = getpid();
    pid_ = fork_blocked();
    if (pid_ == 0) {
        if (!prepare(theirs.get(), task.peer, parent) || !task.run(own_socket, task)) report(own_socket, errno);
        _exit(0);
    }
    return pid_ > 0 ? std::move(ours) : Descriptor();
}

}  // namespace ravd
