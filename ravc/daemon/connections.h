// The two connections to the daemon: one for every request and its reply, one for events alone.
#pragma once

#include "rv/jrpcapi.h"

// Makes both connections, not yet open.
void connections_init();
// Closes and frees both, the requests connection first.
void connections_deinit();

// Borrowed; null before connections_init() and after connections_deinit().
rv_jrpcapi *requests_connection();
rv_jrpcapi *events_connection();

// Opens both where they are not open yet. Returns 0, or -1 after printing to standard output which of them failed
// and why.
int connections_open();

// Joins an event group on a connection; whether the daemon agreed is not told. The connection's time-out is 1000 ms
// from then on.
void join_group(rv_jrpcapi *connection, uint32_t group);
