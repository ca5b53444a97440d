// Name lists into trees, and the forms of paths.
#include <string>

#include <gtest/gtest.h>

#include "rv/tr.h"

namespace {

// The tree of the names, "#info" left out, as compact JSON.
std::string tree_of(const std::vector<std::string> &names, const char *prefix) {
    json_auto_t *list = json_array();
    for (const std::string &name : names) json_array_append_new(list, json_pack("{s:s}", "Name", name.c_str()));
    json_auto_t *tree = rv_tr_names_to_config(list, prefix);
    char *text = json_dumps(tree, JSON_COMPACT);
    std::string copy(text);
    free(text);
    return copy;
}

TEST(NamesToConfig, NestsNamesBelowThePrefix) {
    EXPECT_EQ(tree_of({"Device.IP.", "Device.IP.A", "Device.IP.I.1.B"}, "Device.IP."),
              R"({"#info":{"Name":"Device.IP."},"A":{"#info":{"Name":"Device.IP.A"}},)"
              R"("I":{"1":{"B":{"#info":{"Name":"Device.IP.I.1.B"}}}}})");
    EXPECT_EQ(tree_of({".", "Device."}, "."), R"({"#info":{"Name":"."},"Device":{"#info":{"Name":"Device."}}})");
}

TEST(NamesToConfig, TakesTemplatesAndArguments) {
    EXPECT_EQ(tree_of({"A.#template.", "A.#input.X", "A.#output."}, "A"),
              R"({"#template":{"#info":{"Name":"A.#template."}},"#input":{"X":{"#info":{"Name":"A.#input.X"}}},)"
              R"("#output":{"#info":{"Name":"A.#output."}}})");
}

TEST(NamesToConfig, LeavesOutWhatIsOutsideOfThePrefix) {
    EXPECT_EQ(tree_of({"Device.IPX", "Device", "Other.A", "", "Device.IP"}, "Device.IP."),
              R"({"#info":{"Name":"Device.IP"}})");
}

TEST(NamesToConfig, LeavesOutReservedAndEmptyKeys) {
    for (const char *name : {"A.#attr", "A.#info", "A.#fetched.B", "A.B..C", "A..B", "A.#", "A.B.#templates"})
        EXPECT_EQ(tree_of({name}, "A."), "{}") << name;
}

TEST(NamesToConfig, LeavesOutMoreThan128Levels) {
    std::string name = "A";
    for (int i = 0; i < 128; i++) name += ".b";
    EXPECT_NE(tree_of({name}, "A."), "{}");
    EXPECT_EQ(tree_of({name + ".c"}, "A."), "{}");
}

TEST(NamesToConfig, SurvivesListsOfAnotherShape) {
    json_auto_t *list = json_pack("[i, n, {s:i}, {}]", 1, "Name", 2);
    json_auto_t *tree = rv_tr_names_to_config(list, ".");
    EXPECT_EQ(json_object_size(tree), 0U);
    json_auto_t *none = rv_tr_names_to_config(nullptr, ".");
    EXPECT_TRUE(json_is_object(none));
}

TEST(PathForms, FullAndPartial) {
    EXPECT_TRUE(rv_tr_path_is_full("A.B"));
    EXPECT_FALSE(rv_tr_path_is_partial("A.B"));
    EXPECT_TRUE(rv_tr_path_is_partial("A.B."));
    EXPECT_FALSE(rv_tr_path_is_full("A.B."));
    for (const char *path : {"", static_cast<const char *>(nullptr)}) {
        EXPECT_FALSE(rv_tr_path_is_full(path));
        EXPECT_FALSE(rv_tr_path_is_partial(path));
    }
}

}  // namespace
