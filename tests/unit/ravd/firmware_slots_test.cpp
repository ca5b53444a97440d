// Slots: which one is written, when it becomes the active one, and what an upgrade that was cut off leaves.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "ravd/firmware/slots.h"
#include "tests/support/temporary_folder.h"
#include "tests/unit/ravd/image_fixture.h"

namespace ravd {
namespace {

namespace fs = std::filesystem;

class SlotsTest : public testing::Test {
 protected:
    void SetUp() override { ASSERT_EQ(slots.open(state), ""); }

    static std::string image(const std::string &version, const std::string &content) {
        return image_of(
            {{"manifest.json", manifest_text(manifest_row("root", content), "Model", version)}, {"root", content}});
    }
    Fault write(
        const std::string &bytes, const Slots::Progress &progress = [](uint64_t) {}) {
        const Descriptor file = file_of(bytes);
        return slots.write(file.get(), {"Model", nullptr}, progress, stop);
    }
    // Everything in the folder, links with what they lead to.
    std::set<std::string> listing() const {
        std::set<std::string> names;
        for (const auto &entry : fs::recursive_directory_iterator(state / "slots"))
            names.insert(entry.path().lexically_relative(state / "slots").string() +
                         (entry.is_symlink() ? "->" + fs::read_symlink(entry.path()).string() : ""));
        return names;
    }
    std::string version() const {
        const auto manifest = slots.active();
        return manifest ? manifest->version : "none";
    }
    std::string content() const {
        std::ostringstream text;
        text << std::ifstream(state / "slots/active/root").rdbuf();
        return text.str();
    }

