// Instances that the daemon has announced as added or deleted, waiting to be taken into the node cache.
#pragma once

#include <jansson.h>

// Notes an event's params, {"Action", "Path", "InstanceNumber"}; anything else is left alone. An instance that comes
// and goes again cancels out, and past 1,000 waiting events their objects are marked to be fetched anew instead.
// Prints nothing, sends nothing.
void instance_events_note(json_t *params);

// Takes all of them into the cache, with one request for all new instances. Prints nothing. May not return: Ctrl-C can
// abandon it, and then some of them may be lost to the cache until their object is fetched again.
void instance_events_apply();

// Forgets them.
void instance_events_clear();
