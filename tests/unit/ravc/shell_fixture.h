// A shell without a terminal: connections to the scripted daemon with the small data model, a node cache, and handlers
// run with their output captured.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ravc/cache/node_cache.h"
#include "ravc/cdpath.h"
#include "ravc/commands/handlers.h"
#include "ravc/daemon/connections.h"
#include "tests/support/color_scope.h"
#include "tests/support/fake_model.h"

struct Outcome {
    int result;
    std::string text;
    bool operator==(const Outcome &) const = default;
};

inline void PrintTo(const Outcome &outcome, std::ostream *out) {
    *out << outcome.result << ": " << outcome.text;
}

class ShellFixture : public testing::Test {
 protected:
    explicit ShellFixture(test::Script script = test::answer_from_model(),
                          test::FakeDaemon::Over over = test::FakeDaemon::Over::unix_socket)
        : daemon_(std::move(script), over) {
        connections_init();
        rv_jrpcapi_set_destination(requests_connection(), "", daemon_.destination().c_str(), 2);
    }
    ~ShellFixture() override {
        cdpath_release(&current_path);
        cdpath_release(&previous_path);
        current_path = previous_path = cdpath();
        node_cache_release();
        connections_deinit();
    }

    // What the interactive shell does first.
    void open_shell() {
        node_cache_rebuild();
        cd();
        sent();
    }

    using Handler = int (*)(const char *, json_t *);

    Outcome run(Handler handler, const char *name, const std::vector<std::string> &words = {}) {
        json_auto_t *args = json_array();
        for (const std::string &word : words) json_array_append_new(args, json_string(word.c_str()));
        testing::internal::CaptureStdout();
        const int result = handler(name, args);
        return {result, testing::internal::GetCapturedStdout()};
    }

    Outcome cd(const std::vector<std::string> &words = {}) { return run(process_cd, "cd", words); }

    // The requests since the last call, "Method {params}" each.
    std::vector<std::string> sent() {
        std::vector<std::string> requests;
        const std::vector<std::string> lines = daemon_.requests();
        for (; seen_ < lines.size(); seen_++)
            requests.push_back(test::method_of(lines[seen_]) + " " + test::params_of(lines[seen_]));
        return requests;
    }

    test::FakeDaemon daemon_;

 private:
    const ColorScope plain_{0};
    size_t seen_ = 0;
};

using Sent = std::vector<std::string>;
