// A loop and a folder, for tests of what the loop does with files.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include <event2/event.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include "tests/support/temporary_folder.h"

namespace ravd {

class LoopTest : public testing::Test {
 protected:
    LoopTest() {
        signal(SIGPIPE, SIG_IGN);  // as the daemon does
        chmod(folder.path().c_str(), 0755);
    }
    ~LoopTest() override { event_base_free(base); }

    // Writes a file in the folder. Returns its path.
    std::string write(const std::string &name, const std::string &content, mode_t mode = 0644) const {
        put_file(folder / name, content, mode);
        return folder / name;
    }

    // Runs the loop until condition() holds; false when that takes too long.
    bool loop_until(const std::function<bool()> &condition) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            const timeval soon = {0, 10'000};
            event_base_loopexit(base, &soon);
            event_base_dispatch(base);
        }
        return true;
    }

    const TemporaryFolder folder;
    event_base *const base = event_base_new();
};

}  // namespace ravd
