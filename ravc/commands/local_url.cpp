// URLs of what the user names, for the daemon to fetch from or to write to. What does not fit is refused, never cut.
#include "ravc/commands/local_url.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ravc/daemon/connections.h"
#include "rv/url.h"

namespace {

int file_url(const char *path, char *url) {
    char *real = realpath(path, nullptr);
    if (!real) return URL_WRONG;
    const int length = snprintf(url, URL_MAX, "file://%s", real);
    free(real);
    if (length < URL_MAX) return URL_KNOWN;
    *url = '\0';
    return URL_WRONG;
}

}  // namespace

int local_url(const char *word, char *url) {
    *url = '\0';
    rv_url parts;
    const size_t length = strlen(word);
    if (rv_url_parse_mem(&parts, word, length)) {
        if (length > URL_MAX) return URL_WRONG;
        memcpy(url, word, length + 1);
        return URL_KNOWN;
    }
    const bool is_here = rv_socket_type(rv_jrpcapi_socket(requests_connection())) == RV_SOCKET_UNIX;
    return is_here ? file_url(word, url) : URL_NONE;
}
