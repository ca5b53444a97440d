// fork() and the system calls around it.
#include "ravd/child_process.h"

#include <cerrno>

#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ravd {

pid_t fork_blocked() {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t pid = fork();
    if (pid == 0) return pid;
    const int reason = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = reason;
    return pid;
}

void reset_signals() {
    struct sigaction by_default = {};
    by_default.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; number++) sigaction(number, &by_default, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Straight to the kernel: the library's own functions would do it for all threads, of which there are none here.
bool become_user(uid_t uid, gid_t gid, std::span<const gid_t> groups) {
    return syscall(SYS_setgroups, groups.size(), groups.data()) == 0 && syscall(SYS_setresgid, gid, gid, gid) == 0 &&
           syscall(SYS_setresuid, uid, uid, uid) == 0;
}

int wait_for_end(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

void end_process(pid_t pid) {
    kill(pid, SIGKILL);
    wait_for_end(pid);
}

}  // namespace ravd
