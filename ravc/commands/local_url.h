// What a typed word that stands for a file is to the daemon.
#pragma once

#include <stddef.h>

enum { URL_MAX = 4096 };  // bytes

enum {
    URL_KNOWN,  // url holds it
    URL_NONE,   // no URL, and the daemon is on another machine: url is empty
    URL_WRONG   // a file that is not there, or a text that is too long: url is empty
};

// Fills url (URL_MAX + 1 bytes): with word itself when it is a URL; else, where the daemon is reached over its local
// socket, with "file://" and the real path of the file. Returns one of the codes above. Prints nothing.
int local_url(const char *word, char *url);
