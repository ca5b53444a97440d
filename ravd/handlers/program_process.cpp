// fork() and exec(). Between the two only what is safe there: other threads may have held any lock.
#include "ravd/handlers/program_process.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "ravd/child_process.h"

namespace ravd {

namespace {

struct Pipe {
    int read = -1, write = -1;

    bool open() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return false;
        read = ends[0];
        write = ends[1];
        return true;
    }
    void close_both() const {
        if (read >= 0) close(read);
        if (write >= 0) close(write);
    }
};

struct Start {
    const char *path;
    const char *const *arguments;
    const char *const *environment;
    const std::optional<ProgramUser> &user;
    const ProgramLimits &limits;
    uint64_t time_ms;
    pid_t parent;
    Pipe input, output, errors, report;
};

bool limit(int resource, uint64_t most) {
    const rlimit both = {most, most};
    return syscall(SYS_prlimit64, 0, resource, &both, nullptr) == 0;
}

// The number of processes counts all of a user's, so it is limited only where programs have a user of their own.
bool set_limits(const Start &start) {
    if (start.user && !limit(RLIMIT_NPROC, start.limits.processes)) return false;
    return limit(RLIMIT_CORE, 0) && limit(RLIMIT_AS, start.limits.memory) &&
           limit(RLIMIT_CPU, start.time_ms / 1000 + 1);
}

bool become(const std::optional<ProgramUser> &user) {
    if (!user || (user->uid == geteuid() && user->gid == getegid())) return true;
    return become_user(user->uid, user->gid, {&user->gid, 1});
}

bool take_pipes(const Start &start) {
    return dup2(start.input.read, STDIN_FILENO) >= 0 && dup2(start.output.write, STDOUT_FILENO) >= 0 &&
           dup2(start.errors.write, STDERR_FILENO) >= 0;
}

bool prepare(const Start &start) {
    if (setpgid(0, 0) != 0 || !take_pipes(start) || !set_limits(start) || !become(start.user)) return false;
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != start.parent || chdir("/") != 0) return false;
    umask(022);
    reset_signals();
    close_range(STDERR_FILENO + 1, UINT32_MAX, CLOSE_RANGE_CLOEXEC);  // all are marked already; to be sure
    return true;
}

[[noreturn]] void become_program(const Start &start) {
    if (prepare(start))
        execve(start.path, const_cast<char *const *>(start.arguments), const_cast<char *const *>(start.environment));
    const int reason = errno;
    [[maybe_unused]] const ssize_t told = write(start.report.write, &reason, sizeof reason);
    _exit(127);
}

// 0 when the program runs; else the error number of why it does not.
int run_child(Start &start, pid_t &pid) {
    pid = fork_blocked();
    if (pid == 0) become_program(start);
    if (pid < 0) return errno;
    close(start.report.write);
    start.report.write = -1;
    int failed = 0;
    while (read(start.report.read, &failed, sizeof failed) < 0 && errno == EINTR) {
    }
    return failed;
}

// Of a pipe's end that is ours.
int keep(int &end) {
    fcntl(end, F_SETFL, O_NONBLOCK);
    return std::exchange(end, -1);
}

}  // namespace

std::string start_process(const std::string &path, const std::string &name, const std::optional<ProgramUser> &user,
                          const ProgramLimits &limits, uint64_t time_ms, ProgramProcess &process) {
    const std::string own_name = "RAV_HANDLER=" + name;
    const char *const arguments[] = {path.c_str(), nullptr};
    const char *const environment[] = {"PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                                       "LC_ALL=C.UTF-8", "HOME=/", own_name.c_str(), nullptr};
    Start start = {path.c_str(), arguments, environment, user, limits, time_ms, getpid(), {}, {}, {}, {}};
    int reason = 0;
    if (!start.input.open() || !start.output.open() || !start.errors.open() || !start.report.open()) reason = errno;
    pid_t pid = -1;
    if (reason == 0) reason = run_child(start, pid);
    if (reason == 0) {
        process.ended = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
        if (process.ended < 0) reason = errno;
    }
    if (reason == 0) {
        process.pid = pid;
        process.input = keep(start.input.write);
        process.output = keep(start.output.read);
        process.errors = keep(start.errors.read);
    } else if (pid > 0) {
        end_process(pid);
    }
    for (const Pipe *pipe : {&start.input, &start.output, &start.errors, &start.report}) pipe->close_both();
    return reason == 0 ? "" : strerror(reason);
}

}  // namespace ravd
