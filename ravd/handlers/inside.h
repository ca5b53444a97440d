// Requests that come from inside of a handler: they are served, but start no other one.
#pragma once

#include "ravd/methods.h"

namespace ravd {

// Whether the client is a process of a handler that runs, told by its process group when it asks.
bool is_inside_handler(const Services &services, const Member &caller);
Fault inside_handler_fault();  // 9001

}  // namespace ravd
