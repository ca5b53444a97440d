// Brings a text to where a URL names: put by http, https or ftp; sent to who listens at netcat://a.b.c.d:port; written
// to file:// with the rights of the peer, for peers of the local socket only.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <event2/event.h>

#include "ravd/limits.h"
#include "ravd/model/fault.h"
#include "ravd/peer.h"

namespace ravd {

struct SendOrder {
    std::string url;
    std::string content;
    Peer peer;  // who asks for it
};

class Send {
 public:
    // 9001 file:// for a peer of the network; 9011 and 9015 the transfer failed, and there was nobody to be reached;
    // 9012 the server wants another login; 9013 no such scheme; 9016 no file that the peer may write.
    using Done = std::function<void(const Fault &fault)>;

    // Begins. done is called once, by the loop and not from in here; the object may be deleted in it.
    Send(event_base *base, const ClientLimits &limits, SendOrder order, Done done);
    // Ends it, without done() where that has not been called; the other side then has anything, but no file is half
    // written.
    ~Send();
    Send(const Send &) = delete;
    Send &operator=(const Send &) = delete;

 private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace ravd
