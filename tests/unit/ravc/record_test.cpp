// Recordings: how they begin and end, and what they write.
#include "ravc/shell/record.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/stat.h>

#include "ravc/commands.h"
#include "ravc/shell/prompt.h"
#include "rv/history.h"
#include "tests/unit/ravc/shell_fixture.h"

namespace {

class Record : public testing::Test {
 protected:
    ~Record() override {
        run({"abort"});
        rv_history_clear();
    }

    static Outcome run(const std::vector<std::string> &words, const char *name = "record") {
        json_auto_t *args = json_array();
        for (const std::string &word : words) json_array_append_new(args, json_string(word.c_str()));
        testing::internal::CaptureStdout();
        const int result = process_record(name, args);
        return {result, testing::internal::GetCapturedStdout()};
    }

    static void enter(const char *line) {
        rv_history_add(line);
        record_count_line();
    }

    static std::string finish() {
        testing::internal::CaptureStdout();
        record_finish();
        return testing::internal::GetCapturedStdout();
    }

    std::string content() const {
        std::ostringstream text;
        text << std::ifstream(path_).rdbuf();
        return text.str();
    }

    const test::TempDir dir_;
    const std::string path_ = dir_.path() + "/script";
};

const char syntax[] = "syntax: record <filename>|abort\n";

TEST_F(Record, WritesTheLinesEnteredSinceItBegan) {
    enter("before");
    EXPECT_EQ(run({path_}), (Outcome{0, ""}));
    EXPECT_TRUE(recording());
    EXPECT_STREQ(prompt_text(), "ravc-record:> ");
    EXPECT_EQ(content(), "");
    enter("ls");
    enter("cat Device.");
    EXPECT_EQ(finish(), "");
    EXPECT_FALSE(recording());
    EXPECT_STREQ(prompt_text(), "ravc:> ");
    EXPECT_EQ(content(), "ls\ncat Device.\n");
}

TEST_F(Record, OfNothingLeavesAnEmptyFile) {
    enter("before");
    run({path_});
    EXPECT_EQ(finish(), "");
    EXPECT_TRUE(std::filesystem::exists(path_));
    EXPECT_EQ(content(), "");
}

TEST_F(Record, BeginsAnewEachTime) {
    run({path_});
    enter("one");
    finish();
    run({path_});
    enter("two");
    finish();
    EXPECT_EQ(content(), "two\n");
}

TEST_F(Record, AbortWritesNothingAndLeavesTheFile) {
    run({path_});
    enter("ls");
    EXPECT_EQ(run({"abort"}), (Outcome{0, ""}));
    EXPECT_FALSE(recording());
    EXPECT_STREQ(prompt_text(), "ravc:> ");
    EXPECT_TRUE(std::filesystem::exists(path_));
    EXPECT_EQ(content(), "");
    EXPECT_EQ(finish(), "");
}

TEST_F(Record, AbortOfNothing) {
    EXPECT_EQ(run({"abort"}, "luarecord"), (Outcome{-1, "luarecord: no record found.\n"}));
}

TEST_F(Record, OneAtATime) {
    run({path_});
    enter("ls");
    EXPECT_EQ(run({path_ + "2"}), (Outcome{-1, "record: already recording.\n"}));
    EXPECT_FALSE(std::filesystem::exists(path_ + "2"));
    finish();
    EXPECT_EQ(content(), "ls\n");
}

TEST_F(Record, OfLuaFailsAsOfCommandsDoesAndBeginsNoMode) {
    json_auto_t *args = json_array();
    testing::internal::CaptureStdout();
    EXPECT_EQ(dispatch_by_name("luarecord", args), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "syntax: luarecord <filename>|abort\n");
    json_array_append_new(args, json_string("/nonexistent/folder/file"));
    testing::internal::CaptureStdout();
    EXPECT_EQ(dispatch_by_name("luarecord", args), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "luarecord: can't create record file /nonexistent/folder/file.\n");
    EXPECT_FALSE(recording());
}

TEST_F(Record, TakesOneWord) {
    EXPECT_EQ(run({}), (Outcome{-1, syntax}));
    EXPECT_EQ(run({path_, "more"}), (Outcome{-1, syntax}));
    EXPECT_FALSE(recording());
}

TEST_F(Record, FileThatCanNotBeMade) {
    const std::string nowhere = dir_.path() + "/none/script";
    EXPECT_EQ(run({nowhere}), (Outcome{-1, "record: can't create record file " + nowhere + ".\n"}));
    const std::string too_long(5000, 'x');
    EXPECT_EQ(run({too_long}).result, -1);
    EXPECT_FALSE(recording());
}

TEST_F(Record, PlantedLinkIsNotFollowed) {
    std::ofstream(dir_.path() + "/victim") << "mine";
    std::filesystem::create_symlink("victim", path_);
    EXPECT_EQ(run({path_}), (Outcome{-1, "record: can't create record file " + path_ + ".\n"}));
    EXPECT_EQ(content(), "mine");
}

TEST_F(Record, LinkPlantedMeanwhileIsNotFollowed) {
    run({path_});
    enter("ls");
    std::ofstream(dir_.path() + "/victim") << "mine";
    std::filesystem::remove(path_);
    std::filesystem::create_symlink("victim", path_);
    finish();
    std::ifstream victim(dir_.path() + "/victim");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(victim), {}), "mine");
}

TEST_F(Record, FifoWithoutAReaderBlocksNothing) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(run({path_}).result, 0);
    enter("ls");
    EXPECT_EQ(finish(), "record: can't write record file " + path_ + ".\n");
    EXPECT_TRUE(std::filesystem::is_fifo(path_));
}

TEST_F(Record, HugeFileIsReplacedAndNotRead) {
    std::ofstream(path_) << "old";
    std::filesystem::resize_file(path_, 1 << 30);
    EXPECT_EQ(run({path_}).result, 0);
    EXPECT_EQ(std::filesystem::file_size(path_), 1U << 30);  // nothing is lost before there is something to write
    enter("ls");
    EXPECT_EQ(finish(), "");
    EXPECT_EQ(content(), "ls\n");
}

TEST_F(Record, OtherNameOfTheFileKeepsItsText) {
    const std::string victim = dir_.path() + "/victim";
    std::ofstream(victim) << "mine";
    std::filesystem::create_hard_link(victim, path_);
    run({path_});
    enter("ls");
    finish();
    EXPECT_EQ(content(), "ls\n");
    std::ifstream text(victim);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(text), {}), "mine");
}

TEST_F(Record, SaysWhenTheFileCanNotBeWritten) {
    run({path_});
    enter("ls");
    std::filesystem::remove(path_);
    std::filesystem::create_directory(path_);
    EXPECT_EQ(finish(), "record: can't write record file " + path_ + ".\n");
    EXPECT_FALSE(recording());
}

}  // namespace
