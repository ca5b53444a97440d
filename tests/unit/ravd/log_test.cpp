// What the log keeps of itself.
#include "ravd/log.h"

#include <algorithm>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace ravd {
namespace {

TEST(Log, KeepsItsLastLinesAndNoneThatIsToldOnce) {
    testing::internal::CaptureStderr();
    log_info("a line\nthat is one");
    log_once("a password");
    log_audit("a change");
    log_debug("left out");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("<5>a password\n"), std::string::npos);
    EXPECT_TRUE(log_recent().ends_with("a line\\x0athat is one\na change\n")) << log_recent();
    EXPECT_EQ(log_recent().find("password"), std::string::npos);
}

TEST(Log, KeepsNoMoreThanItsRoom) {
    testing::internal::CaptureStderr();
    const std::string line(1000, 'x');
    for (int n = 0; n < 400; n++) log_audit(line);
    log_audit("the last");
    testing::internal::GetCapturedStderr();
    EXPECT_LE(log_recent().size(), 256U * 1024);
    EXPECT_GT(log_recent().size(), 200U * 1024);
    EXPECT_TRUE(log_recent().ends_with("x\nthe last\n"));
}

TEST(Log, TakesLinesOfManyThreads) {
    testing::internal::CaptureStderr();
    for (int n = 0; n < 3000; n++) log_audit(std::string(100, 'x'));
    std::vector<std::thread> threads;
    for (const char letter : {'a', 'b', 'c', 'd'})
        threads.emplace_back([letter] {
            for (int n = 0; n < 500; n++) log_audit(std::string(100, letter));
        });
    for (std::thread &thread : threads) thread.join();
    testing::internal::GetCapturedStderr();
    const std::string kept = log_recent();
    for (const char letter : {'a', 'b', 'c', 'd'}) EXPECT_EQ(std::ranges::count(kept, letter), 50000) << letter;
}

}  // namespace
}  // namespace ravd
