// Moving through the data model: what typed paths lead to, and what cd and up say.
#include "tests/unit/ravc/shell_fixture.h"

namespace {

class Cdpath : public ShellFixture {
 protected:
    Cdpath() { open_shell(); }

    std::string here() const { return current_path.path; }
    std::string after(const std::vector<std::string> &words) {
        cd(words);
        return here();
    }
};

const Outcome quiet{0, ""};

TEST_F(Cdpath, CdAloneGoesToTheRoot) {
    EXPECT_EQ(after({"Device.IP"}), "Device.IP");
    EXPECT_EQ(cd(), quiet);
    EXPECT_EQ(here(), "");
    EXPECT_EQ(current_path.node, node_cache_root);
}

TEST_F(Cdpath, AbsoluteAndRelativePaths) {
    EXPECT_EQ(after({"Device"}), "Device");
    EXPECT_EQ(after({"DeviceInfo"}), "Device.DeviceInfo");
    EXPECT_EQ(after({":Device.IP"}), "Device.IP");
    EXPECT_EQ(after({":"}), "");
}

TEST_F(Cdpath, ParentsAreKeptNearestFirst) {
    cd({"Device.IP.Interface"});
    ASSERT_EQ(json_array_size(current_path.parents), 3U);
    EXPECT_EQ(json_array_get(current_path.parents, 2), node_cache_root);
    EXPECT_EQ(json_array_get(current_path.parents, 1), json_object_get(node_cache_root, "Device"));
    EXPECT_TRUE(current_path.multi);
    EXPECT_FALSE(current_path.ordered);
}

TEST_F(Cdpath, CaseIsPassedOverOnlyInLevelsSeenBefore) {
    EXPECT_EQ(cd({"device"}), quiet);  // the root level is there from the start
    EXPECT_EQ(here(), "Device");
    EXPECT_EQ(cd({"devIceinfo"}), (Outcome{-2, "cd: devIceinfo: no such node\n"}));
    EXPECT_EQ(cd({"devIceinfo"}), quiet);  // the first try has fetched the level
    EXPECT_EQ(here(), "Device.DeviceInfo");
}

TEST_F(Cdpath, UpByLessThanSigns) {
    cd({"Device.IP.Interface.1"});
    EXPECT_EQ(after({"<"}), "Device.IP.Interface");
    EXPECT_TRUE(current_path.multi);
    EXPECT_EQ(after({"<<"}), "Device");
    EXPECT_FALSE(current_path.multi);
    EXPECT_EQ(after({"<<<<<"}), "");
    EXPECT_EQ(current_path.node, node_cache_root);
    EXPECT_EQ(after({"Device.IP.<.DeviceInfo"}), "Device.DeviceInfo");
}

TEST_F(Cdpath, LessThanSignsStandAlone) {
    cd({"Device.IP"});
    EXPECT_EQ(cd({"<a"}), (Outcome{-2, "cd: <a: no such node\n"}));
    EXPECT_EQ(cd({"<.<x"}), (Outcome{-2, "cd: <.<x: no such node\n"}));
    EXPECT_EQ(here(), "Device.IP");
}

TEST_F(Cdpath, AsteriskEntersTheTemplate) {
    EXPECT_EQ(after({"Device.IP.Interface.*"}), "Device.IP.Interface.#template");
    EXPECT_FALSE(current_path.wildcard);  // no copy carries it
    EXPECT_EQ(cd({":Device.IP.Interface.*x"}).result, -2);
}

TEST_F(Cdpath, AsteriskWithoutATemplateLeadsNowhere) {
    EXPECT_EQ(cd({"Device.DeviceInfo.*"}), (Outcome{-2, "cd: Device.DeviceInfo.*: no such node\n"}));
    for (const char *path : {"*.HostName", "*.*", "*.*.<", "*.<"})
        EXPECT_EQ(cd({std::string("Device.DeviceInfo.") + path}).result, -2) << path;
    cdpath p;
    cdpath_copy(&p, &current_path);
    EXPECT_EQ(cdpath_resolve(&p, "Device.DeviceInfo.*.*"), -1);
    EXPECT_EQ(p.node, nullptr);
    EXPECT_EQ(cdpath_enter(&p, node_cache_root, "x", false, false), -1);
    EXPECT_STREQ(p.path, "Device.DeviceInfo.#template");
    cdpath_release(&p);
    cd({"Device.IP"});
    EXPECT_EQ(cd({":Device.DeviceInfo.*.-"}), (Outcome{0, ":\n"}));  // the previous path is always there to go to
}

TEST_F(Cdpath, ArgumentsOfMethodsAreForThoseWhoAllowThem) {
    EXPECT_EQ(cd({"Device.Reset.#input"}).result, -2);
    cdpath target;
    cdpath_copy(&target, &current_path);
    target.allow_input = true;
    EXPECT_EQ(cdpath_resolve(&target, "Device.Reset.#input.Delay"), 0);
    EXPECT_STREQ(target.path, "Device.Reset.#input.Delay");
    EXPECT_EQ(cdpath_resolve(&target, "#attr"), -1);
    cdpath_release(&target);
}

TEST_F(Cdpath, MinusSwapsWithThePreviousPathAndPrintsIt) {
    cd({"Device.IP"});
    cd({":Device.DeviceInfo"});
    EXPECT_EQ(cd({"-"}), (Outcome{0, ":Device.IP\n"}));
    EXPECT_EQ(here(), "Device.IP");
    EXPECT_EQ(cd({"-"}), (Outcome{0, ":Device.DeviceInfo\n"}));
    EXPECT_EQ(cd({"-anything.<"}).text, ":Device.IP\n");
    EXPECT_EQ(here(), "Device");
}

TEST_F(Cdpath, MovingNowhereStillMakesThePathThePreviousOne) {
    cd({"Device.IP"});
    cd({""});
    EXPECT_EQ(here(), "Device.IP");
    EXPECT_EQ(cd({"-"}).text, ":Device.IP\n");
}

TEST_F(Cdpath, EmptyElementsVanish) {
    EXPECT_EQ(after({"Device..DeviceInfo."}), "Device.DeviceInfo");
    EXPECT_EQ(after({":.Device"}), "Device");
    EXPECT_EQ(after({"..."}), "Device");
}

TEST_F(Cdpath, InstanceThatIsNotThereResolvesToTheTemplate) {
    EXPECT_EQ(after({"Device.IP.Interface.7"}), "Device.IP.Interface.7");
    EXPECT_EQ(cd({":Device.IP.Interface.abc"}).result, -2);
    sent();
    EXPECT_EQ(cd({":Device.IP.Interface.123456789012345678901"}).result, -2);  // 21 digits are no number
    EXPECT_EQ(sent(), Sent{});
    EXPECT_EQ(cd({":Device.IP.Interface.12345678901234567890"}), quiet);
    EXPECT_EQ(sent().size(), 3U);
}

TEST_F(Cdpath, TooManyArgumentsGetSyntaxWithoutANewline) {
    EXPECT_EQ(cd({"a", "b"}), (Outcome{-1, "syntax: cd [<path>]"}));
    EXPECT_EQ(run(process_up, "up", {"1", "2"}), (Outcome{-1, "syntax: up [<path>]"}));
}

TEST_F(Cdpath, UpCountsLevels) {
    const auto up = [&](const std::vector<std::string> &words) {
        cd({":Device.IP.Interface.1"});
        EXPECT_EQ(run(process_up, "up", words), quiet);
        return here();
    };
    EXPECT_EQ(up({}), "Device.IP.Interface");
    EXPECT_EQ(up({"0"}), "Device.IP.Interface");
    EXPECT_EQ(up({"2"}), "Device.IP");
    EXPECT_EQ(up({"-1"}), "Device.IP.Interface.1");
    EXPECT_EQ(up({"2147483647"}), "");
    EXPECT_EQ(up({"99999999999999999999"}), "");
}

TEST_F(Cdpath, UpByNothingStillMakesThePathThePreviousOne) {
    cd({"Device.IP"});
    EXPECT_EQ(run(process_up, "up", {"-1"}), quiet);
    EXPECT_EQ(cd({"-"}), (Outcome{0, ":Device.IP\n"}));
}

TEST_F(Cdpath, PathThatDoesNotFitIsRefused) {
    cdpath p;
    cdpath_copy(&p, &current_path);
    const std::string fits(CDPATH_MAX, 'a');
    EXPECT_EQ(cdpath_enter(&p, node_cache_root, (fits + "b").c_str(), false, false), -1);
    EXPECT_STREQ(p.path, "");
    json_t *child = json_object();
    EXPECT_EQ(cdpath_enter(&p, child, fits.c_str(), false, false), 0);
    EXPECT_EQ(strlen(p.path), size_t{CDPATH_MAX});
    EXPECT_EQ(cdpath_enter(&p, child, "x", false, false), -1);
    EXPECT_EQ(p.path, fits);
    json_decref(child);
    cdpath_release(&p);
    EXPECT_EQ(cd({std::string(10 * CDPATH_MAX, 'x')}).result, -2);
}

TEST_F(Cdpath, TypedStepsGoAsFarAsThePathFits) {
    const std::string first(100, 'a'), second(100, 'b'), fits(56, 'c'), too_long(57, 'd');
    json_object_set_new(node_cache_root, first.c_str(),
                        json_pack("{s:b, s:{s:b, s:{}, s:{}}}", "#fetched", 1, second.c_str(), "#fetched", 1,
                                  fits.c_str(), too_long.c_str()));
    EXPECT_EQ(after({first + "." + second + "." + fits}), first + "." + second + "." + fits);
    EXPECT_EQ(here().size(), size_t{CDPATH_MAX});
    EXPECT_EQ(cd({"<." + too_long}).result, -2);
    EXPECT_EQ(after({"<"}), first + "." + second);
    EXPECT_EQ(cd({too_long}).result, -2);
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(Cdpath, NullsAreRefused) {
    cdpath p;
    cdpath_copy(&p, &current_path);
    EXPECT_EQ(cdpath_resolve(nullptr, "a"), -1);
    EXPECT_EQ(cdpath_resolve(&p, nullptr), -2);
    cdpath_release(&p);
}

TEST_F(Cdpath, CopyIntoNullIsAllocatedAndFreedByItsRelease) {
    cdpath *copy = cdpath_copy(nullptr, &current_path);
    EXPECT_TRUE(copy->owned);
    EXPECT_EQ(cdpath_resolve(copy, "Device.-"), 0);
    EXPECT_TRUE(copy->owned);
    cdpath_release(copy);
}

TEST(CdpathWithoutACache, CdAndUpWorkInScripts) {
    current_path = cdpath();
    json_auto_t *args = json_pack("[s]", "Device");
    EXPECT_EQ(process_cd("cd", args), 0);  // the argument is passed over
    json_auto_t *none = json_array();
    EXPECT_EQ(process_cd("cd", none), 0);
    EXPECT_EQ(process_up("up", none), 0);
    EXPECT_STREQ(current_path.path, "");
    cdpath_release(&current_path);
    cdpath_release(&previous_path);
    current_path = previous_path = cdpath();
}

}  // namespace
