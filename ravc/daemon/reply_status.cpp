// "Status: OK", or the error of a reply with all that the daemon said about it.
#include "ravc/daemon/reply_status.h"

#include <stdio.h>
#include <stdlib.h>

#include "rv/colors.h"

namespace {

void print_error_data(json_t *data) {
    const char *key;
    json_t *value;
    json_object_foreach(data, key, value) {
        char *text = json_dumps(value, JSON_ENCODE_ANY);
        if (!text) return;
        printf("%s: %s\n", key, text);
        free(text);
    }
}

}  // namespace

void print_reply_status(const rv_jrpcmsg *msg) {
    const int code = rv_jrpcmsg_get_error_code(msg);
    if (code == 0) {
        fputs("Status: ", stdout);
        rv_colors_set(2);
        puts("OK");
        rv_colors_reset();
        fflush(stdout);
        return;
    }
    const char *message = rv_jrpcmsg_get_error_message(msg);
    rv_colors_set(1);
    printf("[%d] %s", code, message ? message : "");
    rv_colors_reset();
    if (const char *detail = rv_jrpcmsg_get_error_detail(msg)) {
        printf(": %s\n", detail);
    } else {
        putchar('\n');
    }
    print_error_data(rv_jrpcmsg_get_errordata_json(msg));
}
