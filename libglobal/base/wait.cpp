// The one wait function of the libraries, the monotonic clock behind every deadline, and the sleep that serves
// listening connections meanwhile.
#include "libglobal/base/wait.h"

#include <algorithm>
#include <utility>

#include <errno.h>
#include <signal.h>
#include <time.h>

#include "rv/wait.h"

namespace {

rv::IdleService idle_service;
void (*before_wait)();

}  // namespace

void rv::set_idle_service(IdleService service) {
    idle_service = service;
}

void rv::set_before_wait(void (*function)()) {
    before_wait = function;
}

int64_t rv_now_ms(void) {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return int64_t{t.tv_sec} * 1000 + t.tv_nsec / 1000000;
}

int64_t rv_deadline(int timeout_ms) {
    return timeout_ms < 0 ? RV_NO_DEADLINE : rv_now_ms() + timeout_ms;
}

int rv_wait(pollfd *fds, nfds_t count, int64_t deadline) {
    if (before_wait) std::exchange(before_wait, nullptr)();
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    const bool is_blocked = sigismember(&mask, SIGINT);
    for (const int number : {SIGINT, SIGTSTP, SIGCONT, SIGWINCH}) sigdelset(&mask, number);
    const int64_t left = deadline == RV_NO_DEADLINE ? 0 : std::max<int64_t>(deadline - rv_now_ms(), 0);
    const timespec span{.tv_sec = left / 1000, .tv_nsec = left % 1000 * 1000000};
    const int ready = ppoll(fds, count, deadline == RV_NO_DEADLINE ? nullptr : &span, &mask);
    // Where something is ready, no signal has been let in: input that never ceases would keep SIGINT out for ever.
    const timespec none = {};
    return ready > 0 && is_blocked && ppoll(nullptr, 0, &none, &mask) < 0 ? -1 : ready;
}

int rv_interrupt_pending(void) {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGINT);
}

int rv_sleep_ms(int ms) {
    const int64_t deadline = rv_deadline(std::max(ms, 0));
    for (;;) {
        const int ready = idle_service ? idle_service(deadline) : rv_wait(nullptr, 0, deadline);
        if (ready < 0) return -1;
        if (rv_now_ms() >= deadline) return 0;
    }
}
