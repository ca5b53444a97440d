// Standard input, byte by byte: what is read ahead would be lost to poll(), and to whoever reads next.
#include "libglobal/term/input.h"

#include <errno.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "libglobal/term/modes.h"
#include "rv/rl.h"
#include "rv/wait.h"

bool rv::input_is_drawn() {
    return isatty(STDIN_FILENO) && isatty(STDOUT_FILENO);
}

bool rv::input_is_waiting() {
    int count = 0;
    return ioctl(STDIN_FILENO, FIONREAD, &count) == 0 && count > 0;
}

rv::Input rv::input_wait(int64_t deadline, bool wants_redraw) {
    for (;;) {
        const int before = modes_signals();
        pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
        const int ready = rv_wait(&input, 1, deadline);
        if (ready > 0) return Input::ready;
        if (ready == 0) return Input::timeout;
        if (errno != EINTR) return Input::failed;
        if (modes_signals() == before) return Input::interrupted;
        if (wants_redraw) return Input::redraw;
    }
}

// A terminal that was hung up gives an error or no bytes: both are the end of input. Whoever has waited already does
// not wait again.
int rv_rl_getch(void) {
    for (;;) {
        pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
        const bool is_there = poll(&input, 1, 0) > 0;
        if (!is_there && rv::input_wait(RV_NO_DEADLINE, false) != rv::Input::ready) return -1;
        unsigned char byte;
        const ssize_t got = read(STDIN_FILENO, &byte, 1);
        if (got == 1) return byte;
        if (got == 0 || (errno != EINTR && errno != EAGAIN)) return -1;
    }
}
