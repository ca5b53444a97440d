// The password prompt. Signals that end or stop the program find the terminal put right by the library; Ctrl-C may jump
// out of the wait instead, so it is noted here and raised again once echo is back and what was typed is wiped.
#include "ravc/main/password.h"

#include <errno.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "rv/log.h"
#include "rv/rl.h"
#include "rv/wait.h"

namespace {

struct Line {
    char *text = nullptr;
    size_t length = 0;
    size_t capacity = 0;
};

volatile sig_atomic_t interrupted;

void on_interrupt(int) {
    interrupted = 1;
}

// Makes room for another byte and the closing zero. Never realloc(): it would leave a copy behind.
void make_room(Line *line) {
    if (line->length + 1 < line->capacity) return;
    const size_t capacity = line->capacity ? line->capacity * 2 : 128;
    char *text = static_cast<char *>(calloc(1, capacity));
    if (!text) __rv_log_assert_fmt("xcalloc failed at func %s:%zu (%s)", __func__, size_t{__LINE__}, __FILE__);
    if (line->text) {
        memcpy(text, line->text, line->length);
        explicit_bzero(line->text, line->capacity);
        free(line->text);
    }
    line->text = text;
    line->capacity = capacity;
}

// The next byte, read alone: what is typed ahead belongs to whoever reads next. Returns -1 at the end of input or when
// Ctrl-C was pressed.
int next_byte() {
    for (;;) {
        pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
        unsigned char byte;
        if (interrupted) return -1;
        if (rv_wait(&input, 1, RV_NO_DEADLINE) < 0) continue;
        const ssize_t got = read(STDIN_FILENO, &byte, 1);
        if (got == 1) return byte;
        if (got == 0 || (errno != EINTR && errno != EAGAIN)) return -1;
    }
}

void read_line(Line *line) {
    make_room(line);
    for (int byte; (byte = next_byte()) != -1 && byte != '\n';) {
        make_room(line);
        line->text[line->length++] = static_cast<char>(byte);
    }
    line->text[line->length] = '\0';
}

// Reads a line with SIGINT noted, where it is not ignored anyway.
void read_line_noting_interrupts(Line *line) {
    struct sigaction before;
    sigaction(SIGINT, nullptr, &before);
    const bool ignored = before.sa_handler == SIG_IGN;
    struct sigaction noting = {};
    noting.sa_handler = on_interrupt;
    interrupted = 0;
    if (!ignored) sigaction(SIGINT, &noting, nullptr);
    read_line(line);
    if (!ignored) sigaction(SIGINT, &before, nullptr);
}

// Reads a line with echo off and SIGINT let in while waiting only.
Line read_secretly() {
    sigset_t interrupt, before;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, &before);
    Line line;
    rv_rl_echo_off(STDIN_FILENO);
    read_line_noting_interrupts(&line);
    rv_rl_echo_on(STDIN_FILENO);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return line;
}

// Lets the Ctrl-C that was noted do what it would have done. Returns when that was nothing.
void interrupt_again() {
    interrupted = 0;
    raise(SIGINT);
    rv_wait(nullptr, 0, rv_now_ms());  // let in here where it is blocked
}

}  // namespace

char *password_prompt(const char *format, ...) {
    va_list args;
    va_start(args, format);
    vprintf(format, args);
    va_end(args);
    fflush(stdout);
    const Line line = read_secretly();
    putchar('\n');
    if (!interrupted) return line.text;
    explicit_bzero(line.text, line.capacity);
    free(line.text);
    fflush(stdout);
    interrupt_again();
    return strdup("");
}

void password_free(char *password) {
    if (!password) return;
    explicit_bzero(password, strlen(password));
    free(password);
}
