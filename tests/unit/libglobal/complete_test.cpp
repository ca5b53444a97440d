// The arithmetic of completion.
#include "libglobal/term/complete.h"

#include <gtest/gtest.h>

namespace {

using Candidates = std::vector<std::string_view>;

// The line after completion at the cursor, which "|" marks; "=" when it stays as it is.
std::string completed(std::string line, const Candidates &candidates, bool ignore_case = true) {
    const size_t cursor = line.find('|');
    line.erase(cursor, 1);
    const rv::Completion result = rv::complete(line, cursor, candidates, ignore_case);
    if (!result.replaces) return "=";
    return line.substr(0, result.start) + result.text + "|" + line.substr(cursor);
}

bool is_whole(const std::string &line, const Candidates &candidates) {
    return rv::complete(line, line.size(), candidates, true).is_whole;
}

TEST(Complete, AWordIsCompletedAsFarAsCandidatesAgree) {
    EXPECT_EQ(completed("c|", {"cat", "catree"}), "cat|");
    EXPECT_EQ(completed("cat|", {"cat", "catree"}), "=");
    EXPECT_EQ(completed("ec|", {"echo"}), "echo|");
    EXPECT_EQ(completed("ls |", {"Device."}), "ls Device.|");
    EXPECT_EQ(completed("ls |", {}), "=");
    EXPECT_EQ(completed("l| Device", {"ls"}), "ls| Device");
}

TEST(Complete, APathIsCompletedFromItsLastDot) {
    EXPECT_EQ(completed("ls Device.dev|", {"DeviceInfo."}), "ls Device.DeviceInfo.|");
    EXPECT_EQ(completed("ls Device.|", {"DeviceInfo.", "Users."}), "=");
    EXPECT_EQ(completed("ls Device.|", {"Device."}), "ls Device.Device.|");
    EXPECT_EQ(completed("ls Device.Device|", {"Device.", "DeviceInfo."}), "=");
    EXPECT_EQ(completed("ls :dev|", {":Device."}), "ls :Device.|");
    EXPECT_EQ(completed("cat Device.X.1|", {"1.", "10.", "12."}), "=");
}

TEST(Complete, AValueIsCompletedFromTheEqualsSign) {
    EXPECT_EQ(completed("set A.B=t|", {"true"}), "set A.B=true|");
    EXPECT_EQ(completed("set A.B=|", {"true", "false"}), "=");
    EXPECT_EQ(completed("set A.B=\"t|", {"two words"}), "set A.B=\"two words|");
    EXPECT_EQ(completed("set A.B=\"two w|", {"two words"}), "set A.B=\"two words|");
    EXPECT_EQ(completed("set A.B=1.|", {"1.0", "1.1"}), "=");
    EXPECT_EQ(completed("set A.B=1|", {"1.0", "1.1"}), "set A.B=1.|");
    EXPECT_EQ(completed("set A.B=text/|", {"text/plain"}), "set A.B=text/plain|");
    EXPECT_EQ(completed("set A.Ref=Device.|", {"DeviceInfo."}), "set A.Ref=Device.DeviceInfo.|");
}

TEST(Complete, AFileIsCompletedFromItsLastSlashWhateverDotsItHas) {
    EXPECT_EQ(completed("up fw-1.|", {"fw-1.2.bin", "fw-1.3.bin"}), "=");
    EXPECT_EQ(completed("up fw-1.3|", {"fw-1.3.bin"}), "up fw-1.3.bin|");
    EXPECT_EQ(completed("up a.a|", {"a.a.bin"}), "up a.a.bin|");
    EXPECT_EQ(completed("up ../x.d/fi|", {"file"}), "up ../x.d/file|");
    EXPECT_EQ(completed("up /tm|", {"tmp/"}), "up /tmp/|");
    EXPECT_EQ(completed("up tmp/|", {"tmp/"}), "up tmp/tmp/|");
    EXPECT_EQ(completed("up x=y/fi|", {"file"}), "up x=y/file|");
}

TEST(Complete, CaseMattersWhereItIsSaid) {
    EXPECT_EQ(completed("ls dev|", {"Device."}, false), "=");
    EXPECT_EQ(completed("ls Dev|", {"Device."}, false), "ls Device.|");
    EXPECT_EQ(completed("ls device.|", {"Device."}, true), "ls device.Device.|");
    EXPECT_EQ(completed("ls AB|", {"abc", "ABd"}, true), "=");
    EXPECT_EQ(completed("ls İ|", {"ı"}, true), "=");
}

TEST(Complete, CharactersStayWhole) {
    EXPECT_EQ(completed("x |", {"é", "è"}), "=");
    EXPECT_EQ(completed("x |", {"aé", "aè"}), "x a|");
    EXPECT_EQ(completed("x 漢|", {"漢字一", "漢字二"}), "x 漢字|");
}

TEST(Complete, AWordInQuotesHoldsBlanks) {
    EXPECT_EQ(completed("cat 'a b|", {"'a bc"}), "cat 'a bc|");
    EXPECT_EQ(completed("cat 'a' b|", {"bc"}), "cat 'a' bc|");
}

TEST(Complete, WithDelimitersNothingElseParts) {
    const auto start = [](std::string_view line, std::string_view candidate) {
        const rv::Completion result = rv::complete(line, line.size(), {candidate}, false, " (=");
        return result.replaces ? static_cast<int>(result.start) : -1;
    };
    EXPECT_EQ(start("print(a.b", "a.bc"), 6);
    EXPECT_EQ(start("print(a.b", "bc"), -1);
    EXPECT_EQ(start("x=a", "ab"), 2);
    EXPECT_EQ(start("'a b", "bc"), 3);
    EXPECT_EQ(start("a/b", "a/bc"), 0);
    EXPECT_EQ(start("", "a"), 0);
}

TEST(Complete, CandidatesThatFitNowhereChangeNothing) {
    EXPECT_EQ(completed("ls abc|", {"xyz"}), "=");
    EXPECT_EQ(completed("ls abc|", {"abcd", "xyz"}), "=");
}

TEST(Complete, WhatIsTypedInFullIsKnown) {
    EXPECT_TRUE(is_whole("cat A.Name", {"Name"}));
    EXPECT_FALSE(is_whole("cat A.name", {"Name"}));
    EXPECT_FALSE(is_whole("cat A.Nam", {"Name"}));
    EXPECT_FALSE(is_whole("cat A.Name", {"Name", "Name2"}));
    EXPECT_FALSE(is_whole("cat A.", {}));
}

}  // namespace
