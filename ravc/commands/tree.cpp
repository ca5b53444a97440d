// catree, tree, select: branches of the configuration and of its schema, drawn as trees.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ravc/cdpath.h"
#include "ravc/commands/handlers.h"
#include "ravc/commands/tree_draw.h"
#include "ravc/daemon/reply_status.h"
#include "ravc/daemon/request.h"
#include "rv/conf.h"
#include "rv/confapi.h"
#include "rv/str_json.h"

namespace {

enum { TREE_VALUES = 1, TREE_SCHEMA = 2 };

// The full name that a typed path stands for, "." for the root. Returns false when it does not fit.
bool full_name(const char *path, char *name) {
    json_auto_t *text =
        path && *path == ':' ? json_string(path + 1) : json_sprintf("%s.%s", current_path.path, path ? path : "");
    if (!text || rv_conf_path_canonize(0, json_string_value(text), name) < 0) return false;
    if (!*name) strcpy(name, ".");
    return true;
}

// The schema tree with the way to path, which may be a selector: its branch is what stands before the selector's
// signs. A new reference, or null.
json_t *fetch_schema(const char *path) {
    json_auto_t *paths = json_array();
    json_array_append_new(paths, json_stringn(path, strcspn(path, "{[*")));
    message_auto_t *msg = rv_jrpcmsg_cmd_get_datamodel_new(json_incref(paths), -1);
    rv_confapi_exec(msg);
    return json_incref(json_object_get(rv_jrpcmsg_get_result_json(msg), "Datamodel"));
}

void show_tree(const char *command, const char *path, int what) {
    char name[RV_CONF_PATH_SIZE];
    if (!full_name(path, name)) {
        printf("%s: %s: path too long\n", command, path);
        return;
    }
    json_auto_t *values = what & TREE_VALUES ? _rv_confapi_getconfig_fullpath(name, 0) : nullptr;
    json_auto_t *schema = what & TREE_SCHEMA ? fetch_schema(name) : nullptr;
    const json_t *node = walk_tree(schema, name);
    const json_t *data = what & TREE_VALUES ? walk_tree(values, name) : node;
    if (data) draw_tree(data, node, name);
}

}  // namespace

int process_catree(const char *name, json_t *args) {
    if (json_array_size(args) == 0) show_tree(name, ".", TREE_VALUES | TREE_SCHEMA);
    size_t i;
    json_t *path;
    json_array_foreach(args, i, path) show_tree(name, json_string_value(path), TREE_VALUES | TREE_SCHEMA);
    return 0;
}

int process_tree(const char *name, json_t *args) {
    show_tree(name, json_string_value(json_array_get(args, 0)), TREE_SCHEMA);
    return 0;
}

int process_select(const char *name, json_t *args) {
    if (json_array_size(args) == 0) {
        printf("syntax: %s <selector>\n", name);
        return -1;
    }
    char *text = rv_str_json_join(args, " ");
    json_auto_t *selector = json_string(text);
    free(text);
    json_auto_t *schema = fetch_schema(json_string_value(selector));
    json_auto_t *selection = rv_confapi_select_new(json_string_value(selector), 0, 0);
    if (!selection) {
        print_reply_status(rv_confapi_get_last_message());
        return -1;
    }
    const char *path;
    json_t *values;
    json_object_foreach(selection, path, values) draw_tree(values, walk_tree(schema, path), path);
    return 0;
}
