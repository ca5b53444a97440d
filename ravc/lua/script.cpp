// The runner of Lua scripts.
#include "ravc/lua/script.h"

#include <memory>
#include <string>

#include <signal.h>
#include <stdio.h>

#include "ravc/daemon/connections.h"
#include "rv/lua.h"

namespace {

using File = std::unique_ptr<FILE, decltype(&fclose)>;
using Context = std::unique_ptr<rv_lua, decltype(&rv_lua_free)>;

// Appends all that file holds: its size, which may be none or change, is of no interest. Returns 0, or -1.
int read_all(FILE *file, std::string *text) {
    char block[BUFSIZ];
    for (size_t got; (got = fread(block, 1, sizeof block, file)) > 0;) text->append(block, got);
    return ferror(file) ? -1 : 0;
}

int read_script(const char *path, std::string *text) {
    const File file(fopen(path, "re"), fclose);
    if (!file || read_all(file.get(), text) != 0) return -1;
    // The line that names the interpreter goes, its end stays: lines keep their numbers.
    if (text->starts_with("#!")) text->erase(0, text->find('\n'));
    return 0;
}

int run(const std::string &text, const char *name, const json_t *arguments) {
    const Context context(rv_lua_init(0), rv_lua_free);
    if (!context) {
        puts("not enough memory");
        return 0;
    }
    context->connection = requests_connection();
    context->events = events_connection();
    const int code = rv_lua_exec(context.get(), text.data(), text.size(), name, arguments);
    if (code == RV_LUA_FAILED) {
        puts(context->error.text);
    } else {
        rv_lua_show(context->output.text, context->output.length);
    }
    fflush(stdout);
    // Whoever started the program is to see that it was interrupted.
    if (code == RV_LUA_INTERRUPTED) raise(SIGINT);
    return code == RV_LUA_EXIT ? rv_lua_exit_status(context.get()) : 0;
}

}  // namespace

int run_lua_script(const char *path, json_t *arguments) {
    json_auto_t *first = path ? nullptr : json_incref(json_array_get(arguments, 0));
    if (!path && first) {
        path = json_string_value(first);
        json_array_remove(arguments, 0);
    }
    std::string text;
    if (!path || read_script(path, &text) != 0) {
        printf("Cannot open script file %s\n", path ? path : "");
        return -1;
    }
    return run(text, path, arguments);
}
