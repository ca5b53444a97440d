// Instances that come and go, and what completion makes of it.
#include <malloc.h>

#include "tests/support/interrupt.h"
#include "tests/unit/ravc/complete_fixture.h"

namespace {

class InstanceEvents : public CompleteFixture {
 protected:
    using CompleteFixture::CompleteFixture;

    static void note(const char *action, const char *path, int number) {
        json_auto_t *params = json_pack("{s:s, s:s, s:i}", "Action", action, "Path", path, "InstanceNumber", number);
        instance_events_note(params);
    }
    static void added(int number) { note("Add", "Device.IP.Interface.", number); }
    static void deleted(int number) {
        note("Delete", ("Device.IP.Interface." + std::to_string(number) + ".").c_str(), number);
    }
    // Interface is fetched, and instance 2 has gone.
    void lose_second() {
        offered("ls Device.IP.Interface.");
        deleted(2);
        EXPECT_EQ(offered("ls Device.IP.Interface."), "1. max_instance");
        sent();
    }
    static json_t *interface() { return json_object_get(json_object_get(at_device(), "IP"), "Interface"); }
    static json_t *at_device() { return json_object_get(node_cache_root, "Device"); }
};

TEST_F(InstanceEvents, DeletedInstanceIsNoLongerOffered) {
    offered("ls Device.IP.Interface.");
    sent();
    deleted(1);
    EXPECT_EQ(offered("ls Device.IP.Interface."), "2. max_instance");
    note("Gone", "Device.IP.Interface.2", 2);
    EXPECT_EQ(offered("ls Device.IP.Interface."), "max_instance");
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(InstanceEvents, AddedInstanceIsOfferedAfterOneRequest) {
    lose_second();
    added(2);
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
    EXPECT_EQ(sent(), Sent{R"(GetParameterAttributes {"ParameterNames":["Device.IP.Interface.2"],"Depth":-1})"});
    json_t *instance = json_object_get(interface(), "2");
    EXPECT_TRUE(json_is_true(json_object_get(instance, "#fetched")));
    EXPECT_EQ(json_object_get(json_object_get(instance, "Name"), "#info"), nullptr);
    EXPECT_EQ(offered("set Device.IP.Interface.2.Enable="), "true false");
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(InstanceEvents, AllAddedInstancesComeWithOneRequest) {
    lose_second();
    offered("ls Device.Rules.");
    note("Delete", "Device.Rules.3", 3);
    EXPECT_EQ(offered("ls Device.Rules."), "1. max_instance order");
    sent();
    added(2);
    added(2);
    note("Add", "Device.Rules", 3);
    EXPECT_EQ(offered("ls Device.Rules."), "1. 3. max_instance order");
    EXPECT_EQ(
        sent(),
        Sent{R"(GetParameterAttributes {"ParameterNames":["Device.IP.Interface.2","Device.Rules.3"],"Depth":-1})"});
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
}

TEST_F(InstanceEvents, OneThatComesAndGoesAgainIsNotAskedFor) {
    offered("ls Device.IP.Interface.");
    sent();
    added(7);
    deleted(7);
    deleted(1);
    added(1);
    added(2);
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(InstanceEvents, ObjectsThatAreNotCachedArePassedOver) {
    added(7);
    note("Add", "Device.Nope.", 1);
    note("Delete", "Nope.1.", 1);
    note("Delete", "", 1);
    note("Add", "", 1);
    EXPECT_EQ(offered("ls Device."), "DeviceInfo. IP. Reset. Rules.");
    offered("ls Device.IP.");
    sent();
    added(7);  // of the object nothing but its attributes is known: it comes whole when it is needed
    EXPECT_EQ(offered("ls Device.IP."), "Interface.");
    EXPECT_EQ(sent(), Sent{});
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
}

TEST_F(InstanceEvents, WhatIsNoEventIsPassedOver) {
    offered("ls Device.IP.Interface.");
    sent();
    for (const char *text : {R"({"Action":"Add","Path":"Device.IP.Interface."})", "[]", "null",
                             R"({"Action":"Add","Path":"Device.IP.Interface.","InstanceNumber":"7"})",
                             R"({"Action":"Add","Path":"Device.IP.Interface.","InstanceNumber":-7})",
                             R"({"Action":1,"Path":"Device.IP.Interface.1.","InstanceNumber":1})",
                             R"({"Action":"Delete","Path":7,"InstanceNumber":1})"}) {
        json_auto_t *params = json_loads(text, JSON_DECODE_ANY, nullptr);
        instance_events_note(params);
    }
    instance_events_note(nullptr);
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(InstanceEvents, WhatDoesNotComeIsAskedForWithItsWholeLevel) {
    lose_second();
    added(2);
    daemon_.stop();
    EXPECT_EQ(offered("ls Device.R"), "Reset. Rules.");
    daemon_.start();
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
    added(9);  // the daemon does not know it
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
}

TEST_F(InstanceEvents, TooManyAreNotKeptButTheirObjectIsFetchedAnew) {
    lose_second();
    for (int number = 1; number <= 1001; number++) added(number + 100);
    EXPECT_EQ(json_object_get(interface(), "#fetched"), nullptr);
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
    EXPECT_EQ(sent().size(), 3U);  // the level and its instances, none of the thousand by itself
}

TEST_F(InstanceEvents, OfAnObjectToBeFetchedAnewInstancesAreLookedFor) {
    lose_second();
    for (int number = 1; number <= 1001; number++) added(number + 100);
    sent();
    EXPECT_EQ(offered("set Device.IP.Interface.2.Enable="), "true false");
    EXPECT_EQ(sent().size(), 3U);
}

TEST_F(InstanceEvents, AThousandAreKept) {
    lose_second();
    for (int number = 1; number <= 1000; number++) added(number + 100);
    EXPECT_TRUE(json_is_true(json_object_get(interface(), "#fetched")));
}

TEST_F(InstanceEvents, AFloodTakesNoRoom) {
    offered("ls Device.IP.Interface.");
    offered("ls Device.Rules.");
    const size_t before = mallinfo2().uordblks;
    json_auto_t *params =
        json_pack("{s:s, s:s, s:i}", "Action", "Add", "Path", "Device.IP.Interface.", "InstanceNumber", 0);
    json_t *number = json_object_get(params, "InstanceNumber");
    for (int i = 0; i < 1000000; i++) {
        json_integer_set(number, i);
        instance_events_note(params);
    }
    EXPECT_LT(mallinfo2().uordblks, before + (1U << 20));
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
}

TEST_F(InstanceEvents, ClearedOnesAreForgotten) {
    offered("ls Device.IP.Interface.");
    sent();
    added(7);
    deleted(1);
    instance_events_clear();
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
    EXPECT_EQ(sent(), Sent{});
}

// The request, "Method {params}", that is not answered but interrupted, as in a shell at its prompt.
std::string interrupted;
pthread_t shell_thread;

class InterruptedCompletion : public InstanceEvents {
 protected:
    InterruptedCompletion()
        : InstanceEvents(test::answer_from_model([](test::Peer &, const std::string &request) {
              if (interrupted.empty() || test::method_of(request) + " " + test::params_of(request) != interrupted)
                  return false;
              interrupted.clear();
              pthread_kill(shell_thread, SIGINT);
              return true;
          })) {
        shell_thread = pthread_self();
    }

 private:
    const test::BlockedInterrupt interrupt_{[](int) {}};
};

TEST_F(InterruptedCompletion, YieldsNothingAndLeavesTheNodeAsItWas) {
    for (const char *request : {R"(GetParameterAttributes {"ParameterNames":["Device.Rules."],"Depth":1})",
                                R"(GetParameterNames {"ParameterPath":"Device.Rules.","NextLevel":true})"}) {
        node_cache_rebuild();
        offered("ls Device.");
        interrupted = request;
        EXPECT_EQ(offered("ls Device.Rules."), "");
        EXPECT_EQ(json_object_size(json_object_get(at_device(), "Rules")), 1U);
        EXPECT_EQ(offered("ls Device.Rules."), "1. 3. max_instance order");
    }
}

TEST_F(InterruptedCompletion, OneSignalEndsAllThatIsLeftToDo) {
    offered("ls Device.");
    sent();
    interrupted = R"(GetParameterAttributes {"ParameterNames":["Device.IP."],"Depth":1})";
    EXPECT_EQ(offered("ls Device.IP.Interface.1."), "");
    EXPECT_EQ(sent().size(), 1U);
}

TEST_F(InterruptedCompletion, AddedInstancesAreNotLost) {
    lose_second();
    added(2);
    interrupted = R"(GetParameterAttributes {"ParameterNames":["Device.IP.Interface.2"],"Depth":-1})";
    EXPECT_EQ(offered("ls Device.R"), "Reset. Rules.");
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
}

}  // namespace
