// The receive buffer. It grows by doubling and remembers how far it has looked for the end of a line, so that a large
// message that comes in small pieces costs time in proportion to its size.
#include "libglobal/net/frame.h"

#include <algorithm>

#include <string.h>

namespace rv {

namespace {

constexpr size_t first_size = size_t{16} * 1024;
constexpr size_t least_room = size_t{4} * 1024;
constexpr size_t kept_size = size_t{256} * 1024;
constexpr size_t none = SIZE_MAX;

}  // namespace

char *FrameBuffer::room(size_t *size) {
    if (end_ - begin_ > limit_ + 1 && !has_line()) too_large_ = true;
    if (too_large_) return nullptr;
    if (begin_ == end_) begin_ = end_ = scanned_ = 0;
    if (size_ - end_ < least_room && !grow()) {
        too_large_ = true;
        return nullptr;
    }
    *size = size_ - end_;
    return bytes_.get() + end_;
}

// Moves what is left to the front, and doubles the storage where that does not make room enough. realloc() moves the
// pages of a large message instead of copying them, and touches none before it is needed.
bool FrameBuffer::grow() {
    const size_t held = end_ - begin_;
    if (begin_ > 0) memmove(bytes_.get(), bytes_.get() + begin_, held);
    scanned_ -= begin_;
    begin_ = 0;
    end_ = held;
    if (size_ >= held + least_room) return true;
    const size_t most = std::max(limit_ + first_size, held + least_room);
    const size_t size = std::min(std::max(first_size, size_ * 2), most);
    auto *grown = static_cast<char *>(realloc(bytes_.get(), size));
    if (!grown) return false;
    static_cast<void>(bytes_.release());
    bytes_.reset(grown);
    size_ = size;
    return true;
}

size_t FrameBuffer::find_end() const {
    if (scanned_ == end_) return none;
    const void *found = memchr(bytes_.get() + scanned_, '\n', end_ - scanned_);
    return found ? static_cast<size_t>(static_cast<const char *>(found) - bytes_.get()) : none;
}

bool FrameBuffer::has_line() const {
    return find_end() != none;
}

bool FrameBuffer::next(std::string_view *line) {
    for (;;) {
        const size_t stop = find_end();
        if (stop == none) {
            scanned_ = end_;
            return false;
        }
        *line = {bytes_.get() + begin_, stop - begin_};
        begin_ = scanned_ = stop + 1;
        if (line->ends_with('\r')) line->remove_suffix(1);
        if (line->size() > limit_) too_large_ = true;
        if (too_large_) return false;
        if (!line->empty()) return true;
    }
}

void FrameBuffer::trim() {
    if (begin_ == end_ && size_ > kept_size) clear();
}

void FrameBuffer::clear() {
    bytes_.reset();
    size_ = begin_ = end_ = scanned_ = 0;
    too_large_ = false;
}

}  // namespace rv
