// ptybench: runs a shell at a pseudo-terminal of 80 columns and 24 rows and measures what a person waits for.
//
// usage: ptybench start RUNS PROMPT COMMAND [ARGS...]
//            a line a run: microseconds to the first prompt, KiB resident and private once it waits there
//        ptybench keys ROUNDS PROMPT LEAD KEYS COMMAND [ARGS...]
//            types LEAD once, and in each round KEYS, each timed from its write to the last byte drawn before
//            15 ms of silence, and Ctrl-U; a line a key: microseconds. "\r" in LEAD is Enter.
#include <string>

#include <errno.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace {

enum { QUIET_MS = 15, SETTLE_MS = 200, KEY_MS = 2000, START_MS = 60000 };

long long now_us() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1000000LL + t.tv_nsec / 1000;
}

[[noreturn]] void fail(const char *what, const std::string &seen) {
    fprintf(stderr, "ptybench: %s; seen: %s\n", what, seen.c_str());
    exit(1);
}

class Terminal {
 public:
    explicit Terminal(char **command) : begin_us_(now_us()) {
        winsize size = {.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
        pid_ = forkpty(&fd_, nullptr, nullptr, &size);
        if (pid_ != 0) return;
        execvp(command[0], command);
        _exit(127);
    }
    ~Terminal() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        close(fd_);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    // Microseconds from the start until prompt has been drawn.
    long long wait_prompt(const char *prompt) {
        while (seen_.find(prompt) == seen_.npos)
            if (!read_some(START_MS)) fail("no prompt", seen_);
        return last_us_ - begin_us_;
    }

    // Reads until nothing has come for so long.
    void settle(int quiet_ms) {
        while (read_some(quiet_ms)) {
        }
    }

    void type(char key) {
        if (write(fd_, &key, 1) != 1) fail("can't type", seen_);
    }

    // Microseconds from the key's write to the last byte drawn; -1 when nothing was.
    long long time_key(char key) {
        const long long begin = now_us();
        type(key);
        if (!read_some(KEY_MS)) return -1;
        settle(QUIET_MS);
        return last_us_ - begin;
    }

    // The sum of the lines of /proc/PID/smaps_rollup that begin with key, in KiB.
    long memory(const char *key) const {
        char path[64], line[256];
        snprintf(path, sizeof path, "/proc/%d/smaps_rollup", static_cast<int>(pid_));
        FILE *file = fopen(path, "re");
        if (!file) return -1;
        long sum = 0;
        while (fgets(line, sizeof line, file))
            if (strncmp(line, key, strlen(key)) == 0) sum += strtol(strchr(line, ':') + 1, nullptr, 10);
        fclose(file);
        return sum;
    }

 private:
    bool read_some(int timeout_ms) {
        pollfd input = {fd_, POLLIN, 0};
        if (poll(&input, 1, timeout_ms) <= 0) return false;
        char data[65536];
        const ssize_t got = read(fd_, data, sizeof data);
        if (got <= 0) return false;
        last_us_ = now_us();
        seen_.append(data, static_cast<size_t>(got));
        if (seen_.size() > sizeof data) seen_.erase(0, seen_.size() - 4096);
        return true;
    }

    long long begin_us_;
    pid_t pid_;
    int fd_ = -1;
    std::string seen_;
    long long last_us_ = 0;
};

void start(int runs, const char *prompt, char **command) {
    for (int i = 0; i < runs; i++) {
        Terminal terminal(command);
        const long long us = terminal.wait_prompt(prompt);
        terminal.settle(SETTLE_MS);
        printf("%lld %ld %ld\n", us, terminal.memory("Rss"), terminal.memory("Private"));
    }
}

void keys(int rounds, const char *prompt, const char *lead, const char *keys, char **command) {
    Terminal terminal(command);
    terminal.wait_prompt(prompt);
    terminal.settle(SETTLE_MS);
    for (; *lead; lead++) {
        terminal.type(*lead);
        terminal.settle(*lead == '\r' ? KEY_MS : QUIET_MS);
    }
    for (int i = 0; i < rounds; i++) {
        for (const char *key = keys; *key; key++) printf("%lld\n", terminal.time_key(*key));
        terminal.type('\x15');
        terminal.settle(QUIET_MS);
    }
}

}  // namespace

int main(int argc, char **argv) {
    if (argc >= 5 && strcmp(argv[1], "start") == 0) {
        start(atoi(argv[2]), argv[3], argv + 4);
    } else if (argc >= 7 && strcmp(argv[1], "keys") == 0) {
        keys(atoi(argv[2]), argv[3], argv[4], argv[5], argv + 6);
    } else {
        fputs("usage: ptybench start RUNS PROMPT COMMAND... | ptybench keys ROUNDS PROMPT LEAD KEYS COMMAND...\n",
              stderr);
        return 2;
    }
    return 0;
}
