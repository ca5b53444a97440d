// The scanner behind the message limits. It follows strings and brackets only: whether a message is JSON is for the
// parser to say, which is not called before the message is known to be harmless.
#include "ravd/frame.h"

#include <cstring>

namespace ravd {

FrameReader::Result FrameReader::scan(std::string_view bytes, const FrameLimits &limits) {
    for (const char byte : bytes) {
        ++seen_;
        if (byte == '\n') {
            length_ = seen_;
            return Result::message;
        }
        if (in_string_) {
            if (escaped_) {
                escaped_ = false;
            } else if (byte == '\\') {
                escaped_ = true;
            } else if (byte == '"') {
                in_string_ = false;
            }
        } else if (byte == '"') {
            in_string_ = true;
        } else if (byte == '{' || byte == '[') {
            if (++depth_ > limits.nesting) return Result::too_deep;
            if (++values_ > limits.values) return Result::too_many;
        } else if (byte == '}' || byte == ']') {
            if (depth_ > 0) --depth_;
        } else if (byte == ',') {
            if (++values_ > limits.values) return Result::too_many;
        }
    }
    return Result::incomplete;
}

FrameReader::Result FrameReader::next(evbuffer *input, const FrameLimits &limits) {
    while (evbuffer_get_length(input) > seen_) {
        evbuffer_ptr start;
        evbuffer_ptr_set(input, &start, seen_, EVBUFFER_PTR_SET);
        evbuffer_iovec piece;
        if (evbuffer_peek(input, -1, &start, &piece, 1) < 1) break;
        const Result result = scan({static_cast<const char *>(piece.iov_base), piece.iov_len}, limits);
        if (result == Result::message) {
            const std::string_view found = message(input);
            if (found.size() > limits.bytes) return Result::too_large;
            if (!found.empty()) return result;
            take(input);
        } else if (result != Result::incomplete) {
            return result;
        } else if (seen_ > limits.bytes + 1) {  // one more may be the carriage return before the line feed
            return Result::too_large;
        }
    }
    return Result::incomplete;
}

std::string_view FrameReader::message(evbuffer *input) const {
    const auto *start = reinterpret_cast<char *>(evbuffer_pullup(input, static_cast<ssize_t>(length_)));
    size_t size = length_ - 1;
    if (size > 0 && start[size - 1] == '\r') --size;
    return {start, size};
}

// The bytes may hold a password.
void FrameReader::take(evbuffer *input) {
    explicit_bzero(evbuffer_pullup(input, static_cast<ssize_t>(length_)), length_);
    evbuffer_drain(input, length_);
    reset();
}

}  // namespace ravd
