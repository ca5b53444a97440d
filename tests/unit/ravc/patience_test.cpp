// How long the commands that act on the device wait for each answer.
#include <sstream>

#include <poll.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "ravc/commands.h"
#include "tests/support/end_of_process.h"
#include "tests/unit/ravc/shell_fixture.h"

namespace {

bool notes_waits;

const char *length_of(const timespec *span) {
    if (!span) return "endless\n";
    return span->tv_sec * 1000 + span->tv_nsec / 1000000 <= 1000 ? "a second\n" : "too long\n";
}

}  // namespace

// The system's. Where a test wants that, it notes on standard error how long it is going to wait.
extern "C" int ppoll(pollfd *fds, nfds_t count, const timespec *span, const sigset_t *mask) {
    if (notes_waits && count > 0) fputs(length_of(span), stderr);
    timespec left = span ? *span : timespec{};
    return static_cast<int>(syscall(SYS_ppoll, fds, count, span ? &left : nullptr, mask, size_t{_NSIG / 8}));
}

namespace {

const char image[] =
    R"({"Status":1,"CurrentVersion":"1.2.3","NewVersion":"1.2.4","SavedFirmware":"/x","TransactionID":1})";

void serve(test::Peer &peer) {
    while (const auto request = peer.request()) {
        const std::string method = test::method_of(*request);
        if (method == "Execute" || method == "GetParameterValues") {
            peer.fail(*request, 9001, "Request denied");
        } else {
            peer.reply(*request, method == "Download" ? image : "{}");
        }
    }
}

class Patience : public ShellFixture {
 protected:
    Patience() : ShellFixture(serve) {}

    // How long command waits, in turn, what is the same counted once.
    static std::string waits_of(const char *command, const std::vector<std::string> &words) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        test::end_of_process([&] {
            json_auto_t *args = json_array();
            for (const std::string &word : words) json_array_append_new(args, json_string(word.c_str()));
            notes_waits = true;
            dispatch_by_name(command, args);
        });
        testing::internal::GetCapturedStdout();
        std::istringstream lines(testing::internal::GetCapturedStderr());
        std::string waits, last;
        for (std::string line; std::getline(lines, line); last = line)
            if (line != last) waits += (waits.empty() ? "" : ", ") + line;
        return waits;
    }
};

TEST_F(Patience, HasNoEndButWhereAnUpgradeIsWatched) {
    struct Row {
        const char *command;
        std::vector<std::string> words;
        const char *waits = "endless";
    };
    for (const Row &row : {Row{"reboot", {}},
                           {"reset", {}},
                           {"save", {}},
                           {"upload", {"log", "a://b"}},
                           {"debug", {"disabled"}},
                           {"download", {"config", "a://b"}},
                           {"upgrade", {"a://b"}, "endless, a second"}})
        EXPECT_EQ(waits_of(row.command, row.words), row.waits) << row.command;
}

}  // namespace
