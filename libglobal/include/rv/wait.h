// Waiting. Everything in these libraries that waits, but for server sockets (rv/socket.h), waits here: SIGINT may be
// blocked everywhere else and is let in only while one of these functions sleeps, so that a handler can jump out of it
// and never out of malloc() or printf(). So are SIGTSTP, SIGCONT and SIGWINCH, which the line editor blocks while it
// draws (rv/rl.h). They are for the main thread alone.
// Frames below a call must therefore hold plain data only. Nothing here prints, but see rv_jrpcapi_show_events().
#pragma once

#include <poll.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define RV_NO_DEADLINE INT64_MAX

// Milliseconds of the monotonic clock.
int64_t rv_now_ms(void);
// The moment timeout_ms from now, on that clock; RV_NO_DEADLINE for a negative time-out.
int64_t rv_deadline(int timeout_ms);

// Waits until one of the descriptors is ready or the deadline has come. Returns the number of ready ones, 0 at the
// deadline, or -1 with errno (EINTR when a signal handler ran: a signal goes before what is ready).
int rv_wait(struct pollfd *fds, nfds_t count, int64_t deadline);

// 1 when SIGINT is blocked and waits to be let in, else 0. For long work without a wait, which then ends early.
int rv_interrupt_pending(void);

// Sleeps for ms milliseconds, and serves what was registered to be served meanwhile (rv_jrpcapi_show_events).
// Returns 0, or -1 with EINTR when a signal ended the sleep early.
int rv_sleep_ms(int ms);

#ifdef __cplusplus
}
#endif
