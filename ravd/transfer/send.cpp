// All that is sent is there from the start; the end of it is that the other side has it.
#include "ravd/transfer/send.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "ravd/transfer/peer_files.h"
#include "ravd/transfer/transfer.h"

namespace ravd {

struct Send::Parts : Transfer {
    Parts(event_base *loop, const ClientLimits &limits, SendOrder what, Done tell);
    ~Parts() override { stop(); }

    Fault begin_web() override;
    Fault begin_netcat(Descriptor socket) override;
    Fault begin_file(const std::string &path) override;
    uint64_t moved() const override;

    SendOrder order;
    PeerFile file;
};

Send::Parts::Parts(event_base *loop, const ClientLimits &limits, SendOrder what, Done tell)
    : Transfer(loop, 9011, std::move(tell)), order(std::move(what)) {
    begin(limits, order.url, order.peer);
}

uint64_t Send::Parts::moved() const {
    return stream ? stream->sent() : web ? web->sent() : 0;
}

Fault Send::Parts::begin_web() {
    web.emplace(base, [this](Fault fault) { end(std::move(fault)); });
    return web->put(order.url, order.content) ? Fault() : Fault{failure, "no transfer can be had", {}};
}

// What the other side says is of no interest; that it closes tells that it has taken all.
Fault Send::Parts::begin_netcat(Descriptor socket) {
    const auto ended = [this](int problem) {
        const bool is_cut = problem == 0 && stream->sent() != order.content.size();
        end(fault_of(is_cut ? EPIPE : problem));
    };
    stream.emplace(base, std::move(socket), order.content, Stream::Calls{[](std::string_view) { return true; }, ended});
    return {};
}

Fault Send::Parts::begin_file(const std::string &path) {
    Descriptor socket = file.write(order.peer, path, order.content);
    if (!socket) return {9002, strerror(errno), {}};
    const auto take = [this](std::string_view bytes) {
        file.take(bytes);
        return true;
    };
    stream.emplace(base, std::move(socket), "", Stream::Calls{take, [this](int problem) { end(file.fault(problem)); }});
    return {};
}

Send::Send(event_base *base, const ClientLimits &limits, SendOrder order, Done done)
    : parts_(std::make_unique<Parts>(base, limits, std::move(order), std::move(done))) {}

Send::~Send() = default;

}  // namespace ravd
