// The reader of command scripts: what runs, what is joined, what is a comment.
#include "ravc/shell/script.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include "tests/unit/ravc/shell_fixture.h"

namespace {

// Runs text as a script; unknown commands show by their message which words began a line.
class Script : public testing::Test {
 protected:
    ~Script() override { std::filesystem::remove(path_); }

    std::string run(const std::string &text, bool by_name = false) {
        std::ofstream(path_, std::ios::binary) << text;
        testing::internal::CaptureStdout();
        result_ = run_script(path_.c_str(), by_name);
        return testing::internal::GetCapturedStdout();
    }

    std::string path_ = testing::TempDir() + "script_test." + std::to_string(getpid());
    int result_ = 1;
};

TEST_F(Script, ThatCannotBeOpened) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(run_script("/nonexistent/script", false), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Cannot open script file /nonexistent/script\n");
}

TEST_F(Script, ThatIsEmptyOrHoldsNoCommandEndsWell) {
    EXPECT_EQ(run(""), "");
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(run("\n  \t\n# comment\n\n"), "");
    EXPECT_EQ(result_, 0);
}

TEST_F(Script, CommentIsOneLine) {
    EXPECT_EQ(run("# a comment\necho a\n#another\necho b\n"), "a\nb\n");
}

TEST_F(Script, EchoPrintsTheRestAsItStands) {
    EXPECT_EQ(run("echo a  'b' # c\n  echo\tx\necho  two blanks\n"), "a  'b' # c\nx\n two blanks\n");
    EXPECT_EQ(result_, 0);
}

TEST_F(Script, EchoAlonePrintsAnEmptyLine) {
    EXPECT_EQ(run("echo\n"), "\n");
}

TEST_F(Script, LastLineNeedsNoLineEnd) {
    EXPECT_EQ(run("echo a\necho b"), "a\nb\n");
}

TEST_F(Script, SleepOfNothingOrLessReturnsAtOnce) {
    EXPECT_EQ(run("sleep\nsleep 0\nsleep -5\nsleep abc\necho on\n"), "on\n");
}

TEST_F(Script, StopsAtTheFirstFailureWithItsResult) {
    EXPECT_EQ(run("echo a\nnope x\necho b\n"), "a\nnope: unknown method.\n");
    EXPECT_EQ(result_, -1);
}

TEST_F(Script, ByNameAndByMethodFindDifferentCommands) {
    EXPECT_EQ(run("nope\n", true), "nope: command not found.\n");
    EXPECT_EQ(run("cd\n", false), "cd: unknown method.\n");
    EXPECT_EQ(result_, -1);
}

TEST_F(Script, BackslashAtTheEndJoinsWithoutSeparator) {
    EXPECT_EQ(run("echo a\\\nb\n"), "ab\n");
    EXPECT_EQ(run("echo a\\\\\necho b\n"), "a\\\\\nb\n");  // an escaped one joins nothing and stays
}

TEST_F(Script, OpenQuoteJoinsUntilItIsClosed) {
    EXPECT_EQ(run("echo 'a\nb'\necho c\n"), "'ab'\nc\n");
    EXPECT_EQ(run("echo \"it's\nb\"\necho c\n"), "\"it'sb\"\nc\n");
    EXPECT_EQ(run("echo it\\'s\necho c\n"), "it\\'s\nc\n");  // an escaped quote opens nothing
}

TEST_F(Script, BackslashAtTheEndOfAnOpenQuoteIsRemoved) {
    EXPECT_EQ(run("echo 'a\\\nb'\n"), "'ab'\n");
}

TEST_F(Script, EmptyLineEndsWhatABackslashBegan) {
    EXPECT_EQ(run("echo a\\\n\necho b\n"), "a\nb\n");
}

TEST_F(Script, ContinuationStillPendingAtTheEndIsDropped) {
    EXPECT_EQ(run("echo a\necho b\\\n"), "a\n");
    EXPECT_EQ(run("echo a\necho 'b\n"), "a\n");
}

TEST_F(Script, CommentThatContinuesMakesTheRestAComment) {
    EXPECT_EQ(run("echo a\n# it's\necho b\n"), "a\n");
    EXPECT_EQ(run("echo a\n# more \\\nof it\necho b\n"), "a\n");
    EXPECT_EQ(result_, 0);
}

TEST_F(Script, CommentAfterLinesThatJoinedToNothingMakesTheRestAComment) {
    EXPECT_EQ(run("\\\n\necho a\n\\\n\n# one line\necho b\n"), "a\n");
}

TEST_F(Script, HashIsACommentOnlyAtTheVeryStartOrAsAWord) {
    EXPECT_EQ(run(" #x\n"), "#x: unknown method.\n");  // after a blank it is the first word: intended
}

// What reaches the command: a script is run with a daemon that shows the words as names.
class ScriptWords : public ShellFixture {
 protected:
    Sent words_of(const std::string &text, bool by_name = false) {
        FILE *file = tmpfile();
        fputs(text.c_str(), file);
        rewind(file);
        testing::internal::CaptureStdout();
        run_script_lines(file, by_name);
        testing::internal::GetCapturedStdout();
        fclose(file);
        Sent names;
        for (const std::string &request : sent()) {
            const size_t begin = request.find("[\"") + 2;
            names.push_back(request.substr(begin, request.rfind("\"]") - begin));
        }
        return names;
    }
};

TEST_F(ScriptWords, AreCutAtBlanksAndTabsQuotesGroupNothing) {
    EXPECT_EQ(words_of("get a\t\t'b  c' d\\ e \\\\\n"), (Sent{"a", "'b", "c'", "d\\\\", "e", "\\\\\\\\"}));
}

TEST_F(ScriptWords, EndAtAWordThatBeginsWithAHash) {
    EXPECT_EQ(words_of("get a b#c '#d' #e f\n"), (Sent{"a", "b#c", "'#d'"}));
    EXPECT_EQ(words_of("get #a\n"), Sent{"."});
}

TEST_F(ScriptWords, ThatAreNotUtf8AreLeftOut) {
    EXPECT_EQ(words_of("get a \xff b\n"), (Sent{"a", "b"}));
}

TEST_F(ScriptWords, OfJoinedLinesAreOneCommands) {
    EXPECT_EQ(words_of("get a \\\n  b\\\nc\n"), (Sent{"a", "bc"}));
    EXPECT_EQ(words_of("get 'a\nb' c\n"), (Sent{"'ab'", "c"}));
    EXPECT_EQ(words_of("get \"a'\nb\" c\n"), (Sent{R"(\"a'b\")", "c"}));
}

TEST_F(ScriptWords, OfMethodNamesAreTakenBothWays) {
    EXPECT_EQ(words_of("GetParameterValues a\n"), Sent{"a"});
    EXPECT_EQ(words_of("GetParameterValues a\n", true), Sent{"a"});
}

TEST_F(ScriptWords, AndAPositiveResultDoNotEndTheScript) {
    EXPECT_EQ(words_of("add a\nget b\n").back(), "b");
}

}  // namespace