    const TemporaryFolder folder;
    const fs::path state = folder.path();
    Slots slots;
    std::atomic<bool> stop = false;
};

TEST_F(SlotsTest, AreEmptyAtFirst) {
    EXPECT_EQ(version(), "none");
    EXPECT_EQ(slots.last_upgrade(), LastUpgrade::none);
    EXPECT_TRUE(listing().empty());
    EXPECT_GT(slots.room(), 0U);
}

TEST_F(SlotsTest, TakeTurns) {
    ASSERT_FALSE(write(image("1.0.0", "one")));
    EXPECT_EQ(version() + content(), "1.0.0one");
    EXPECT_EQ(listing(), (std::set<std::string>{"a", "a/manifest.json", "a/root", "active->a", "upgrading"}));
    ASSERT_FALSE(write(image("2.0.0", "two")));
    EXPECT_EQ(version() + content(), "2.0.0two");
    ASSERT_FALSE(write(image("3.0.0", "three")));
    EXPECT_EQ(version() + content(), "3.0.0three");
    EXPECT_TRUE(listing().contains("active->a") && listing().contains("b/root"));
}

TEST_F(SlotsTest, TellOnceThatAnUpgradeHasEnded) {
    ASSERT_FALSE(write(image("1.0.0", "one")));
    ASSERT_EQ(slots.open(state), "");
    EXPECT_EQ(slots.last_upgrade(), LastUpgrade::finished);
    ASSERT_EQ(slots.open(state), "");
    EXPECT_EQ(slots.last_upgrade(), LastUpgrade::none);
    EXPECT_EQ(version(), "1.0.0");
    ASSERT_EQ(slots.note_finished(), "");
    ASSERT_EQ(slots.open(state), "");
    EXPECT_EQ(slots.last_upgrade(), LastUpgrade::finished);
}

TEST_F(SlotsTest, StayAsTheyAreForABadImage) {
    ASSERT_FALSE(write(image("1.0.0", "one")));
    ASSERT_FALSE(write(image("2.0.0", "two")));
    ASSERT_EQ(slots.open(state), "");
    std::string bad = image("3.0.0", std::string(2000, 'x'));
    bad[3000] = '!';
    EXPECT_EQ(write(bad).code, 9018);
    EXPECT_EQ(version() + content(), "2.0.0two");
    EXPECT_EQ(listing(), (std::set<std::string>{"active->b", "b", "b/manifest.json", "b/root"}));
}

TEST_F(SlotsTest, StayAsTheyAreWhenNothingCanBeWritten) {
    ASSERT_FALSE(write(image("1.0.0", "one")));
    ASSERT_EQ(slots.open(state), "");
    const std::string bytes = image("2.0.0", "two");
    const Descriptor file = file_of(bytes);
    const Fault fault = slots.write(
        file.get(), {"Model", nullptr}, [this](uint64_t) { fs::create_directory(state / "slots/b/manifest.json"); },
        stop);
    EXPECT_EQ(fault.code, 9002);
    EXPECT_EQ(fault.detail, "manifest.json: Is a directory");
    EXPECT_EQ(version() + content(), "1.0.0one");
    EXPECT_FALSE(fs::exists(state / "slots/b") || fs::exists(state / "slots/upgrading"));
}

TEST_F(SlotsTest, CountWhatIsWritten) {
    std::vector<uint64_t> counts;
    ASSERT_FALSE(write(image("1.0.0", std::string(100000, 'x')), [&](uint64_t written) { counts.push_back(written); }));
    EXPECT_GT(counts.size(), 3U);
    EXPECT_TRUE(std::ranges::is_sorted(counts));
    EXPECT_EQ(counts.back(), 100000U);
}

TEST_F(SlotsTest, KeepWhatRunsWhenTheyAreStopped) {
    ASSERT_FALSE(write(image("1.0.0", "one")));
    ASSERT_EQ(slots.open(state), "");
    EXPECT_TRUE(write(image("2.0.0", std::string(100000, 'x')), [this](uint64_t) { stop = true; }));
    EXPECT_TRUE(fs::exists(state / "slots/upgrading") && fs::exists(state / "slots/b/root"));
    ASSERT_EQ(slots.open(state), "");
    EXPECT_EQ(slots.last_upgrade(), LastUpgrade::interrupted);
    EXPECT_EQ(version() + content(), "1.0.0one");
    EXPECT_EQ(listing(), (std::set<std::string>{"a", "a/manifest.json", "a/root", "active->a"}));
}

TEST_F(SlotsTest, CleanUpWhateverAnInterruptionLeft) {
    ASSERT_FALSE(write(image("1.0.0", "one")));
    fs::create_directory(state / "slots/b");
    for (const char *marker : {"b", "", "b and more than a marker holds", "../a"}) {
        std::ofstream(state / "slots/b/manifest.json") << "half";
        std::ofstream(state / "slots/upgrading") << marker;
        fs::create_symlink("b", state / "slots/active.new");
        ASSERT_EQ(slots.open(state), "");
        EXPECT_EQ(slots.last_upgrade(), LastUpgrade::interrupted) << marker;
        EXPECT_EQ(listing(), (std::set<std::string>{"a", "a/manifest.json", "a/root", "active->a"})) << marker;
        fs::create_directory(state / "slots/b");
    }
}

TEST_F(SlotsTest, WithADamagedManifestNameNoVersion) {
    ASSERT_FALSE(write(image("1.0.0", "one")));
    std::ofstream(state / "slots/a/manifest.json") << "{";
    EXPECT_EQ(version(), "none");
    fs::remove(state / "slots/active");
    fs::create_symlink("/etc", state / "slots/active");
    EXPECT_EQ(version(), "none");
    ASSERT_FALSE(write(image("2.0.0", "two")));
    EXPECT_EQ(version(), "2.0.0");
}

TEST_F(SlotsTest, AreNotThroughALink) {
    const fs::path other = state / "other";
    fs::create_directories(other / "elsewhere");
    fs::create_directory_symlink(other / "elsewhere", other / "slots");
    Slots more;
    EXPECT_NE(more.open(other), "");
}

}  // namespace
}  // namespace ravd
