// What follows the download of a firmware image: whether the configuration is kept, applying it, and watching that.
#pragma once

#include <jansson.h>

#include "rv/jrpcmsg.h"

// Goes on with an image that the daemon has fetched and told of in reply (a result). params are those of the request,
// which it changes and sends again. Prints what becomes of the versions and of the configuration, and asks where both
// are open. Returns 0 when the user gave it up; else it watches the upgrade to its end and ends the process with exit
// status 0. Borrows both. May not return: Ctrl-C can abandon the caller while this waits.
int firmware_upgrade(const rv_jrpcmsg *reply, json_t *params);

// The mark that a step of the progress from one percentage to the next leaves: '@' for another ten, '*' for another
// two,
// '\0' for none.
char firmware_progress_mark(int64_t before, int64_t now);
