// Messages cut from a stream: line ends, limits, and the same result however the bytes arrive.
#include "ravd/frame.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace ravd {
namespace {

using Result = FrameReader::Result;

struct BufferRelease {
    void operator()(evbuffer *buffer) const { evbuffer_free(buffer); }
};

class FrameTest : public testing::Test {
 protected:
    void add(std::string_view bytes) { evbuffer_add(input.get(), bytes.data(), bytes.size()); }
    Result next() { return reader.next(input.get(), limits); }
    std::string take() {
        const std::string message(reader.message(input.get()));
        reader.take(input.get());
        return message;
    }

    std::unique_ptr<evbuffer, BufferRelease> input{evbuffer_new()};
    FrameReader reader;
    FrameLimits limits = {100, 4, 10};
};

TEST_F(FrameTest, LinesAreMessages) {
    add("{}\n[]\r\n{\"a\":1}");
    ASSERT_EQ(next(), Result::message);
    EXPECT_EQ(take(), "{}");
    ASSERT_EQ(next(), Result::message);
    EXPECT_EQ(take(), "[]");
    EXPECT_EQ(next(), Result::incomplete);
    EXPECT_TRUE(reader.partial());
    add("\n");
    ASSERT_EQ(next(), Result::message);
    EXPECT_EQ(take(), "{\"a\":1}");
    EXPECT_FALSE(reader.partial());
}

TEST_F(FrameTest, EmptyLinesAreDrained) {
    add("\n\r\n\n");
    EXPECT_EQ(next(), Result::incomplete);
    EXPECT_FALSE(reader.partial());
    EXPECT_EQ(evbuffer_get_length(input.get()), 0U);
}

TEST_F(FrameTest, OnlyOneCarriageReturnBelongsToTheLineEnd) {
    add("{}\r\r\n");
    ASSERT_EQ(next(), Result::message);
    EXPECT_EQ(take(), "{}\r");
}

TEST_F(FrameTest, BytesOneByOneGiveTheSame) {
    const std::string text = "{\"a\":\"\\\"[[[[[[\\\\\"}\r\n\n[1,[2,[3]]]\n";
    std::vector<std::string> messages;
    for (const char byte : text) {
        add({&byte, 1});
        if (next() == Result::message) messages.push_back(take());
    }
    EXPECT_EQ(messages, (std::vector<std::string>{"{\"a\":\"\\\"[[[[[[\\\\\"}", "[1,[2,[3]]]"}));
}

TEST_F(FrameTest, PiecesThatAreNotContiguous) {
    std::string first = "{\"a\":", second = "1}\n";
    evbuffer_add_reference(input.get(), first.data(), first.size(), nullptr, nullptr);
    evbuffer_add_reference(input.get(), second.data(), second.size(), nullptr, nullptr);
    ASSERT_EQ(next(), Result::message);
    EXPECT_EQ(take(), "{\"a\":1}");
}

TEST_F(FrameTest, Size) {
    for (const char *end : {"\n", "\r\n"}) {
        add(std::string(100, 'x') + end);
        ASSERT_EQ(next(), Result::message);
        EXPECT_EQ(take().size(), 100U);
    }
    add(std::string(101, 'x') + "\n");
    EXPECT_EQ(next(), Result::too_large);
}

TEST_F(FrameTest, SizeIsToldBeforeTheEndComes) {
    add(std::string(101, 'x'));
    EXPECT_EQ(next(), Result::incomplete);  // the last byte might have been a carriage return
    add("x");
    EXPECT_EQ(next(), Result::too_large);
}

TEST_F(FrameTest, Nesting) {
    add("[{\"a\":[[]]}]\n");
    ASSERT_EQ(next(), Result::message);
    take();
    add("[[]][[[[]]]]\n");
    ASSERT_EQ(next(), Result::message);
    take();
    add("[{\"a\":[[{");
    EXPECT_EQ(next(), Result::too_deep);
}

TEST_F(FrameTest, NestingStartsAnewWithEachMessage) {
    for (int n = 0; n < 3; ++n) {
        add("[[[[\n");
        ASSERT_EQ(next(), Result::message);
        take();
    }
    add("\"[[[[[[[\n");  // a text without end is ended by the line
    ASSERT_EQ(next(), Result::message);
    take();
    add("[[[[[\n");
    EXPECT_EQ(next(), Result::too_deep);
}

TEST_F(FrameTest, SurplusClosersGiveNoCredit) {
    add("]]]]}}}}[[[[[\n");
    EXPECT_EQ(next(), Result::too_deep);
}

TEST_F(FrameTest, Values) {
    add("[0,1,2,3,4,5,6,7,8,9]\n");
    ASSERT_EQ(next(), Result::message);
    take();
    add("\",,,,,,,,,,,,,,,\"\n");
    ASSERT_EQ(next(), Result::message);
    take();
    add("[0,1,2,3,4,5,6,7,8,9,");
    EXPECT_EQ(next(), Result::too_many);
}

}  // namespace
}  // namespace ravd
