// What work that ends the process ends it with.
#pragma once

#include <cstdlib>

#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

inline constexpr int came_back = 250;

// Runs work() in a child and returns the child's status, as waitpid() has it. The child's exit handlers end with the
// one set here: what this process has is not the child's to tear down. Status came_back: it did not end the process.
template <typename Work>
int end_of_process(Work work) {
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        on_exit(
            [](int status, void *) {
                fflush(nullptr);
                _exit(status);
            },
            nullptr);
        work();
        fflush(nullptr);
        _exit(came_back);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

}  // namespace test
