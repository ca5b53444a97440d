// A shell without a terminal, for tests that drive many commands: lines from standard input are split, run by name with
// a node cache, and each answered by what the command prints and a line "== RESULT".
//
// usage: shell_driver SOCKET
// lines beside commands: "!rebuild" makes the cache anew, "!complete LINE" prints the candidates at LINE's end as a
// JSON array, "!hint LINE" the hint, "!event PARAMS" notes an instance event
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ravc/cache/instance_events.h"
#include "ravc/cache/node_cache.h"
#include "ravc/commands.h"
#include "ravc/commands/split_line.h"
#include "ravc/daemon/connections.h"
#include "ravc/shell/complete.h"
#include "rv/colors.h"

namespace {

void rebuild(const char *) {
    node_cache_rebuild();
}

void complete(const char *line) {
    json_auto_t *candidates = json_array();
    complete_line(line, strlen(line), candidates);
    json_dumpf(candidates, stdout, JSON_COMPACT);
    putchar('\n');
}

void hint(const char *line) {
    char *text = hint_line(line);
    puts(text ? text : "");
    free(text);
}

void event(const char *text) {
    json_auto_t *params = json_loads(text, 0, nullptr);
    instance_events_note(params);
}

struct Extra {
    const char *name;
    void (*run)(const char *rest);
};

constexpr Extra extras[] = {{"!rebuild", rebuild}, {"!complete ", complete}, {"!hint ", hint}, {"!event ", event}};

int run(const char *line) {
    for (const Extra &extra : extras) {
        if (strncmp(line, extra.name, strlen(extra.name)) != 0) continue;
        extra.run(line + strlen(extra.name));
        return 0;
    }
    json_auto_t *words = split_line(line, -1, nullptr);
    json_auto_t *name = json_incref(json_array_get(words, 0));
    if (!name) return 0;
    json_array_remove(words, 0);
    return dispatch_by_name(json_string_value(name), words);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) return 2;
    rv_colors_toggle(0);
    connections_init();
    rv_jrpcapi_set_destination(requests_connection(), "", argv[1], RV_SOCKET_UNIX);
    rv_jrpcapi_set_destination(events_connection(), "", argv[1], RV_SOCKET_UNIX);
    if (connections_open() < 0) return 1;
    node_cache_rebuild();
    char *line = nullptr;
    size_t capacity = 0;
    for (ssize_t length; (length = getline(&line, &capacity, stdin)) > 0;) {
        line[length - 1] = '\0';
        const int result = run(line);
        printf("== %d\n", result);
        fflush(stdout);
    }
    free(line);
    instance_events_clear();
    cdpath_release(&current_path);
    cdpath_release(&previous_path);
    node_cache_release();
    connections_deinit();
    return 0;
}
