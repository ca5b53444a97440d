// The SIGINT handler of running scripts, and the hook that it sets.
#include "libglobal/lua/interrupt.h"

#include <utility>

namespace rv {

namespace {

// Both are read by the handler.
volatile sig_atomic_t stop_reason;
RunningThread *volatile running;
bool is_under_way;

constexpr int every_instruction = LUA_MASKCALL | LUA_MASKRET | LUA_MASKCOUNT;

void raise_stop(lua_State *L, lua_Debug *) {
    if (lua_stopping() == Stop::none) {
        lua_sethook(L, nullptr, 0, 0);  // a coroutine that was suspended meanwhile
    } else {
        lua_raise_if_stopping();
    }
}

// Ends a wait that began just after the handler ran, before the script could come to the hook.
void wake_up_again() {
    constexpr timeval interval = {.tv_sec = 0, .tv_usec = 100000};
    constexpr itimerval timer = {.it_interval = interval, .it_value = interval};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

void on_sigint(int) {
    lua_stop(Stop::interrupted);
    wake_up_again();
}

void on_alarm(int) {}

// Without SA_RESTART: a call that sleeps is to end.
void set_action(int number, void (*handler)(int), struct sigaction *old) {
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, old);
}

sigset_t sigint_alone() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    return set;
}

}  // namespace

Stop lua_stopping() {
    return static_cast<Stop>(sig_atomic_t{stop_reason});
}

void lua_stop(Stop reason) {
    stop_reason = static_cast<sig_atomic_t>(reason);
    for (const RunningThread *r = running; r; r = r->below) lua_sethook(r->thread, raise_stop, every_instruction, 1);
}

// An exception that is none of Lua's own unwinds as its errors do, but calls no message handler: where the hook raises,
// handlers run without hooks, and one that loops would never end.
void lua_raise_if_stopping() {
    if (const Stop reason = lua_stopping(); reason != Stop::none) throw reason;
}

RunningThread::RunningThread(lua_State *L) : thread(L), below(running) {
    running = this;
    if (const Stop reason = lua_stopping(); reason != Stop::none) lua_stop(reason);
}

RunningThread::~RunningThread() {
    running = below;
}

Interruptible::Interruptible() : outermost_(!std::exchange(is_under_way, true)) {
    if (!outermost_) return;
    stop_reason = 0;
    sigaction(SIGINT, nullptr, &interrupt_);
    handled_ = interrupt_.sa_handler != SIG_IGN;
    if (!handled_) return;
    set_action(SIGALRM, on_alarm, &alarm_);
    set_action(SIGINT, on_sigint, nullptr);
    const sigset_t interrupt = sigint_alone();
    pthread_sigmask(SIG_UNBLOCK, &interrupt, &mask_);
}

Stop Interruptible::end() {
    if (!outermost_) return Stop::none;
    if (handled_) {
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        sigaction(SIGINT, &interrupt_, nullptr);
        constexpr itimerval none = {};
        setitimer(ITIMER_REAL, &none, nullptr);
        sigaction(SIGALRM, &alarm_, nullptr);
    }
    is_under_way = false;
    const Stop reason = lua_stopping();
    stop_reason = 0;
    return reason;
}

SigintBlocked::SigintBlocked() {
    const sigset_t interrupt = sigint_alone();
    pthread_sigmask(SIG_BLOCK, &interrupt, &mask_);
}

SigintBlocked::~SigintBlocked() {
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
}

}  // namespace rv
