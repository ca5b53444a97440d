// Standard input as a pipe, for as long as the object lives.
#pragma once

#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace test {

class TypedInput {
 public:
    TypedInput() : saved_(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        writer_ = ends[1];
    }
    ~TypedInput() {
        end_of_input();
        dup2(saved_, STDIN_FILENO);
        close(saved_);
    }
    TypedInput(const TypedInput &) = delete;
    TypedInput &operator=(const TypedInput &) = delete;

    void type(const std::string &text) {
        if (write(writer_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            throw std::runtime_error("write");
    }
    void end_of_input() {
        if (writer_ >= 0) close(writer_);
        writer_ = -1;
    }

 private:
    int saved_;
    int writer_;
};

}  // namespace test
