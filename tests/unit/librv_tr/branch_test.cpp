// Branches of trees by name, and names cut.
#include "rv/branch.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(Branch, IsFoundByItsExactPath) {
    json_auto_t *root = json_pack("{s:{s:{s:{}}, s:i}}", "A", "B", "1", "Value", 7);
    json_t *b = json_object_get(json_object_get(root, "A"), "B");
    EXPECT_EQ(rv_conf_find_branch(root, "A.B"), b);
    EXPECT_EQ(rv_conf_find_branch(root, "A.B."), b);
    EXPECT_EQ(rv_conf_find_branch(root, ".A..B"), b);
    EXPECT_EQ(rv_conf_find_branch(root, "A.B.1."), json_object_get(b, "1"));
    for (const char *path : {"", ".", static_cast<const char *>(nullptr)})
        EXPECT_EQ(rv_conf_find_branch(root, path), root);
    for (const char *path : {"a", "A.C", "A.B.2", "A.Value", "A.Value.x", "AB"})
        EXPECT_EQ(rv_conf_find_branch(root, path), nullptr) << path;
    EXPECT_EQ(rv_conf_find_branch(nullptr, "A"), nullptr);
}

std::string stripped(std::string path, size_t first, size_t last) {
    const int result = rv_conf_strip_path_adv(path.data(), first, last);
    return std::to_string(result) + " " + path.c_str();
}

TEST(Branch, PathsLoseElementsAtBothEnds) {
    EXPECT_EQ(stripped("A.B.3.", 0, 1), "0 A.B.");
    EXPECT_EQ(stripped("A.B.3", 0, 1), "0 A.B");
    EXPECT_EQ(stripped("A.B.3", 1, 0), "0 B.3");
    EXPECT_EQ(stripped("A.B.3.", 1, 1), "0 B.");
    EXPECT_EQ(stripped("A.", 0, 1), "0 ");
    EXPECT_EQ(stripped("A.B", 1, 1), "0 ");
    EXPECT_EQ(stripped("A.B", 0, 0), "0 A.B");
    EXPECT_EQ(stripped("A.B", 2, 1), "-1 A.B");
    EXPECT_EQ(stripped("", 0, 1), "-1 ");
    EXPECT_EQ(stripped(".", 0, 1), "-1 .");
}

}  // namespace
