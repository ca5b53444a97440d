// Names of levels in order, and paths through levels with very many children.
#include "ravc/cache/level_names.h"

#include "tests/unit/ravc/complete_fixture.h"

namespace {

class LevelNames : public CompleteFixture {
 protected:
    // A level "Wide" below the root with "Name000" to "Name999", and what names holds.
    static json_t *wide(std::initializer_list<const char *> names) {
        json_t *level = json_pack("{s:b, s:{s:s}}", "#fetched", 1, "#attr", "type", "object");
        for (const char *name : names) add(level, name);
        for (int i = 0; i < 1000; i++) {
            char name[8];
            snprintf(name, sizeof name, "Name%03d", i);
            add(level, name);
        }
        json_object_set_new(node_cache_root, "Wide", level);
        return level;
    }
    static void add(json_t *level, const char *name) {
        json_object_set_new(level, name, json_pack("{s:{s:s}}", "#attr", "type", "string"));
    }
    static std::string names(json_t *level, const char *prefix) {
        std::string text;
        for (const LevelName &name : level_names(level, prefix)) {
            EXPECT_EQ(name.node, json_object_get(level, name.name));
            text += std::string(text.empty() ? "" : " ") + name.name;
        }
        return text;
    }
};

TEST_F(LevelNames, BeginWithThePrefixInAnyCase) {
    json_t *level = wide({"zeta", "Alpha", "alphabetical", "Alphabet", "9", "10", "1", "a"});
    EXPECT_EQ(names(level, "ALPHABET"), "Alphabet alphabetical");
    EXPECT_EQ(names(level, "a"), "a Alpha Alphabet alphabetical");
    EXPECT_EQ(names(level, "alphabetical"), "alphabetical");
    EXPECT_EQ(names(level, "alphabeticall"), "");
    EXPECT_EQ(names(level, "1"), "1 10");
    EXPECT_EQ(names(level, "name99"),
              "Name990 Name991 Name992 Name993 Name994 Name995 Name996 Name997 Name998 Name999");
    EXPECT_EQ(names(level, "zz"), "");
    EXPECT_EQ(names(level, "#"), "");
    EXPECT_EQ(level_names(level, "").size(), 1008U);
    EXPECT_EQ(level_names(nullptr, "a").size(), 0U);
}

TEST_F(LevelNames, OfMoreLevelsThanAreKept) {
    json_auto_t *levels = json_array();
    for (int round = 0; round < 3; round++)
        for (size_t i = 0; i < 20; i++) {
            const std::string name = "Child" + std::to_string(i);
            if (round == 0) json_array_append_new(levels, json_pack("{s:{}}", name.c_str()));
            EXPECT_EQ(names(json_array_get(levels, i), "c"), name);
        }
    level_names_forget(nullptr);
    EXPECT_EQ(json_array_get(levels, 0)->refcount, 1U);
}

TEST_F(LevelNames, AreForgottenBeforeTheLevelChanges) {
    json_t *level = wide({});
    EXPECT_EQ(names(level, "New"), "");
    level_names_forget(level);
    add(level, "New");
    EXPECT_EQ(names(level, "New"), "New");
}

TEST_F(LevelNames, PathsTakeTheSpellingOfLargeLevelsToo) {
    wide({"twice", "Twice", "TWICE"});
    EXPECT_EQ(cd({":wide.nAME500"}), (Outcome{0, ""}));
    EXPECT_STREQ(current_path.path, "Wide.Name500");
    EXPECT_EQ(cd({":Wide.twicE"}), (Outcome{0, ""}));
    EXPECT_STREQ(current_path.path, "Wide.twice");  // the first one, as in small levels
    EXPECT_EQ(cd({":Wide.TWICE"}), (Outcome{0, ""}));
    EXPECT_STREQ(current_path.path, "Wide.twice");
    EXPECT_EQ(cd({":Wide.Name1000"}).result, -2);
    EXPECT_EQ(cd({":Wide.Name50"}).result, -2);
}

TEST_F(LevelNames, FollowRefetchesAndEvents) {
    EXPECT_EQ(offered("ls Device.Rules."), "1. 3. max_instance order");
    node_cache_fetch(&current_path);
    cd({"Device.Rules"});
    node_cache_fetch(&current_path);
    EXPECT_EQ(offered("ls "), "1. 3. max_instance order");
    json_auto_t *gone =
        json_pack("{s:s, s:s, s:i}", "Action", "Delete", "Path", "Device.Rules.1.", "InstanceNumber", 1);
    instance_events_note(gone);
    EXPECT_EQ(offered("ls "), "3. max_instance order");
}

}  // namespace
