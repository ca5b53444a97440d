// The handlers, and the one jump of the program. Both SIGINT handlers run inside a wait only, where no lock is held and
// nothing is half written; so the jump may leave any frame behind, at the price of what it held.
#include "ravc/shell/interrupt.h"

#include <setjmp.h>

#include "rv/wait.h"

namespace {

sigjmp_buf command_jump;
volatile sig_atomic_t command_running, taken, ending;
bool blocked;

// That poll() returns with EINTR is all that has to happen; the note is for whoever waited for something else.
void on_sigint_idle(int) {
    taken = 1;
}

void on_sigint_command(int) {
    if (!command_running) return;
    command_running = 0;
    siglongjmp(command_jump, 1);
}

// This one may come at any moment. Its SIGINT is delivered at once in a wait, which it thereby ends, and stays pending
// until the next wait elsewhere; so none is missed and none harms.
void on_end(int number) {
    ending = number;
    raise(SIGINT);
}

void set_action(int number, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

void end_in_good_order_on(int number) {
    struct sigaction present;
    if (sigaction(number, nullptr, &present) == 0 && present.sa_handler != SIG_IGN) set_action(number, on_end);
}

void set_mask(int how) {
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(how, &interrupt, nullptr);
    blocked = how == SIG_BLOCK;
}

// Returns true when command ran to its end.
bool run_or_jump(void (*command)(void *), void *context) {
    if (sigsetjmp(command_jump, 1) != 0) return false;
    command_running = 1;
    command(context);
    return true;
}

}  // namespace

void interrupt_init() {
    set_mask(SIG_BLOCK);
    end_in_good_order_on(SIGHUP);
    end_in_good_order_on(SIGTERM);
}

void interrupt_idle() {
    set_action(SIGINT, on_sigint_idle);
}

bool interrupt_taken() {
    const bool was = taken;
    taken = 0;
    return was;
}

int interrupt_ending() {
    return ending;
}

bool run_command(void (*command)(void *), void *context) {
    if (command_running) return true;
    set_action(SIGINT, on_sigint_command);
    const bool finished = run_or_jump(command, context);
    command_running = 0;
    set_action(SIGINT, SIG_IGN);  // throws away one that is pending
    set_action(SIGINT, SIG_DFL);
    return finished;
}

InterruptNoted::InterruptNoted() : was_blocked_(blocked), was_running_(command_running) {
    sigaction(SIGINT, nullptr, &interrupt_);
    sigaction(SIGHUP, nullptr, &hang_up_);
    sigaction(SIGTERM, nullptr, &terminate_);
    command_running = 0;
    taken = 0;
    if (!was_blocked_) interrupt_init();
    interrupt_idle();
}

InterruptNoted::~InterruptNoted() {
    sigaction(SIGINT, &interrupt_, nullptr);
    command_running = was_running_;
    if (was_blocked_) return;
    sigaction(SIGHUP, &hang_up_, nullptr);
    sigaction(SIGTERM, &terminate_, nullptr);
    set_mask(SIG_UNBLOCK);
    if (ending) raise(ending);
}

bool interrupt_pending() {
    return blocked && rv_interrupt_pending();
}
