// What fetching and sending have in common: the choice of the way by the URL, the pace, and the outcome, which is told
// once, by the loop.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <event2/event.h>

#include "ravd/descriptor.h"
#include "ravd/limits.h"
#include "ravd/model/fault.h"
#include "ravd/peer.h"
#include "ravd/transfer/pace.h"
#include "ravd/transfer/stream.h"
#include "ravd/transfer/web.h"

namespace ravd {

class Transfer {
 public:
    using Done = std::function<void(const Fault &fault)>;

    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;

 protected:
    // failure: the code of a transfer that fails on its way. done is called once, by the loop and not from within what
    // ends the transfer, and not at all where it is deleted before; the object may be deleted in it.
    Transfer(event_base *base, int failure, Done done);
    virtual ~Transfer();

    // For constructors, at their end: begins by the way that the URL names. Whatever is wrong becomes the outcome: 9001
    // file:// for a peer of the network, 9013 no such scheme, 9015 nobody to be reached, 9016 no path, and what
    // begin_*() returns.
    void begin(const ClientLimits &limits, const std::string &url, const Peer &peer);
    void end(Fault fault);
    // For destructors of what begin_*() and moved() use: nothing of it is used any more.
    void stop();

    // They set stream or web, which then call end().
    virtual Fault begin_web() = 0;
    virtual Fault begin_netcat(Descriptor socket) = 0;  // socket: being connected
    virtual Fault begin_file(const std::string &path) = 0;
    virtual uint64_t moved() const = 0;  // bytes so far
    // The outcome of a transfer that has ended with that fault, or none.
    virtual Fault verdict(Fault fault) { return fault; }

    // What a connection's end means that had that problem, 0 or an error number.
    Fault fault_of(int problem) const;

    event_base *base;
    const int failure;
    std::optional<Stream> stream;
    std::optional<Web> web;

 private:
    Fault begin_by_way(const std::string &url, const Peer &peer);

    Done done_;
    event *soon_;  // tells the outcome
    Fault outcome_;
    std::optional<Pace> pace_;
};

}  // namespace ravd
