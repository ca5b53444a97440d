// A server of one file for one connection: how a daemon on another machine gets a file of this one.
#pragma once

#include <stddef.h>

enum { SENDER_PATIENCE_MS = 10000, SENDER_URL_SIZE = sizeof "netcat://255.255.255.255:65535" };

// Listens at this side's address of the requests connection and starts a thread that sends the file at path to the
// first connection from the daemon's address, then ends; it waits so many milliseconds for it. Anybody else's
// connection is closed. Says on standard output what is being sent, or why nothing is; the thread says there what went
// wrong with it. Returns 0 with where to fetch the file (url has SENDER_URL_SIZE bytes) and its size in bytes; or -1
// with url empty. The thread takes no signals and shares nothing with the caller.
int file_sender_start(const char *path, int patience_ms, char *url, size_t *size);
