// Host names looked up beside the main thread, so that a slow name server neither outlasts a deadline nor keeps
// Ctrl-C out.
#pragma once

#include <cstdint>

#include <netdb.h>

namespace rv {

struct Lookup;

// Starts to look up host. Returns null, with errno, when that is not possible. Every signal is blocked in its thread.
Lookup *start_lookup(const char *host, uint16_t port);
// Readable once the look-up has ended. Borrowed.
int lookup_fd(const Lookup *lookup);
// What it found, once it has ended: 0 and a list that the caller frees by freeaddrinfo(), or an EAI_* number
// (with errno, where that is EAI_SYSTEM).
int lookup_result(Lookup *lookup, addrinfo **found);
// Ends the caller's interest in it, at any time.
void drop_lookup(Lookup *lookup);

// The addresses of a host that is a number, or "localhost", without asking anybody. Results as lookup_result().
int known_address(const char *host, uint16_t port, addrinfo **found);

}  // namespace rv
