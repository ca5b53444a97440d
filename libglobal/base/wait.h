// The library's own side of rv/wait.h.
#pragma once

#include <stdint.h>

namespace rv {

// Serves connections until the deadline or until one of them was served, whichever is first.
// Returns as rv_wait() does.
using IdleService = int (*)(int64_t deadline);

// What rv_sleep_ms() does while it sleeps; null for nothing.
void set_idle_service(IdleService service);

// What runs once, before the next rv_wait() begins; null for nothing.
void set_before_wait(void (*function)());

}  // namespace rv
