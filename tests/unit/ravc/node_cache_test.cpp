// What the cache fetches, when, and what it keeps.
#include <cstring>

#include "ravc/commands/list_children.h"
#include "tests/support/interrupt.h"
#include "tests/unit/ravc/shell_fixture.h"

namespace {

class NodeCache : public ShellFixture {
 protected:
    NodeCache() { open_shell(); }

    static json_t *at(std::initializer_list<const char *> names) {
        json_t *node = node_cache_root;
        for (const char *name : names) node = json_object_get(node, name);
        return node;
    }
};

const char attributes_of_device[] = R"(GetParameterAttributes {"ParameterNames":["Device."],"Depth":1})";

TEST_F(NodeCache, RebuildFetchesTheRootAndHidesTheModelVersion) {
    EXPECT_NE(at({"Device"}), nullptr);
    EXPECT_EQ(at({"DataModelVersion"}), nullptr);
    node_cache_rebuild();
    EXPECT_EQ(sent(), Sent{R"(GetParameterAttributes {"ParameterNames":["."],"Depth":1})"});
    EXPECT_EQ(current_path.node, node_cache_root);
}

TEST_F(NodeCache, FirstStepBelowANodeFetchesItsLevelLaterOnesNothing) {
    cd({"Device"});
    EXPECT_EQ(sent(), Sent{});
    cd({"DeviceInfo"});
    EXPECT_EQ(sent(), Sent{attributes_of_device});
    cd({":Device.IP"});
    cd({":Device.Nothing"});
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(NodeCache, InfoBecomesAttributes) {
    cd({"Device.DeviceInfo.HostName"});
    EXPECT_STREQ(json_string_value(json_object_get(at({"Device", "DeviceInfo", "HostName", "#attr"}), "type")),
                 "string");
    EXPECT_EQ(at({"Device", "DeviceInfo", "#info"}), nullptr);
}

TEST_F(NodeCache, MultiInstanceObjectComesWithItsInstances) {
    cd({"Device.IP.Interface.1"});
    EXPECT_EQ(sent(),
              (Sent{attributes_of_device, R"(GetParameterAttributes {"ParameterNames":["Device.IP."],"Depth":1})",
                    R"(GetParameterAttributes {"ParameterNames":["Device.IP.Interface."],"Depth":1})",
                    R"(GetParameterNames {"ParameterPath":"Device.IP.Interface.","NextLevel":true})",
                    R"(GetParameterAttributes {"ParameterNames":["Device.IP.Interface.1.","Device.IP.Interface.2."],)"
                    R"("Depth":-1,"IgnoreAccessError":true})"}));
    EXPECT_NE(at({"Device", "IP", "Interface", "2", "Enable", "#attr"}), nullptr);
    EXPECT_TRUE(json_is_true(at({"Device", "IP", "Interface", "2", "#fetched"})));
}

TEST_F(NodeCache, MissingInstanceIsLookedForOnceAndThenIsTheTemplate) {
    cd({"Device.IP.Interface"});
    cd();
    sent();
    cd({"Device.IP.Interface.7"});
    EXPECT_EQ(sent().size(), 3U);
    EXPECT_EQ(current_path.node, at({"Device", "IP", "Interface", "#template"}));
}

TEST_F(NodeCache, NameThatIsNoNumberIsNotLookedForAgain) {
    cd({"Device.IP.Interface"});
    cd({"abc"});
    sent();
    cd({"abc"});
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(NodeCache, OrderedObjectGetsItsPseudoParameter) {
    cd({"Device.Rules.1"});
    json_t *order = at({"Device", "Rules", "order"});
    EXPECT_EQ(json_object_size(order), 1U);
    EXPECT_TRUE(json_is_true(json_object_get(order, "#fetched")));
}

TEST_F(NodeCache, EqualAttributesOfInstancesAreOneObject) {
    cd({"Device.IP.Interface.1"});
    EXPECT_EQ(at({"Device", "IP", "Interface", "1", "Enable", "#attr"}),
              at({"Device", "IP", "Interface", "2", "Enable", "#attr"}));
    EXPECT_EQ(at({"Device", "IP", "Interface", "1", "#attr"}), at({"Device", "IP", "Interface", "#template", "#attr"}));
}

TEST_F(NodeCache, NodeKeepsItsIdentityWhenItIsFetchedAgain) {
    cd({"Device.IP.Interface"});
    json_t *node = current_path.node;
    node_cache_fetch(&current_path);
    EXPECT_EQ(at({"Device", "IP", "Interface"}), node);
}

TEST_F(NodeCache, InstanceThatIsReplacedStaysAliveUnderThePathInIt) {
    cd({"Device.IP.Interface.1"});
    json_t *node = current_path.node;
    run(process_cat, "cat", {":Device.IP.Interface.99.Name"});  // fetches the instances anew
    EXPECT_NE(at({"Device", "IP", "Interface", "1"}), node);
    EXPECT_STREQ(json_string_value(json_object_get(json_object_get(current_path.node, "#attr"), "type")), "object");
}

TEST_F(NodeCache, RebuildFindsThePreviousPathAgain) {
    cd({"Device.IP.Interface.*"});
    cd();
    node_cache_rebuild();
    EXPECT_STREQ(previous_path.path, "Device.IP.Interface.#template");
    EXPECT_EQ(cd({"-"}).result, 0);
    EXPECT_EQ(current_path.node, at({"Device", "IP", "Interface", "#template"}));
}

TEST_F(NodeCache, FailedFetchLeavesALevelThatIsFetchedAgain) {
    cd({"Device"});
    daemon_.stop();
    EXPECT_EQ(cd({"IP"}).result, -2);
    EXPECT_TRUE(json_is_true(json_object_get(current_path.node, "#fetched")));
    daemon_.start();
    EXPECT_EQ(cd({"IP"}).result, 0);
}

TEST_F(NodeCache, LevelThatFailedIsListedAnewToo) {
    cd({"Device"});
    run(process_ls, "ls");
    daemon_.stop();
    EXPECT_EQ(run(process_ls, "ls", {"Rules"}), (Outcome{0, "Rules.order\n"}));
    daemon_.start();
    EXPECT_EQ(run(process_ls, "ls", {"Rules"}), (Outcome{0, "Rules.1.\nRules.3.\nRules.max_instance\nRules.order\n"}));
    sent();
    EXPECT_EQ(cd({"Rules.3"}).result, 0);
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(NodeCache, RootThatFailedIsFetchedWithoutTheModelVersion) {
    daemon_.stop();
    node_cache_rebuild();
    EXPECT_EQ(run(process_ls, "ls"), (Outcome{0, ""}));
    daemon_.start();
    EXPECT_EQ(cd({"Device"}).result, 0);
    EXPECT_EQ(cd().result, 0);
    EXPECT_EQ(run(process_ls, "ls"), (Outcome{0, "Device.\n"}));
}

TEST_F(NodeCache, LevelWithoutChildrenIsFetchedOnce) {
    cd({"Device.DeviceInfo.HostName"});
    sent();
    EXPECT_EQ(cd({"x"}).result, -2);
    EXPECT_EQ(cd({"y"}).result, -2);
    EXPECT_EQ(sent(), Sent{R"(GetParameterAttributes {"ParameterNames":["Device.DeviceInfo.HostName."],"Depth":1})"});
}

TEST_F(NodeCache, NothingIsSentBelowThePseudoParameter) {
    cd({"Device.Rules.1"});
    sent();
    EXPECT_EQ(cd({"<.order.x"}).result, -2);
    EXPECT_EQ(run(process_ls, "ls", {"<.order"}), (Outcome{0, "<.order\n"}));
    EXPECT_EQ(cd({"<.order"}).result, 0);
    EXPECT_EQ(run(process_ls, "ls"), (Outcome{0, "Device.Rules.order\n"}));
    EXPECT_EQ(sent(), Sent{});
}

// The request, "Method {params}", that is not answered but interrupted.
std::string interrupted;
pthread_t shell_thread;

class InterruptedNodeCache : public ShellFixture {
 protected:
    InterruptedNodeCache()
        : ShellFixture(test::answer_from_model([](test::Peer &, const std::string &request) {
              if (test::method_of(request) + " " + test::params_of(request) != interrupted) return false;
              interrupted.clear();
              pthread_kill(shell_thread, SIGINT);
              return true;
          })) {
        shell_thread = pthread_self();
        open_shell();
    }

 private:
    const test::BlockedInterrupt interrupt_{test::jump_out};
};

TEST_F(InterruptedNodeCache, AbandonedFetchLeavesTheNodeAsItWas) {
    for (const char *request : {R"(GetParameterAttributes {"ParameterNames":["Device.Rules."],"Depth":1})",
                                R"(GetParameterNames {"ParameterPath":"Device.Rules.","NextLevel":true})"}) {
        cd({":Device.Rules"});
        json_auto_t *before = json_deep_copy(current_path.node);
        interrupted = request;
        EXPECT_TRUE(test::is_abandoned([] { node_cache_fetch(&current_path); }));
        EXPECT_TRUE(json_equal(current_path.node, before));
        EXPECT_EQ(run(process_ls, "ls", {"1"}), (Outcome{0, "1.Text\n1.index\n"}));
    }
}

TEST_F(InterruptedNodeCache, AbandonedRebuildLeavesBothPathsInTheNewTree) {
    for (const char *request : {R"(GetParameterAttributes {"ParameterNames":["."],"Depth":1})",
                                R"(GetParameterAttributes {"ParameterNames":["Device.IP."],"Depth":1})"}) {
        cd({":Device.IP.Interface"});
        cd({":Device.DeviceInfo"});
        interrupted = request;
        EXPECT_TRUE(test::is_abandoned(node_cache_rebuild));
        EXPECT_EQ(current_path.node, node_cache_root);
        EXPECT_EQ(previous_path.node, node_cache_root);
        EXPECT_STREQ(previous_path.path, "");
        EXPECT_EQ(cd({"-"}), (Outcome{0, ":\n"}));
        EXPECT_EQ(run(process_ls, "ls"), (Outcome{0, "Device.\n"}));
    }
}

TEST_F(NodeCache, ChildrenAreListedAsAsked) {
    cd({"Device"});
    const auto list = [&](const char *prefix, int options) {
        json_auto_t *names = list_children(&current_path, prefix, options);
        std::string text;
        size_t i;
        json_t *name;
        json_array_foreach(names, i, name) text += std::string(json_string_value(name)) + " ";
        return text;
    };
    EXPECT_EQ(list(nullptr, 0), "DeviceInfo IP Rules Reset ");
    EXPECT_EQ(list(nullptr, LIST_DOTS), "DeviceInfo. IP. Rules. Reset. ");
    EXPECT_EQ(list("Device", LIST_DOTS), "Device.DeviceInfo. Device.IP. Device.Rules. Device.Reset. ");
    EXPECT_EQ(list("Device", LIST_ABSOLUTE), ":Device.DeviceInfo :Device.IP :Device.Rules :Device.Reset ");
    EXPECT_EQ(list("r", LIST_FILTER), "Reset Rules ");
    cd({"DeviceInfo"});
    EXPECT_EQ(list(nullptr, LIST_OBJECTS), "");
    EXPECT_EQ(list(nullptr, LIST_WRITABLE | LIST_DOTS), "HostName Port Enable Level ");
    cd({":Device.Rules"});
    EXPECT_EQ(list(nullptr, LIST_DOTS), "max_instance order 1. 3. ");
}

}  // namespace
