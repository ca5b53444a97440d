// Events: the bounded queue, who gets what, and the model's changes.
#include "ravd/events.h"

#include <fstream>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/unit/ravd/member.h"

namespace ravd {
namespace {

EventLine line(const std::string &text) {
    return std::make_shared<const std::string>(text);
}

std::string dropped(int count) {
    return R"({"jsonrpc":"2.0","method":"Event","params":{"Group":0,"Params":{"Dropped":)" + std::to_string(count) +
           "}}}\n";
}

TEST(EventQueueTest, KeepsTheOrder) {
    EventQueue queue;
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(queue.pop(), nullptr);
    queue.push(line("a"), 100);
    queue.push(line("b"), 100);
    EXPECT_EQ(*queue.pop(), "a");
    EXPECT_EQ(*queue.pop(), "b");
    EXPECT_TRUE(queue.empty());
}

TEST(EventQueueTest, LosesTheOldestAndTellsOnce) {
    EventQueue queue;
    for (const char *text : {"1111", "2222", "3333", "4444"}) queue.push(line(text), 10);
    EXPECT_EQ(*queue.pop(), dropped(2));
    EXPECT_EQ(*queue.pop(), "3333");
    queue.push(line("5555"), 10);
    queue.push(line("6666"), 10);
    EXPECT_EQ(*queue.pop(), dropped(1));
    EXPECT_EQ(*queue.pop(), "5555");
    EXPECT_EQ(*queue.pop(), "6666");
    EXPECT_TRUE(queue.empty());
}

TEST(EventQueueTest, ExactFitStays) {
    EventQueue queue;
    queue.push(line("12345"), 10);
    queue.push(line("67890"), 10);
    EXPECT_EQ(*queue.pop(), "12345");
}

TEST(EventQueueTest, WhatNeverFitsIsOnlyCounted) {
    EventQueue queue;
    queue.push(line("1"), 3);
    queue.push(line("4444"), 3);
    EXPECT_FALSE(queue.empty());
    EXPECT_EQ(*queue.pop(), dropped(2));
    EXPECT_TRUE(queue.empty());
}

class EventsTest : public testing::Test {
 protected:
    void SetUp() override {
        std::ofstream(folder / "model.json") << R"({"#attr": {"type": "object"}, "Device": {
            "#attr": {"type": "object", "perms": "rwrwr-"},
            "Open": {"#attr": {"type": "object", "multi": true}, "#template": {"#attr": {"type": "object"}}},
            "Text": {"#attr": {"type": "string", "access": "readWrite"}},
            "Blind": {"#attr": {"type": "string", "access": "readWrite", "perms": "-w-w-w"}},
            "Closed": {"#attr": {"type": "object", "multi": true, "perms": "rw----"},
                       "#template": {"#attr": {"type": "object"}}}}})";
        std::string error;
        model = Model::load(folder.path(), {}, error);
        ASSERT_NE(model, nullptr) << error;
        events = std::make_unique<Events>(sessions, *model, [this] { ++woken; });
    }

    const TemporaryFolder folder;
    std::unique_ptr<Model> model;
    Sessions sessions{test_uid, 16};
    std::unique_ptr<Events> events;
    int woken = 0;
};

std::string event(const std::string &params) {
    return R"({"jsonrpc":"2.0","method":"Event","params":{)" + params + "}}\n";
}

TEST_F(EventsTest, GoesToEveryOtherSessionThatJoined) {
    TestMember sender(sessions), first(sessions), second(sessions), other(sessions);
    for (Member *each : std::initializer_list<Member *>{&sender, &first, &second}) sessions.join(*each, 17);
    sessions.join(other, 18);
    events->publish(17, R"({"a":1})", &sender.session());
    EXPECT_EQ(first.events, std::vector<std::string>{event(R"("Group":17,"Params":{"a":1})")});
    EXPECT_EQ(second.events, first.events);
    EXPECT_TRUE(sender.events.empty());
    EXPECT_TRUE(other.events.empty());
}

TEST_F(EventsTest, NoParamsNoMember) {
    TestMember one(sessions);
    sessions.join(one, 4294967295);
    events->publish(4294967295, "");
    EXPECT_EQ(one.events, std::vector<std::string>{event(R"("Group":4294967295)")});
}

TEST_F(EventsTest, InstancesAreToldInOrderAfterwards) {
    TestMember one(sessions);
    sessions.join(one, 4);
    events->instance_added("Device.Open.", 3);
    events->instance_deleted("Device.Open.", 3);
    EXPECT_TRUE(one.events.empty());
    EXPECT_EQ(woken, 1);
    events->deliver_changes();
    EXPECT_EQ(one.events,
              (std::vector<std::string>{
                  event(R"("Group":4,"Params":{"Action":"Add","Path":"Device.Open.","InstanceNumber":3})"),
                  event(R"("Group":4,"Params":{"Action":"Delete","Path":"Device.Open.3.","InstanceNumber":3})")}));
    events->deliver_changes();
    EXPECT_EQ(one.events.size(), 2U);
}

TEST_F(EventsTest, OnlyWhoMayReadThePathIsTold) {
    TestMember admin(sessions), guest(sessions, local_peer(test_uid + 1));
    for (Member *each : std::initializer_list<Member *>{&admin, &guest}) sessions.join(*each, 4);
    events->instance_added("Device.Open.", 1);
    events->instance_added("Device.Closed.", 1);
    events->instance_deleted("Device.Closed.", 1);
    events->deliver_changes();
    EXPECT_EQ(admin.events.size(), 3U);
    EXPECT_EQ(guest.events.size(), 1U);
}

TEST_F(EventsTest, ValuesGoToThoseWhoMayReadThem) {
    TestMember admin(sessions), guest(sessions, local_peer(test_uid + 1));
    for (Member *each : std::initializer_list<Member *>{&admin, &guest}) sessions.join(*each, 1);
    events->value_changed("Device.Text", "\"a\"");
    events->value_changed("Device.Blind", "\"b\"");
    EXPECT_EQ(woken, 1);
    events->deliver_changes();
    EXPECT_EQ(admin.events,
              std::vector<std::string>{event(R"("Group":1,"Params":{"Path":"Device.Text","Value":"a"})")});
    EXPECT_EQ(guest.events, admin.events);
}

TEST_F(EventsTest, NobodyListensNothingIsKept) {
    events->instance_added("Device.Open.", 1);
    events->value_changed("Device.Text", "1");
    EXPECT_EQ(woken, 0);
    TestMember late(sessions);
    sessions.join(late, 4);
    events->deliver_changes();
    EXPECT_TRUE(late.events.empty());
}

}  // namespace
}  // namespace ravd
