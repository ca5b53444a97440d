// Receiving and showing events.
#include "ravc/shell/events.h"

#include <jansson.h>
#include <stdio.h>

#include "ravc/cache/instance_events.h"
#include "ravc/daemon/connections.h"
#include "ravc/daemon/request.h"
#include "ravc/shell/prompt.h"

namespace {

enum { KEEP_ALIVE = 0, INSTANCE_CHANGED = 4 };
enum { AT_ONCE = 100 };

// Nothing more has come, or the rest of a message is still on its way.
bool is_transient(int err) {
    return err == RV_SOCKET_ERR_TIMEOUT || err == RV_SOCKET_ERR_NOTHING;
}

json_t *params_of(const rv_jrpcmsg *msg) {
    return json_object_get(rv_jrpcmsg_get_params_json(msg), "Params");
}

void show(uint32_t code, const json_t *params) {
    printf("\nEVENT %zu:\n", size_t{code});
    if (!params) return;
    json_dumpf(params, stdout, JSON_INDENT(4) | JSON_ENCODE_ANY);
    putchar('\n');
}

}  // namespace

void events_init() {
    rv_jrpcapi_set_timeout(events_connection(), 0);
}

int events_receive(rv_rl_async *editor) {
    bool shown = false;
    int result = 0;
    for (int i = 0; i < AT_ONCE; i++) {
        message_auto_t *msg = rv_jrpcapi_recv(events_connection());
        if (!msg) {
            result = is_transient(rv_jrpcapi_get_socket_err(events_connection())) ? 0 : -1;
            break;
        }
        const uint32_t code = rv_jrpcmsg_get_event_code(msg);
        if (code == KEEP_ALIVE) continue;
        if (code == INSTANCE_CHANGED) {
            instance_events_note(params_of(msg));
            continue;
        }
        if (!shown) rv_rl_async_restore(editor);
        shown = true;
        show(code, params_of(msg));
    }
    if (shown) rv_rl_async_prepare(editor, prompt_text());
    return result;
}
