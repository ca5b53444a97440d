// The receive buffer: bytes in as they come, whole lines out.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace rv {

class FrameBuffer {
 public:
    static constexpr size_t default_limit = size_t{256} << 20;

    // limit: bytes that a line may have, its end not counted.
    explicit FrameBuffer(size_t limit = default_limit) : limit_(limit) {}

    // Room for at least one byte; received() says how many were put there. Null once a line is past the
    // limit, or past what memory there is.
    char *room(size_t *size);
    void received(size_t size) { end_ += size; }

    // The next whole line, without its line feed and a carriage return before it; empty lines are skipped. Lent
    // until the next call of anything else. False when there is none, or when it is past the limit.
    bool next(std::string_view *line);
    // Whether next() would find a line.
    bool has_line() const;
    bool too_large() const { return too_large_; }
    // Gives memory back that a large message needed. Ends the loan of the last line.
    void trim();
    void clear();

 private:
    size_t find_end() const;
    bool grow();

    struct Free {
        void operator()(char *bytes) const { free(bytes); }
    };

    size_t limit_;
    std::unique_ptr<char, Free> bytes_;  // [begin_, end_) holds what was received and not taken yet
    size_t size_ = 0;
    size_t begin_ = 0;
    size_t end_ = 0;
    size_t scanned_ = 0;  // no line feed stands in [begin_, scanned_)
    bool too_large_ = false;
};

}  // namespace rv
