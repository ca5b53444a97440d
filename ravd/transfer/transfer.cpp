// An event of its own tells the outcome, so that nothing is told from within a constructor.
#include "ravd/transfer/transfer.h"

#include <cstring>
#include <utility>

#include "ravd/transfer/address.h"
#include "ravd/transfer/connect.h"

namespace ravd {

Transfer::Transfer(event_base *loop, int code, Done done) : base(loop), failure(code), done_(std::move(done)) {
    soon_ = event_new(
        base, -1, 0,
        [](evutil_socket_t, short, void *self) {
            auto *transfer = static_cast<Transfer *>(self);
            const Done call = std::move(transfer->done_);
            call(Fault(transfer->outcome_));
        },
        this);
}

Transfer::~Transfer() {
    event_free(soon_);
}

void Transfer::begin(const ClientLimits &limits, const std::string &url, const Peer &peer) {
    const auto too_slow = [this] { end({failure, "too slow", {}}); };
    pace_.emplace(
        base, limits, [this] { return moved(); }, too_slow);
    if (Fault fault = begin_by_way(url, peer)) end(std::move(fault));
}

Fault Transfer::begin_by_way(const std::string &url, const Peer &peer) {
    switch (way_of(url)) {
        case Way::web:
            return begin_web();
        case Way::netcat: {
            Fault fault;
            Descriptor socket = connect_netcat(url, peer, fault);
            return fault ? fault : begin_netcat(std::move(socket));
        }
        case Way::file: {
            if (peer.transport != Transport::local) return {9001, {}, {}};
            const std::string path = path_of(url);
            return path.empty() ? Fault{9016, "no absolute path", {}} : begin_file(path);
        }
        default:
            return {9013, {}, {}};
    }
}

void Transfer::end(Fault fault) {
    stop();
    outcome_ = verdict(std::move(fault));
    event_active(soon_, EV_TIMEOUT, 0);
}

void Transfer::stop() {
    pace_.reset();
    stream.reset();
    web.reset();
}

Fault Transfer::fault_of(int problem) const {
    return problem == 0 ? Fault() : Fault{moved() == 0 ? 9015 : failure, strerror(problem), {}};
}

}  // namespace ravd
