// The terminal's modes. The state below is written while no handler stands, and read by handlers only; so the order is
// always: state, handlers, terminal, and back.
#include "libglobal/term/modes.h"

#include <string_view>

#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include "rv/rl.h"

namespace {

enum class Mode { own, keys, silent };

struct {
    Mode mode = Mode::own;
    int fd = -1;
    bool mark_paste = false;
    termios own = {};      // what the terminal gets back
    termios changed = {};  // what it has meanwhile
    sigset_t mask = {};    // the program's signal mask, while mode is keys
} state;

volatile sig_atomic_t continued, resized, signals;

int set_modes(const termios &modes, int when) {
    int result;
    do result = tcsetattr(state.fd, when, &modes);
    while (result < 0 && errno == EINTR);
    return result;
}

// The functions below, up to the table, run in signal handlers: they call only what may be called there.

void tell_terminal(std::string_view sequence) {
    if (!state.mark_paste) return;
    const ssize_t ignored = write(STDOUT_FILENO, sequence.data(), sequence.size());
    static_cast<void>(ignored);
}

void leave_terminal(int when) {
    tell_terminal("\033[?2004l");
    set_modes(state.own, when);
}

void enter_terminal(int when) {
    set_modes(state.changed, when);
    tell_terminal("\033[?2004h");
}

// In the background the terminal belongs to somebody else, whose modes are no business of ours.
bool in_background() {
    const pid_t owner = tcgetpgrp(state.fd);
    return owner > 0 && owner != getpgrp();
}

void leave_ours() {
    if (!in_background()) leave_terminal(TCSANOW);
}

void take_again() {
    if (!in_background()) enter_terminal(TCSANOW);
    continued = 1;
    signals = signals + 1;
}

void on_fatal(int number, siginfo_t *info, void *context);
void on_stop(int number, siginfo_t *info, void *context);
void on_continue(int number, siginfo_t *info, void *context);
void on_resize(int number, siginfo_t *info, void *context);

struct Handler {
    int signal;
    void (*function)(int, siginfo_t *, void *);
    bool over_others;  // also where the program has a handler: it will not return from this signal
};

constexpr Handler handlers[] = {
    {SIGHUP, on_fatal, false},  {SIGINT, on_fatal, false},  {SIGQUIT, on_fatal, false},    {SIGTERM, on_fatal, false},
    {SIGPIPE, on_fatal, false}, {SIGALRM, on_fatal, false}, {SIGUSR1, on_fatal, false},    {SIGUSR2, on_fatal, false},
    {SIGXCPU, on_fatal, false}, {SIGXFSZ, on_fatal, false}, {SIGSEGV, on_fatal, true},     {SIGABRT, on_fatal, true},
    {SIGBUS, on_fatal, true},   {SIGFPE, on_fatal, true},   {SIGILL, on_fatal, true},      {SIGSYS, on_fatal, true},
    {SIGTRAP, on_fatal, true},  {SIGTSTP, on_stop, false},  {SIGCONT, on_continue, false}, {SIGWINCH, on_resize, false},
};
constexpr size_t handler_count = sizeof handlers / sizeof *handlers;

struct sigaction previous[handler_count];
bool installed[handler_count];

bool is_ours(const Handler &handler, const struct sigaction &action) {
    return (action.sa_flags & SA_SIGINFO) && action.sa_sigaction == handler.function;
}

void install(size_t i) {
    struct sigaction action = {};
    action.sa_sigaction = handlers[i].function;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigfillset(&action.sa_mask);
    sigaction(handlers[i].signal, &action, nullptr);
}

// The program may have set an action of its own since: that one stays.
void uninstall(size_t i) {
    struct sigaction now;
    if (sigaction(handlers[i].signal, nullptr, &now) == 0 && is_ours(handlers[i], now))
        sigaction(handlers[i].signal, &previous[i], nullptr);
}

size_t index_of(int number) {
    size_t i = 0;
    while (handlers[i].signal != number) i++;
    return i;
}

// The previous action then takes the signal again: a fault comes back by itself, with all that is told of it.
void on_fatal(int number, siginfo_t *info, void *) {
    const int error = errno;
    leave_ours();
    uninstall(index_of(number));
    const bool is_fault = info->si_code > 0 && handlers[index_of(number)].over_others;
    if (!is_fault) raise(number);
    errno = error;
}

void on_stop(int number, siginfo_t *, void *) {
    const int error = errno;
    leave_ours();
    uninstall(index_of(number));
    raise(number);
    sigset_t this_one, before;
    sigemptyset(&this_one);
    sigaddset(&this_one, number);
    sigprocmask(SIG_UNBLOCK, &this_one, &before);  // stops here
    sigprocmask(SIG_SETMASK, &before, nullptr);
    install(index_of(number));
    take_again();  // here too: no SIGCONT comes where there is no shell that could send it, and nothing stopped
    errno = error;
}

void on_continue(int, siginfo_t *, void *) {
    const int error = errno;
    take_again();
    errno = error;
}

void on_resize(int, siginfo_t *, void *) {
    resized = 1;
    signals = signals + 1;
}

void install_all() {
    for (size_t i = 0; i < handler_count; i++) {
        installed[i] = false;
        const int number = handlers[i].signal;
        if (state.mode == Mode::silent && number == SIGWINCH) continue;
        if (sigaction(number, nullptr, &previous[i]) < 0) continue;
        const bool is_default = !(previous[i].sa_flags & SA_SIGINFO) && previous[i].sa_handler == SIG_DFL;
        const bool is_ignored = !(previous[i].sa_flags & SA_SIGINFO) && previous[i].sa_handler == SIG_IGN;
        if (!is_default && (is_ignored || !handlers[i].over_others)) continue;
        install(i);
        installed[i] = true;
    }
}

void uninstall_all() {
    for (size_t i = 0; i < handler_count; i++)
        if (installed[i]) uninstall(i);
}

void block_drawn_over() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGTSTP, SIGCONT, SIGWINCH}) sigaddset(&set, number);
    pthread_sigmask(SIG_BLOCK, &set, &state.mask);
}

