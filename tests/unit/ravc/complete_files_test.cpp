// Files and programs as candidates, and the hints that they give.
#include <filesystem>
#include <fstream>

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/interrupt.h"
#include "tests/unit/ravc/complete_fixture.h"

namespace {

// The shell stands in a folder of its own, with a PATH of its own.
class CompleteFiles : public CompleteFixture {
 protected:
    CompleteFiles() {
        EXPECT_EQ(chdir(folder_.path().c_str()), 0);
        setenv("PATH", "", 1);
    }
    ~CompleteFiles() override {
        std::filesystem::current_path(before_);
        setenv("PATH", path_.c_str(), 1);
    }

    void file(const std::string &name, bool is_program = false) const {
        const std::string full = folder_.path() + "/" + name;
        std::ofstream(full).close();
        chmod(full.c_str(), is_program ? 0755 : 0644);
    }
    void folder(const std::string &name) const { std::filesystem::create_directory(folder_.path() + "/" + name); }

    test::TempDir folder_;

 private:
    const std::filesystem::path before_ = std::filesystem::current_path();
    const std::string path_ = getenv("PATH");
};

TEST_F(CompleteFiles, OfTheWorkingFolder) {
    for (const char *name : {"b.bin", "a.bin", "B", ".hidden", "with blank"}) file(name);
    folder("sub");
    EXPECT_EQ(offered("upgrade "), ".hidden B a.bin b.bin sub/ with blank");
    EXPECT_EQ(offered("upgrade x y b"), "b.bin");
    EXPECT_EQ(offered("download firmware a"), "a.bin");
    EXPECT_EQ(offered("upload config s"), "sub/");
    EXPECT_EQ(offered("download firmware a.bin "), "");
    EXPECT_EQ(offered("upgrade nothing"), "");
}

TEST_F(CompleteFiles, OfANamedFolder) {
    folder("sub");
    folder("sub/deep");
    file("sub/one");
    EXPECT_EQ(offered("upgrade sub/"), "deep/ one");
    EXPECT_EQ(offered("upgrade sub/o"), "one");
    EXPECT_EQ(offered("upgrade ./sub//de"), "deep/");
    EXPECT_EQ(offered("upgrade " + folder_.path() + "/s"), "sub/");
    EXPECT_EQ(offered("upgrade nowhere/"), "");
    EXPECT_EQ(offered("upgrade sub/one/"), "");
    std::filesystem::create_directory_symlink("sub", folder_.path() + "/link");
    std::filesystem::create_symlink("nowhere", folder_.path() + "/broken");
    EXPECT_EQ(offered("upgrade "), "link/ sub/");
}

TEST_F(CompleteFiles, RecordAlsoTakesAWord) {
    file("about");
    file("zero");
    for (const char *name : {"record", "luarecord"}) {
        EXPECT_EQ(offered(std::string(name) + " "), "abort about zero");
        EXPECT_EQ(offered(std::string(name) + " abo"), "abort about");
        EXPECT_EQ(offered(std::string(name) + " abor"), "abort");
        EXPECT_EQ(offered(std::string(name) + " abort "), "");
    }
}

TEST_F(CompleteFiles, ProgramsOfThePath) {
    folder("one");
    folder("two");
    file("one/list", true);
    file("one/little", true);
    file("one/listing");
    file("two/list", true);
    file("two/last", true);
    file("local", true);
    file("text");
    setenv("PATH", (folder_.path() + "/one:/nowhere:" + folder_.path() + "/two").c_str(), 1);
    EXPECT_EQ(offered("sh l"), "last list little");
    EXPECT_EQ(offered("sh li"), "list little");
    EXPECT_EQ(offered("sh L"), "");
    EXPECT_EQ(offered("sh list l"), "local");
    EXPECT_EQ(offered("sh list one/"), "list little");
    EXPECT_EQ(offered("sh ls " + folder_.path() + "/on"), "one/");
    unsetenv("PATH");
    EXPECT_EQ(offered("sh l"), "");
}

TEST_F(CompleteFiles, NamesThatWouldSteerTheTerminalAreLeftOut) {
    for (const char *name : {"a\033[2J", "a\n", "a\177", "a\xc2\x9b", "a\xff", "a\xc2\xa0", "a\xc3\xa4", "a"})
        file(name);
    EXPECT_EQ(offered("upgrade a"), "a a\xc2\xa0 a\xc3\xa4");
}

TEST_F(CompleteFiles, LongNamesAreWhole) {
    const std::string name(255, 'n');
    file(name);
    EXPECT_EQ(offered("upgrade n"), name);
}

TEST_F(CompleteFiles, AnInterruptEndsTheReadingAndStaysPending) {
    for (int i = 0; i < 600; i++) file(std::to_string(i));
    json_auto_t *all = json_array();
    complete_line("upgrade ", 8, all);
    EXPECT_EQ(json_array_size(all), 600U);
    const test::BlockedInterrupt interrupt([](int) {});
    raise(SIGINT);
    json_auto_t *some = json_array();
    complete_line("upgrade ", 8, some);
    EXPECT_LT(json_array_size(some), 600U);
    sigset_t pending;
    sigpending(&pending);
    EXPECT_TRUE(sigismember(&pending, SIGINT));
}

TEST_F(CompleteFiles, HintsCountWhatStandsBehindTheLastSeparator) {
    file("fw-1.3.bin");
    file("\xc3\xa4.x");
    folder("sub");
    file("sub/img");
    EXPECT_EQ(hinted("upgrade fw"), "-1.3.bin");
    EXPECT_EQ(hinted("upgrade fw-1."), "fw-1.3.bin");
    EXPECT_EQ(hinted("upgrade fw-1.3.bin"), "1.3.bin");
    EXPECT_EQ(hinted("upgrade sub/i"), "mg");
    EXPECT_EQ(hinted("upgrade sub/img f"), "w-1.3.bin");
    EXPECT_EQ(hinted("upgrade \xc3\xa4.x"), ".x");  // never the rest of a character
    EXPECT_EQ(hinted("upgrade "), "<none>");
}

}  // namespace
