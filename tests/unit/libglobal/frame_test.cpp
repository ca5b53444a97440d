// The receive buffer.
#include "libglobal/net/frame.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <string.h>
#include <sys/resource.h>

namespace {

using rv::FrameBuffer;

// Puts text in, in pieces of at most step bytes. False when there was no more room.
bool feed(FrameBuffer &buffer, std::string_view text, size_t step = SIZE_MAX) {
    while (!text.empty()) {
        size_t size = 0;
        char *room = buffer.room(&size);
        if (!room) return false;
        const size_t n = std::min({size, step, text.size()});
        memcpy(room, text.data(), n);
        buffer.received(n);
        text.remove_prefix(n);
    }
    return true;
}

std::vector<std::string> lines_of(FrameBuffer &buffer) {
    std::vector<std::string> lines;
    std::string_view line;
    while (buffer.next(&line)) lines.emplace_back(line);
    return lines;
}

using Lines = std::vector<std::string>;

TEST(FrameBuffer, LinesEndInALineFeedAndMayHaveACarriageReturnBeforeIt) {
    FrameBuffer buffer;
    feed(buffer, "one\ntwo\r\n\n\r\nth\rree\npart");
    EXPECT_EQ(lines_of(buffer), (Lines{"one", "two", "th\rree"}));
    feed(buffer, "ly\n");
    EXPECT_EQ(lines_of(buffer), (Lines{"partly"}));
}

TEST(FrameBuffer, TheSameLinesComeOutHoweverTheyCameIn) {
    std::string text;
    Lines expected;
    for (size_t i = 1; i < 300; i++) {
        expected.emplace_back(i * 7, static_cast<char>('a' + i % 26));
        text += expected.back() + (i % 3 ? "\n" : "\r\n\n");
    }
    for (const size_t step : {size_t{1}, size_t{2}, size_t{4095}, size_t{70000}}) {
        FrameBuffer buffer;
        Lines got;
        for (size_t at = 0; at < text.size(); at += step) {
            ASSERT_TRUE(feed(buffer, std::string_view(text).substr(at, step)));
            for (auto &line : lines_of(buffer)) got.push_back(line);
        }
        EXPECT_EQ(got, expected) << step;
    }
}

TEST(FrameBuffer, HasLineTellsWhatNextWouldFind) {
    FrameBuffer buffer;
    EXPECT_FALSE(buffer.has_line());
    feed(buffer, "half");
    EXPECT_FALSE(buffer.has_line());
    feed(buffer, "\nmore");
    EXPECT_TRUE(buffer.has_line());
    std::string_view line;
    EXPECT_TRUE(buffer.next(&line));
    EXPECT_FALSE(buffer.has_line());
}

TEST(FrameBuffer, ALineOfExactlyTheLimitIsTakenAndOneByteMoreIsNot) {
    FrameBuffer fits(100000);
    EXPECT_TRUE(feed(fits, std::string(100000, 'x') + "\r\n"));
    EXPECT_EQ(lines_of(fits).size(), 1U);
    FrameBuffer over(100000);
    feed(over, std::string(100001, 'x') + "\n");
    EXPECT_TRUE(lines_of(over).empty());
    EXPECT_TRUE(over.too_large());
}

TEST(FrameBuffer, BytesWithoutALineFeedEndAtTheLimitWithLittleMoreMemory) {
    FrameBuffer buffer(1 << 20);
    const std::string chunk(64 * 1024, 'x');
    size_t taken = 0;
    std::string_view line;
    for (int i = 0; i < 16 * 1024 && feed(buffer, chunk); i++) {  // 1 GiB in all
        taken += chunk.size();
        EXPECT_FALSE(buffer.next(&line));
    }
    EXPECT_TRUE(buffer.too_large());
    EXPECT_LE(taken, size_t{1 << 20} + 128 * 1024);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define RAV_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define RAV_SANITIZED
#endif
#endif

#ifndef RAV_SANITIZED  // their memory is not what a user sees
long most_memory_kib() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST(FrameBuffer, AGrowingMessageIsHeldInMemoryOnce) {
    const long before = most_memory_kib();
    FrameBuffer buffer;
    const std::string chunk(64 * 1024, 'x');
    while (feed(buffer, chunk)) continue;
    EXPECT_TRUE(buffer.too_large());
    EXPECT_LT(most_memory_kib() - before, long{300} << 10);
}
#endif

TEST(FrameBuffer, SixteenMebibytesByteByByteAreOneLine) {
    FrameBuffer buffer;
    std::string_view line;
    for (size_t i = 0; i < size_t{16} << 20; i++) {
        size_t size = 0;
        *buffer.room(&size) = 'x';
        buffer.received(1);
        if (buffer.next(&line)) FAIL();  // a search that began anew each time would not end
    }
    feed(buffer, "\n");
    ASSERT_TRUE(buffer.next(&line));
    EXPECT_EQ(line.size(), size_t{16} << 20);
}

TEST(FrameBuffer, MemoryOfALargeMessageIsGivenBack) {
    FrameBuffer buffer;
    feed(buffer, std::string(4 << 20, 'x') + "\n");
    std::string_view line;
    ASSERT_TRUE(buffer.next(&line));
    size_t before = 0, after = 0;
    buffer.room(&before);
    buffer.trim();
    buffer.room(&after);
    EXPECT_GT(before, size_t{4} << 20);
    EXPECT_LE(after, size_t{64} << 10);
}

TEST(FrameBuffer, ClearForgetsAPartAndAnOverflow) {
    FrameBuffer buffer(10);
    feed(buffer, "0123456789abcdef\n");
    lines_of(buffer);
    buffer.clear();
    EXPECT_FALSE(buffer.too_large());
    feed(buffer, "ok\n");
    EXPECT_EQ(lines_of(buffer), (Lines{"ok"}));
}

}  // namespace
