// A daemon that takes an image and installs it, as a test has it, and the command that has that done.
#pragma once

#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/end_of_process.h"
#include "tests/support/typed_input.h"
#include "tests/unit/ravc/shell_fixture.h"

inline std::string progress(const std::string &percent, const std::string &status) {
    return R"({"ParameterList":[{"Name":"Device.DeviceInfo.UpgradeProgress","Value":)" + percent +
           R"(},{"Name":"Device.DeviceInfo.UpgradeStatus","Value":)" + status + "}]}";
}

inline const std::string ended = progress("0", "-2");

// How a poll is answered.
struct Answer {
    std::string result;  // none: not at all
    bool closes = false;
    bool interrupts = false;  // Ctrl-C comes, too
    bool refuses = false;     // with an error
};

// What the daemon makes of an image, and how its upgrade goes: the answers to polling, in order; the last one again and
// again.
class Scene {
 public:
    void tell(const std::string &reply) {
        const std::lock_guard lock(mutex_);
        reply_ = reply;
    }
    void play(const std::vector<Answer> &polls) {
        const std::lock_guard lock(mutex_);
        polls_ = polls;
        polled_ = 0;
        shown_.clear();
    }
    void refuse_what_follows() { refuses_ = true; }  // the image, polls apart

    std::string reply() {
        const std::lock_guard lock(mutex_);
        return reply_;
    }
    bool refuses() const { return refuses_; }
    // What stood in the output whenever a poll came.
    std::vector<std::string> shown() {
        const std::lock_guard lock(mutex_);
        return shown_;
    }
    // Answers a poll. Returns false when the connection is to be closed.
    bool poll(test::Peer &peer, const std::string &request) {
        const Answer answer = next();
        if (!answer.result.empty()) peer.reply(request, answer.result);
        if (answer.refuses) peer.fail(request, 9001, "Request denied");
        if (answer.interrupts) pthread_kill(main_thread_, SIGINT);
        return !answer.closes;
    }

 private:
    Answer next() {
        const std::lock_guard lock(mutex_);
        char text[100];
        const ssize_t size = pread(STDOUT_FILENO, text, sizeof text, 0);
        shown_.emplace_back(text, size > 0 ? static_cast<size_t>(size) : 0);
        return polls_[std::min(polled_++, polls_.size() - 1)];
    }

    std::mutex mutex_;
    std::string reply_;
    std::vector<Answer> polls_ = {{ended}};
    size_t polled_ = 0;
    std::vector<std::string> shown_;
    std::atomic<bool> refuses_{false};
    const pthread_t main_thread_ = pthread_self();
};

inline std::string told(const std::string &status, const std::string &current, const std::string &next) {
    return R"({"Status":)" + status + R"(,"CurrentVersion":")" + current + R"(","NewVersion":")" + next +
           R"(","SavedFirmware":"/state/image","TransactionID":["any",1]})";
}

inline void serve_scene(Scene &scene, test::Peer &peer) {
    while (const auto request = peer.request()) {
        const std::string method = test::method_of(*request);
        if (method == "GetParameterValues") {
            if (!scene.poll(peer, *request)) return;
        } else {
            const std::string params = test::params_of(*request);
            const bool is_begin =
                params.find("NeedPreUpdate") != std::string::npos && params.find("TransactionID") == std::string::npos;
            const bool is_fetch = is_begin && params.find(R"("NeedPreUpdate":false)") != std::string::npos;
            if (scene.refuses() && !is_begin) {
                peer.fail(*request, 9001, "Request denied");
            } else {
                peer.reply(*request, is_fetch ? scene.reply() : "{}");
            }
        }
    }
}

class Firmware : public ShellFixture, protected test::TypedInput {
 protected:
    Firmware() : ShellFixture([this](test::Peer &peer) { serve_scene(scene_, peer); }) {}

    // Runs the command in a child, whose status is the outcome's result.
    Outcome upgrade() {
        testing::internal::CaptureStdout();
        const int status = test::end_of_process([] {
            json_auto_t *args = json_pack("[s]", "a://b");
            process_upgrade("upgrade", args);
        });
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, testing::internal::GetCapturedStdout()};
    }

    Scene scene_;
};
