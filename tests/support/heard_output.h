// Standard output as a pipe that a test reads line by line, for as long as the object lives: for what another thread
// prints some time.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <unistd.h>

namespace test {

class HeardOutput {
 public:
    HeardOutput() {
        int ends[2];
        fflush(stdout);
        saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
        dup2(ends[1], STDOUT_FILENO);
        close(ends[1]);
        reader_ = ends[0];
    }
    ~HeardOutput() {
        fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
        close(reader_);
    }
    HeardOutput(const HeardOutput &) = delete;
    HeardOutput &operator=(const HeardOutput &) = delete;

    // The next line, without its line feed. What came of it when nothing more comes for 20 s.
    std::string line() {
        fflush(stdout);
        std::string text;
        pollfd readable{.fd = reader_, .events = POLLIN, .revents = 0};
        for (char c; poll(&readable, 1, 20000) == 1 && read(reader_, &c, 1) == 1 && c != '\n';) text += c;
        return text;
    }

    // Whether anything is there that was not read.
    bool has_more() {
        fflush(stdout);
        pollfd readable{.fd = reader_, .events = POLLIN, .revents = 0};
        return poll(&readable, 1, 0) == 1;
    }

 private:
    int saved_;
    int reader_;
};

}  // namespace test
