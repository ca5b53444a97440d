// One chunk a turn of the loop, so that nobody waits for it.
#include "ravd/transfer/stream.h"

#include <cerrno>
#include <utility>

#include <sys/socket.h>

namespace ravd {

namespace {

constexpr size_t chunk = 65536;

bool is_passing(int error) {
    return error == EAGAIN || error == EINTR;
}

}  // namespace

Stream::Stream(event_base *base, Descriptor socket, std::string_view content, Calls calls)
    : socket_(std::move(socket)), content_(content), calls_(std::move(calls)) {
    write_ = event_new(
        base, socket_.get(), EV_WRITE | EV_PERSIST,
        [](evutil_socket_t, short, void *self) { static_cast<Stream *>(self)->writable(); }, this);
    read_ = event_new(
        base, socket_.get(), EV_READ | EV_PERSIST,
        [](evutil_socket_t, short, void *self) { static_cast<Stream *>(self)->readable(); }, this);
    event_add(write_, nullptr);
}

Stream::~Stream() {
    event_free(write_);
    event_free(read_);
}

// The first time it is connected, or is not.
void Stream::writable() {
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, &error, &size);
    if (error != 0) return end(error);
    const std::string_view left = content_.substr(sent_);
    if (!left.empty()) {
        const ssize_t sent = send(socket_.get(), left.data(), std::min(left.size(), chunk), MSG_NOSIGNAL);
        if (sent < 0 && !is_passing(errno)) return end(errno);
        if (sent > 0) sent_ += static_cast<uint64_t>(sent);
        if (sent_ < content_.size()) return;
        shutdown(socket_.get(), SHUT_WR);
    }
    event_del(write_);
    event_add(read_, nullptr);
}

void Stream::readable() {
    char bytes[chunk];
    const ssize_t got = recv(socket_.get(), bytes, sizeof bytes, 0);
    if (got < 0 && is_passing(errno)) return;
    if (got < 0) return end(errno);
    if (got == 0 || !calls_.received({bytes, static_cast<size_t>(got)})) end(0);
}

void Stream::end(int problem) {
    event_del(write_);
    event_del(read_);
    const auto ended = std::move(calls_.ended);
    ended(problem);
}

}  // namespace ravd
