// Whichever way the bytes come, they go through one sink, and the end of it is judged in one place.
#include "ravd/transfer/fetch.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include <sys/socket.h>

#include "ravd/transfer/address.h"
#include "ravd/transfer/connect.h"
#include "ravd/transfer/pace.h"
#include "ravd/transfer/peer_files.h"
#include "ravd/transfer/sink.h"
#include "ravd/transfer/stream.h"
#include "ravd/transfer/web.h"

namespace ravd {

struct Fetch::Parts {
    Parts(event_base *loop, const ClientLimits &limits, FetchOrder what, int fd, Done tell);
    ~Parts() { event_free(soon); }

    Fault begin();
    Fault begin_web();
    Fault begin_netcat();
    Fault begin_file();
    bool take_netcat(std::string_view bytes);
    bool take_file(std::string_view bytes);
    void end(Fault fault);

    event_base *base;
    FetchOrder order;
    Sink sink;
    Done done;
    event *soon;  // tells the outcome outside of the constructor
    Fault outcome;
    std::string head;  // the report of a file's reader, until it is whole
    PeerFile file;
    std::optional<Stream> stream;
    std::optional<Web> web;
    std::optional<Pace> pace;
};

Fetch::Parts::Parts(event_base *loop, const ClientLimits &limits, FetchOrder what, int fd, Done tell)
    : base(loop), order(std::move(what)), sink(fd, order.most), done(std::move(tell)) {
    soon = event_new(
        base, -1, 0,
        [](evutil_socket_t, short, void *self) {
            auto *parts = static_cast<Parts *>(self);
            const Done call = std::move(parts->done);
            call(Fault(parts->outcome));
        },
        this);
    pace.emplace(
        base, limits, [this] { return sink.bytes(); },
        [this] {
            end({9010, "too slow", {}});
        });
    if (Fault fault = begin()) end(std::move(fault));
}

Fault Fetch::Parts::begin() {
    if (order.size.value_or(0) > order.most) return {9004, "the file is too large", {}};
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

Fault Fetch::Parts::begin_web() {
    web.emplace(base, [this](Fault fault) { end(std::move(fault)); });
    const bool begun = web->get(order.url, order.most, [this](std::string_view bytes) { return sink.take(bytes); });
    return begun ? Fault() : Fault{9010, "no transfer can be had", {}};
}

Fault Fetch::Parts::begin_netcat() {
    Fault fault;
    Descriptor socket = connect_netcat(order.url, order.peer, fault);
    if (fault) return fault;
    const auto ended = [this](int problem) {
        end(problem == 0 ? Fault() : Fault{sink.bytes() == 0 ? 9015 : 9010, strerror(problem), {}});
    };
    stream.emplace(base, std::move(socket), "",
                   Stream::Calls{[this](std::string_view bytes) { return take_netcat(bytes); }, ended});
    return {};
}

bool Fetch::Parts::take_netcat(std::string_view bytes) {
    if (order.size) bytes = bytes.substr(0, *order.size - sink.bytes());
    return sink.take(bytes) && sink.bytes() != order.size;
}

Fault Fetch::Parts::begin_file() {
    if (order.peer.transport != Transport::local) return {9001, {}, {}};
    const std::string path = path_of(order.url);
    if (path.empty()) return {9016, "no absolute path", {}};
    Descriptor socket = file.read(order.peer, path);
    if (!socket) return {9002, strerror(errno), {}};
    const auto ended = [this](int problem) {
        PeerFile::Report report = {problem != 0 ? problem : EIO, 0};
        if (head.size() == sizeof report) memcpy(&report, head.data(), sizeof report);
        if (report.error != 0) return end({9016, strerror(static_cast<int>(report.error)), {}});
        end(report.size == sink.bytes() ? Fault() : Fault{9010, "the file was cut while it was read", {}});
    };
    stream.emplace(base, std::move(socket), "",
                   Stream::Calls{[this](std::string_view bytes) { return take_file(bytes); }, ended});
    return {};
}

bool Fetch::Parts::take_file(std::string_view bytes) {
    const size_t missing = std::min(sizeof(PeerFile::Report) - head.size(), bytes.size());
    head += bytes.substr(0, missing);
    bytes.remove_prefix(missing);
    return sink.take(bytes);
}

// What the sink has to say explains what followed from it.
void Fetch::Parts::end(Fault fault) {
    pace.reset();
    stream.reset();
    web.reset();
    if (Fault refused = sink.fault()) fault = std::move(refused);
    outcome = fault ? std::move(fault) : sink.verify(order.md5, order.size);
    event_active(soon, EV_TIMEOUT, 0);
}

Fetch::Fetch(event_base *base, const ClientLimits &limits, FetchOrder order, int fd, Done done)
    : parts_(std::make_unique<Parts>(base, limits, std::move(order), fd, std::move(done))) {}

Fetch::~Fetch() = default;

uint64_t Fetch::bytes() const {
    return parts_->sink.bytes();
}

}  // namespace ravd
