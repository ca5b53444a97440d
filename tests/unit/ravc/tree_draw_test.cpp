// The drawing of trees against the cases in tests/data/tree: data, schema (where there is one), the root's name,
// output.
#include "ravc/commands/tree_draw.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/color_scope.h"
#include "tests/support/data_cases.h"

namespace {

json_t *load(const std::string &text) {
    return json_loads(text.c_str(), JSON_DECODE_ANY, nullptr);
}

std::string drawn(const json_t *data, const json_t *schema, const char *name) {
    const ColorScope plain{0};
    testing::internal::CaptureStdout();
    draw_tree(data, schema, name);
    return testing::internal::GetCapturedStdout();
}

class TreeDraw : public testing::TestWithParam<DataCase> {};

TEST_P(TreeDraw, DrawsTheTree) {
    json_auto_t *data = load(GetParam().read("data"));
    json_auto_t *schema = GetParam().has("schema") ? load(GetParam().read("schema")) : nullptr;
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(drawn(data, schema, GetParam().read("name").c_str()), GetParam().read("output"));
}

INSTANTIATE_TEST_SUITE_P(Data, TreeDraw, testing::ValuesIn(data_cases("tree")), case_name);

TEST(TreeDrawDepth, EndsAt256Levels) {
    json_t *tree = json_integer(1);
    for (int level = 0; level < 300; level++) tree = json_pack("{s:o, s:i}", "n", tree, "v", level);
    const std::string text = drawn(tree, nullptr, "root");
    json_decref(tree);
    // The root, then an object and a value on each of 256 levels below it.
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 2 * 256);
}

TEST(TreeWalk, StopsAtTheDeepestNodeFound) {
    json_auto_t *tree = load(R"({"A":{"#template":{"B":{"C":1}},"D":2}})");
    EXPECT_EQ(walk_tree(tree, "A.7.B"), json_object_get(json_object_get(json_object_get(tree, "A"), "#template"), "B"));
    EXPECT_EQ(walk_tree(tree, "A.D"), json_object_get(json_object_get(tree, "A"), "D"));
    EXPECT_EQ(walk_tree(tree, "A.Nope.B"), json_object_get(tree, "A"));
    EXPECT_EQ(walk_tree(tree, "."), tree);
    EXPECT_EQ(walk_tree(nullptr, "A"), nullptr);
}

}  // namespace
