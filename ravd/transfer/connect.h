// Connections to whom a netcat:// URL names.
#pragma once

#include <string>

#include "ravd/descriptor.h"
#include "ravd/model/fault.h"

namespace ravd {

// A socket, non-blocking, that is being connected; or none and a fault: 9003 when the URL is not
// netcat://a.b.c.d:port, 9015 when nobody can be reached.
Descriptor connect_netcat(const std::string &url, Fault &fault);

}  // namespace ravd
