// Cuts a byte stream into messages: one a line, within limits of size, nesting and number of values, each told while
// the bytes come in and without looking at any byte twice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <event2/buffer.h>

namespace ravd {

struct FrameLimits {
    uint64_t bytes;    // of a message without its line feed (nor the carriage return before it)
    uint64_t nesting;  // levels of arrays and objects
    uint64_t values;   // openings and commas outside of strings
};

class FrameReader {
 public:
    enum class Result : uint8_t { incomplete, message, too_large, too_deep, too_many };

    // Looks at the bytes of input not seen before. message: the first length() bytes of input are a message, and
    // take() must be called before the next look. incomplete: all of input was seen. Any other result is final:
    // the stream has no known boundary any more. Empty lines are drained.
    Result next(evbuffer *input, const FrameLimits &limits);

    // The message found, contiguous, without its line end; borrowed from input until take().
    std::string_view message(evbuffer *input) const;
    // Overwrites and drains the message found, with its line end.
    void take(evbuffer *input);

    // Some bytes of a message, but not its end, have been seen.
    bool partial() const { return seen_ > 0; }

 private:
    Result scan(std::string_view bytes, const FrameLimits &limits);
    void reset() { *this = FrameReader(); }

    size_t seen_ = 0;    // bytes of input already looked at
    size_t length_ = 0;  // of the message found, with its line feed
    uint32_t depth_ = 0;
    uint32_t values_ = 0;
    bool in_string_ = false, escaped_ = false;
};

}  // namespace ravd
