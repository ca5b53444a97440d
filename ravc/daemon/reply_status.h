// The one way in which the outcome of a reply is told to the user.
#pragma once

#include "rv/jrpcmsg.h"

// Prints to standard output: "Status: OK" for a reply without an error; else its code, text and detail on a line and a
// line for each of its error data. msg has been sent: a request that got no answer carries its transport error.
void print_reply_status(const rv_jrpcmsg *msg);
