// Connections to whom a netcat:// URL names.
#pragma once

#include <string>

#include "ravd/descriptor.h"
#include "ravd/model/fault.h"
#include "ravd/peer.h"

namespace ravd {

// A socket, non-blocking, that is being connected; or none and a fault: 9003 when the URL is not
// netcat://a.b.c.d:port, 9015 when nobody can be reached. peer: who asks for it. Where the URL names the peer's own
// address, the connection comes from the address that the peer knows this side by: it serves nobody else.
Descriptor connect_netcat(const std::string &url, const Peer &peer, Fault &fault);

}  // namespace ravd
