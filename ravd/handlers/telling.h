// Reading with the values that handlers tell.
#pragma once

#include <string>

#include "ravd/methods.h"

namespace ravd {

// A reading method, which may be run several times for one call.
using ReadMethod = Fault (*)(const Call &call, std::string &result);

// Runs read. Where what it reads is told by handlers, the call is deferred until they have answered, and each is asked
// once, by object and not by parameter; they are killed when the client goes. What a handler can't tell is left out of
// what was asked for as a whole; asked for by name it fails the request, with the handler's own code or 9002. 9001 when
// the client belongs to a handler; 9004 when too many handlers wait.
Fault read_told(const Call &call, ReadMethod read, std::string &result);

}  // namespace ravd