// Gives back what block_drawn_over() took, and nothing that the program has changed meanwhile.
void unblock_drawn_over() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGTSTP, SIGCONT, SIGWINCH})
        if (!sigismember(&state.mask, number)) sigaddset(&set, number);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

int enter(Mode mode, int fd, const termios &own, const termios &changed, int when) {
    static const int registered = atexit(rv::modes_restore);
    static_cast<void>(registered);
    state.mode = mode;
    state.fd = fd;
    state.own = own;
    state.changed = changed;
    if (mode == Mode::keys) block_drawn_over();
    install_all();
    enter_terminal(when);
    return 0;
}

}  // namespace

int rv::modes_keys(bool mark_paste) {
    if (state.mode == Mode::keys) return 0;
    modes_restore();
    termios own;
    if (tcgetattr(STDIN_FILENO, &own) < 0) return -1;
    termios keys = own;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | IEXTEN);
    keys.c_iflag &= ~static_cast<tcflag_t>(ICRNL | INLCR | IXON);
    keys.c_lflag |= ISIG;
    keys.c_oflag |= OPOST;
    keys.c_cc[VMIN] = 1;
    keys.c_cc[VTIME] = 0;
    state.mark_paste = mark_paste;
    return enter(Mode::keys, STDIN_FILENO, own, keys, TCSADRAIN);
}

int rv::modes_silent(int fd) {
    modes_restore();
    termios own;
    if (tcgetattr(fd, &own) < 0) return -1;
    termios silent = own;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
    state.mark_paste = false;
    return enter(Mode::silent, fd, own, silent, TCSAFLUSH);
}

void rv::modes_restore() {
    if (state.mode == Mode::own) return;
    leave_terminal(TCSADRAIN);
    uninstall_all();
    if (state.mode == Mode::keys) unblock_drawn_over();
    state.mode = Mode::own;
}

bool rv::modes_continued() {
    const bool was = continued != 0;
    continued = 0;
    return was;
}

bool rv::modes_resized() {
    const bool was = resized != 0;
    resized = 0;
    return was;
}

int rv::modes_signals() {
    return signals;
}

void rv_rl_echo_off(int fd) {
    rv::modes_silent(fd);
}

void rv_rl_echo_on(int fd) {
    if (state.mode == Mode::silent && state.fd == fd) rv::modes_restore();
}
