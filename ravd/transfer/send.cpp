#include "ravd/transfer/send.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "ravd/transfer/address.h"
#include "ravd/transfer/connect.h"
#include "ravd/transfer/pace.h"
#include "ravd/transfer/peer_files.h"
#include "ravd/transfer/stream.h"
#include "ravd/transfer/web.h"

namespace ravd {

struct Send::Parts {
    Parts(event_base *loop, const ClientLimits &limits, SendOrder what, Done tell);
    ~Parts() { event_free(soon); }

    Fault begin();
    Fault begin_web();
    Fault begin_netcat();
    Fault begin_file();
    uint64_t sent() const;
    void end(Fault fault);

    event_base *base;
    SendOrder order;
    Done done;
    event *soon;  // tells the outcome outside of the constructor
    Fault outcome;
    std::string head;  // the report of a file's writer, until it is whole
    PeerFile file;
    std::optional<Stream> stream;
    std::optional<Web> web;
    std::optional<Pace> pace;
};

Send::Parts::Parts(event_base *loop, const ClientLimits &limits, SendOrder what, Done tell)
    : base(loop), order(std::move(what)), done(std::move(tell)) {
    soon = event_new(
        base, -1, 0,
        [](evutil_socket_t, short, void *self) {
            auto *parts = static_cast<Parts *>(self);
            const Done call = std::move(parts->done);
            call(Fault(parts->outcome));
        },
        this);
    pace.emplace(
        base, limits, [this] { return sent(); },
        [this] {
            end({9011, "too slow", {}});
        });
    if (Fault fault = begin()) end(std::move(fault));
}

uint64_t Send::Parts::sent() const {
    return stream ? stream->sent() : web ? web->sent() : 0;
}

Fault Send::Parts::begin() {
    switch (way_of(order.url)) {
        case Way::web:
            return begin_web();
        case Way::netcat:
            return begin_netcat();
        case Way::file:
            return begin_file();
        default:
            return {9013, {}, {}};
    }
}

Fault Send::Parts::begin_web() {
    web.emplace(base, [this](Fault fault) { end(std::move(fault)); });
    return web->put(order.url, order.content) ? Fault() : Fault{9011, "no transfer can be had", {}};
}

// What the other side says is of no interest; that it closes tells that it has taken all.
Fault Send::Parts::begin_netcat() {
    Fault fault;
    Descriptor socket = connect_netcat(order.url, order.peer, fault);
    if (fault) return fault;
    const auto ended = [this](int problem) {
        const bool whole = stream->sent() == order.content.size();
        if (problem == 0 && !whole) problem = EPIPE;
        end(problem == 0 ? Fault() : Fault{stream->sent() == 0 ? 9015 : 9011, strerror(problem), {}});
    };
    stream.emplace(base, std::move(socket), order.content, Stream::Calls{[](std::string_view) { return true; }, ended});
    return {};
}

Fault Send::Parts::begin_file() {
    if (order.peer.transport != Transport::local) return {9001, {}, {}};
    const std::string path = path_of(order.url);
    if (path.empty()) return {9016, "no absolute path", {}};
    Descriptor socket = file.write(order.peer, path, order.content);
    if (!socket) return {9002, strerror(errno), {}};
    const auto ended = [this](int problem) {
        PeerFile::Report report = {problem != 0 ? problem : EIO, 0};
        if (head.size() == sizeof report) memcpy(&report, head.data(), sizeof report);
        end(report.error == 0 ? Fault() : Fault{9016, strerror(static_cast<int>(report.error)), {}});
    };
    const auto take = [this](std::string_view bytes) {
        head += bytes.substr(0, sizeof(PeerFile::Report) - head.size());
        return true;
    };
    stream.emplace(base, std::move(socket), "", Stream::Calls{take, ended});
    return {};
}

void Send::Parts::end(Fault fault) {
    outcome = std::move(fault);
    pace.reset();
    stream.reset();
    web.reset();
    event_active(soon, EV_TIMEOUT, 0);
}

Send::Send(event_base *base, const ClientLimits &limits, SendOrder order, Done done)
    : parts_(std::make_unique<Parts>(base, limits, std::move(order), std::move(done))) {}

Send::~Send() = default;

}  // namespace ravd
