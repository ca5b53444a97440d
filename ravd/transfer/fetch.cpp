// Whichever way the bytes come, they go through one sink, and the end of it is judged in one place.
#include "ravd/transfer/fetch.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "ravd/transfer/peer_files.h"
#include "ravd/transfer/sink.h"
#include "ravd/transfer/transfer.h"

namespace ravd {

struct Fetch::Parts : Transfer {
    Parts(event_base *loop, const ClientLimits &limits, FetchOrder what, int fd, Done tell);
    ~Parts() override { stop(); }

    Fault begin_web() override;
    Fault begin_netcat(Descriptor socket) override;
    Fault begin_file(const std::string &path) override;
    uint64_t moved() const override { return sink.bytes(); }
    Fault verdict(Fault fault) override;
    bool take_netcat(std::string_view bytes);

    FetchOrder order;
    Sink sink;
    PeerFile file;
};

Fetch::Parts::Parts(event_base *loop, const ClientLimits &limits, FetchOrder what, int fd, Done tell)
    : Transfer(loop, 9010, std::move(tell)), order(std::move(what)), sink(fd, order.most) {
    if (order.size.value_or(0) > order.most)
        end({9004, "the file is too large", {}});
    else
        begin(limits, order.url, order.peer);
}

Fault Fetch::Parts::begin_web() {
    web.emplace(base, [this](Fault fault) { end(std::move(fault)); });
    const bool begun = web->get(order.url, order.most, [this](std::string_view bytes) { return sink.take(bytes); });
    return begun ? Fault() : Fault{failure, "no transfer can be had", {}};
}

Fault Fetch::Parts::begin_netcat(Descriptor socket) {
    stream.emplace(base, std::move(socket), "",
                   Stream::Calls{[this](std::string_view bytes) { return take_netcat(bytes); },
                                 [this](int problem) { end(fault_of(problem)); }});
    return {};
}

bool Fetch::Parts::take_netcat(std::string_view bytes) {
    if (order.size) bytes = bytes.substr(0, *order.size - sink.bytes());
    return sink.take(bytes) && sink.bytes() != order.size;
}

Fault Fetch::Parts::begin_file(const std::string &path) {
    Descriptor socket = file.read(order.peer, path);
    if (!socket) return {9002, strerror(errno), {}};
    const auto ended = [this](int problem) {
        Fault fault = file.fault(problem);
        if (!fault && file.size() != sink.bytes()) fault = {failure, "the file was cut while it was read", {}};
        end(std::move(fault));
    };
    stream.emplace(base, std::move(socket), "",
                   Stream::Calls{[this](std::string_view bytes) { return sink.take(file.take(bytes)); }, ended});
    return {};
}

// What the sink has to say explains what followed from it.
Fault Fetch::Parts::verdict(Fault fault) {
    if (Fault refused = sink.fault()) fault = std::move(refused);
    return fault ? fault : sink.verify(order.md5, order.size);
}

Fetch::Fetch(event_base *base, const ClientLimits &limits, FetchOrder order, int fd, Done done)
    : parts_(std::make_unique<Parts>(base, limits, std::move(order), fd, std::move(done))) {}

Fetch::~Fetch() = default;

uint64_t Fetch::bytes() const {
    return parts_->sink.bytes();
}

}  // namespace ravd
