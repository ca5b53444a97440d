// From parsed options to a connected session: everything between the command line and the mode.
#pragma once

#include "ravc/main/options.h"

// Sets both connections up as asked, connects them, logs in where that is asked for, joins the event groups and runs
// the user's start-up script, silently. The credentials in options are wiped once they were used. Prints what went
// wrong. Returns 0, or -1 when the program is to end with status 1.
int startup(Options *options);
