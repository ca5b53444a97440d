// Brings the file that a URL names into an open descriptor, on the loop: http, https and ftp by ravd/transfer/web.h;
// netcat://a.b.c.d:port, where a connection is read to its end or to as many bytes as the file has; file:// with the
// rights of the peer, for peers of the local socket only.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <event2/event.h>

#include "ravd/limits.h"
#include "ravd/model/fault.h"
#include "ravd/peer.h"

namespace ravd {

// What is fetched, and what is known of it beforehand.
struct FetchOrder {
    std::string url;
    std::string md5;               // hex digits of either case; empty: not known
    std::optional<uint64_t> size;  // bytes; absent: not known
    uint64_t most;                 // bytes
    Peer peer;                     // who asks for it
};

class Fetch {
 public:
    // 9001 file:// for a peer of the network; 9004 too large, or no room; 9010 and 9015 the transfer failed, and there
    // was nobody to be reached; 9012 the server wants another login; 9013 no such scheme; 9016 no file that the peer
    // may read; 9018 not of that size or MD5.
    using Done = std::function<void(const Fault &fault)>;

    // Begins. fd: borrowed, open for writing, written from where it stands. done is called once, by the loop and not
    // from in here; the object may be deleted in it.
    Fetch(event_base *base, const ClientLimits &limits, FetchOrder order, int fd, Done done);
    // Ends it, without done() where that has not been called; fd then holds anything.
    ~Fetch();
    Fetch(const Fetch &) = delete;
    Fetch &operator=(const Fetch &) = delete;

    uint64_t bytes() const;  // that have come

 private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace ravd
