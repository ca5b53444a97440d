// Work on threads: done() on the loop, the bounded queue, and an end with jobs left.
#include "ravd/workers.h"

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

class Gate {
 public:
    void open() {
        const std::lock_guard lock(mutex_);
        open_ = true;
        opened_.notify_all();
    }
    void pass() {
        std::unique_lock lock(mutex_);
        arrived_++;
        opened_.notify_all();
        opened_.wait(lock, [this] { return open_; });
    }
    void await(int arrivals) {
        std::unique_lock lock(mutex_);
        opened_.wait(lock, [&] { return arrived_ >= arrivals; });
    }

 private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool open_ = false;
    int arrived_ = 0;
};

class Workers : public testing::Test {
 protected:
    ~Workers() override { event_base_free(base_); }
    event_base *base_ = event_base_new();
};

TEST_F(Workers, WorkElsewhereAndAreDoneOnTheLoop) {
    ravd::Workers workers(base_, 2, 100);
    const std::thread::id loop = std::this_thread::get_id();
    std::vector<int> results(50);
    int done = 0;
    for (int i = 0; i < 50; i++) {
        ASSERT_TRUE(workers.post(
            [&, i] {
                EXPECT_NE(std::this_thread::get_id(), loop);
                results[static_cast<size_t>(i)] = i * i;
            },
            [&, i] {
                EXPECT_EQ(std::this_thread::get_id(), loop);
                EXPECT_EQ(results[static_cast<size_t>(i)], i * i);
                if (++done == 50) event_base_loopbreak(base_);
            }));
    }
    event_base_dispatch(base_);
    EXPECT_EQ(done, 50);
}

TEST_F(Workers, RefuseMoreThanMayWait) {
    Gate gate;
    ravd::Workers workers(base_, 2, 3);
    int done = 0;
    const auto wait = [&] { gate.pass(); };
    const auto count = [&] {
        if (++done == 5) event_base_loopbreak(base_);
    };
    for (int i = 0; i < 2; i++) EXPECT_TRUE(workers.post(wait, count));
    gate.await(2);
    for (int i = 0; i < 3; i++) EXPECT_TRUE(workers.post(wait, count));
    EXPECT_FALSE(workers.post(wait, count));
    gate.open();
    event_base_dispatch(base_);
    EXPECT_EQ(done, 5);
}

TEST_F(Workers, EndWithJobsLeft) {
    int worked = 0, done = 0;
    {
        Gate gate;
        ravd::Workers workers(base_, 1, 100);
        EXPECT_TRUE(workers.post([&] { gate.pass(); }, [&] { done++; }));
        for (int i = 0; i < 10; i++) EXPECT_TRUE(workers.post([&] { worked++; }, [&] { done++; }));
        gate.await(1);
        gate.open();
    }
    EXPECT_LE(worked, 10);
    EXPECT_EQ(done, 0);
}

}  // namespace
