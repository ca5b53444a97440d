// attr, info: a node's attributes as a sheet.
#include <stdio.h>

#include "ravc/cache/node_cache.h"
#include "ravc/commands/attr_sheet.h"
#include "ravc/commands/handlers.h"
#include "ravc/commands/target.h"
#include "ravc/daemon/request.h"
#include "rv/tr.h"

namespace {

enum { BY_NAME_TIMEOUT_MS = 1000, BY_METHOD_TIMEOUT_MS = 5000 };

// What the cache knows, where the daemon gave nothing: a new reference, or null.
json_t *denied_attributes(const json_t *node) {
    json_t *attributes = json_deep_copy(rv_tr_dm_node_attr_get(node));
    json_object_set_new(attributes, "access", json_string("Denied"));
    return attributes;
}

int show_root() {
    puts("Canonical path:     :");
    puts("Type:               config root");
    puts("Const:              true");
    return -1;  // the daemon can't describe the root: intended
}

int attr_one(const char *command, const char *path) {
    target_auto_t target = target_here();
    if (target_resolve(&target, path) < 0) {
        printf("%s: %s: no such node\n", command, path);
        return -1;
    }
    const bool as_typed = path && !target.node;
    if (!as_typed && target.node == node_cache_root) return show_root();
    const TargetName name = target_object_name(&target);
    json_auto_t *attributes = fetch_node_attributes(as_typed                       ? path
                                                    : target_is_parameter(&target) ? target.path
                                                                                   : name.text,
                                                    BY_NAME_TIMEOUT_MS);
    if (!attributes) attributes = denied_attributes(target.node);
    print_attr_sheet(as_typed ? path : target.path, target.node, attributes);
    return 0;
}

void print_element(const json_t *element) {
    const char *name = "";
    json_t *attributes = nullptr;
    json_unpack(const_cast<json_t *>(element), "{s : s, s : o}", "Name", &name, "Attributes", &attributes);
    json_auto_t *node = json_pack("{s:O}", "#attr", attributes);
    print_attr_sheet(name, node, attributes);
    putchar('\n');
}

}  // namespace

int process_attr(const char *name, json_t *args) {
    if (json_array_size(args) < 2) return attr_one(name, json_string_value(json_array_get(args, 0)));
    size_t i;
    json_t *path;
    json_array_foreach(args, i, path) {
        printf("%s:\n", json_string_value(path));
        attr_one(name, json_string_value(path));
        putchar('\n');
    }
    return 0;
}

int process_attr_by_method(const char *name, json_t *args) {
    message_auto_t *msg = rv_jrpcmsg_cmd_get_parameter_attributes_new(json_incref(args), 0);
    send_request(msg, BY_METHOD_TIMEOUT_MS);
    if (rv_jrpcmsg_typeof(msg) != RV_JRPCMSG_RESULT) {
        printf("%s: ERROR\n", name);
        return -1;
    }
    size_t i;
    json_t *element;
    json_array_foreach(json_object_get(rv_jrpcmsg_get_result_json(msg), "ParameterList"), i, element)
        print_element(element);
    return 0;
}
