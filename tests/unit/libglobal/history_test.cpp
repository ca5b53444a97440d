// The history: its list and its file.
#include "rv/history.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace {

class History : public testing::Test {
 protected:
    ~History() override { rv_history_clear(); }

    std::string dumped(int count) {
        const std::string path = folder / "dump";
        EXPECT_EQ(rv_history_dump(path.c_str(), count), 0);
        return file_text(path);
    }

    TemporaryFolder folder;
};

TEST_F(History, TheLastEntriesAreDumped) {
    for (const char *line : {"one", "two", "three"}) rv_history_add(line);
    EXPECT_EQ(rv_history_count(), 3);
    EXPECT_EQ(dumped(-1), "one\ntwo\nthree\n");
    EXPECT_EQ(dumped(2), "two\nthree\n");
    EXPECT_EQ(dumped(99), "one\ntwo\nthree\n");
    EXPECT_EQ(dumped(0), "");
    rv_history_clear();
    EXPECT_EQ(rv_history_count(), 0);
    EXPECT_EQ(dumped(-1), "");
}

TEST_F(History, EveryEntryComesBackAsItWas) {
    const char *entries[] = {"plain",           "for i=1,2 do\n\n  print(i)\nend", "#12 is no time", " blank", "",
                             "Grüße 漢字\t\033"};
    for (const char *entry : entries) rv_history_add(entry);
    const std::string text = dumped(-1);
    EXPECT_NE(text.find("for i=1,2 do\r\r  print(i)\rend\n"), std::string::npos);
    rv_history_clear();
    ASSERT_EQ(rv_history_load((folder / "dump").c_str()), 0);
    EXPECT_EQ(rv_history_count(), 6);
    EXPECT_EQ(dumped(-1), text);
}

TEST_F(History, LoadingAppends) {
    rv_history_add("before");
    put_file(folder / "file", "one\ntwo");
    EXPECT_EQ(rv_history_load((folder / "file").c_str()), 0);
    EXPECT_EQ(dumped(-1), "before\none\ntwo\n");
}

TEST_F(History, WhatIsNoPrivateFileIsMissing) {
    put_file(folder / "victim", "planted\n", 0666);
    EXPECT_EQ(rv_history_load((folder / "victim").c_str()), -1);
    EXPECT_EQ(rv_history_load((folder / "missing").c_str()), -1);
    EXPECT_EQ(rv_history_count(), 0);
}

TEST_F(History, TheOldestOfTooManyGo) {
    std::string text;
    for (int i = 0; i < 500000; i++) text += std::to_string(i) + "\n";
    put_file(folder / "file", text);
    EXPECT_EQ(rv_history_load((folder / "file").c_str()), 0);
    EXPECT_EQ(rv_history_count(), 10000);
    EXPECT_EQ(dumped(1), "499999\n");
    rv_history_add("last");
    EXPECT_EQ(rv_history_count(), 10000);
    EXPECT_EQ(dumped(-1).substr(0, 7), "490001\n");
}

TEST_F(History, AnEntryEndsAtAZeroByteNowhere) {
    put_file(folder / "file", std::string("a\0b\nc\n", 6));
    EXPECT_EQ(rv_history_load((folder / "file").c_str()), 0);
    EXPECT_EQ(dumped(-1), "a b\nc\n");
}

}  // namespace
