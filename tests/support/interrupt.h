// SIGINT as a shell has it: blocked but where the library waits, and a handler that may jump out of the wait.
#pragma once

#include <setjmp.h>
#include <signal.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/lsan_interface.h>
#define TEST_LEAKS_ALLOWED __lsan_disable()
#define TEST_LEAKS_REFUSED __lsan_enable()
#endif
#endif
#ifndef TEST_LEAKS_ALLOWED
#define TEST_LEAKS_ALLOWED static_cast<void>(0)
#define TEST_LEAKS_REFUSED static_cast<void>(0)
#endif

namespace test {

// SIGINT handled and blocked for as long as the object lives.
class BlockedInterrupt {
 public:
    explicit BlockedInterrupt(void (*handler)(int)) {
        struct sigaction action = {};
        action.sa_handler = handler;
        sigaction(SIGINT, &action, &before_);
        sigset_t interrupt;
        sigemptyset(&interrupt);
        sigaddset(&interrupt, SIGINT);
        pthread_sigmask(SIG_BLOCK, &interrupt, &mask_);
    }
    ~BlockedInterrupt() {
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        sigaction(SIGINT, &before_, nullptr);
    }
    BlockedInterrupt(const BlockedInterrupt &) = delete;
    BlockedInterrupt &operator=(const BlockedInterrupt &) = delete;

 private:
    struct sigaction before_ = {};
    sigset_t mask_ = {};
};

// Where jump_out(), a handler, leads.
inline sigjmp_buf jump;

inline void jump_out(int) {
    siglongjmp(jump, 1);
}

// Runs work so that a SIGINT with the handler jump_out() abandons it, and whatever it held leaks. Returns whether it
// was abandoned.
inline bool is_abandoned(void (*work)()) {
    TEST_LEAKS_ALLOWED;
    const bool jumped = sigsetjmp(jump, 1) != 0;
    if (!jumped) work();
    TEST_LEAKS_REFUSED;
    return jumped;
}

}  // namespace test
