// Showing events while the program sleeps; see rv_jrpcapi_show_events().
#pragma once

#include <cstdint>

namespace rv {

// Serves the listening connections until the deadline or until one of them was served. Returns as rv_wait() does.
int serve_listeners(int64_t deadline);

}  // namespace rv
