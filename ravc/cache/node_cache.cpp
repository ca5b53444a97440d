// Fetching levels, and finding children in them.
#include "ravc/cache/node_cache.h"

#include <algorithm>
#include <initializer_list>

#include <stdio.h>
#include <string.h>

#include "ravc/cache/level_names.h"
#include "ravc/daemon/request.h"
#include "rv/tr.h"

json_t *node_cache_root;

namespace {

// The name that a path is asked for by: closed with ".", "." alone at the root.
struct RequestPath {
    char text[CDPATH_MAX + 2];
};

RequestPath request_path(const cdpath *p) {
    RequestPath path;
    snprintf(path.text, sizeof path.text, "%s%s", p->path, rv_tr_path_is_full(p->path) || !p->path[0] ? "." : "");
    return path;
}

// Sends msg. Returns false when a signal has ended the wait for its reply.
bool send_to_end(rv_jrpcmsg *msg) {
    send_request(msg, NO_TIMEOUT);
    return rv_jrpcmsg_get_error_code(msg) != RV_SOCKET_ERR_NOTHING;
}

json_t *parameter_list(const rv_jrpcmsg *reply) {
    return json_object_get(rv_jrpcmsg_get_result_json(reply), "ParameterList");
}

// The tree of the attributes of names (taken), below prefix: a new reference, null when a signal has ended the wait.
json_t *fetch_attributes(json_t *names, int depth, const char *prefix) {
    message_auto_t *msg = rv_jrpcmsg_cmd_get_parameter_attributes_new(names, depth);
    if (depth != 1) rv_jrpcmsg_add_parameter_json_new(msg, "IgnoreAccessError", json_true());
    return send_to_end(msg) ? rv_tr_names_to_config(parameter_list(msg), prefix) : nullptr;
}

// The full names of a multi-instance object's instances: a new array, null when a signal has ended the wait.
json_t *fetch_instance_names(const char *path) {
    message_auto_t *msg = rv_jrpcmsg_cmd_get_parameter_names(path, 1);
    if (!send_to_end(msg)) return nullptr;
    json_t *names = json_array();
    size_t i;
    json_t *element;
    json_array_foreach(parameter_list(msg), i, element) {
        json_t *name = json_object_get(element, "Name");
        if (!name) break;
        json_array_append(names, name);
    }
    return names;
}

// Adds the instances of the multi-instance object at path to level. Returns false when a signal has ended the wait.
bool add_instances(json_t *level, const char *path) {
    json_t *names = fetch_instance_names(path);
    if (!names) return false;
    json_auto_t *instances = fetch_attributes(names, -1, path);
    if (!instances) return false;
    node_cache_absorb_info(instances, level);
    const char *number;
    json_t *instance;
    json_object_foreach(instances, number, instance) {
        if (*number == '#') continue;
        json_object_set_new(instance, "#fetched", json_true());
        json_object_set(level, number, instance);
    }
    return true;
}

// Whether node has as many of keys as it has members.
bool has_only(const json_t *node, std::initializer_list<const char *> keys) {
    const auto is_member = [node](const char *key) { return json_object_get(node, key) != nullptr; };
    return static_cast<size_t>(std::count_if(keys.begin(), keys.end(), is_member)) == json_object_size(node);
}

bool is_known(const cdpath *p) {
    return !has_only(p->node, {"#attr"}) && !node_cache_failed(p);
}

// Makes object's attributes the very object that model has, where the two are equal.
void share_attributes(json_t *object, const json_t *model) {
    json_t *attributes = json_object_get(object, "#attr");
    json_t *same = json_object_get(model, "#attr");
    if (same && json_equal(attributes, same)) json_object_set(object, "#attr", same);
}

}  // namespace

void node_cache_absorb_info(json_t *object, const json_t *model) {
    if (json_t *info = json_object_get(object, "#info")) {
        json_t *attributes = json_object_get(info, "Attributes");
        json_object_set_new(object, "#attr", attributes ? json_incref(attributes) : json_null());
        json_object_del(object, "#info");
        share_attributes(object, model);
    }
    const json_t *instance_model = json_object_get(model, "#template");
    const char *key;
    json_t *child;
    json_object_foreach(object, key, child) {
        if (!json_is_object(child) || strcmp(key, "#attr") == 0) continue;
        const bool is_instance = rv_tr_is_instance_number(key);
        node_cache_absorb_info(child, is_instance ? instance_model : json_object_get(model, key));
        if (is_instance && has_only(instance_model, {"#attr"})) instance_model = child;
    }
}

int node_cache_fetch(cdpath *p) {
    const RequestPath path = request_path(p);
    json_auto_t *level = fetch_attributes(json_pack("[s]", path.text), 1, path.text);
    if (!level) return 0;
    node_cache_absorb_info(level, nullptr);
    json_object_set_new(level, "#fetched", json_true());
    if (p->multi && !add_instances(level, path.text)) return 0;
    if (p->ordered) json_object_set_new(level, "order", json_pack("{s:b}", "#fetched", 1));
    if (p->node && p->node == node_cache_root) json_object_del(level, "DataModelVersion");
    if (!p->node) p->node = p->held = json_object();
    // Built aside and put in place here, with no wait between: an abandoned fetch leaves the node as it was.
    level_names_forget(p->node);
    json_object_clear(p->node);
    json_object_update(p->node, level);
    return 0;
}

json_t *cdpath_child(cdpath *p, const char *name) {
    if (!p->node) return nullptr;
    const bool is_number = rv_tr_is_instance_number(name);
    const bool is_in_doubt = !p->quiet || !json_is_true(json_object_get(p->node, "#fetched"));
    const bool is_looked_for = p->multi && is_number && is_in_doubt && !json_object_get(p->node, name);
    if (!is_known(p) || is_looked_for) node_cache_fetch(p);
    json_t *child = json_object_get(p->node, name);
    return !child && is_number ? json_object_get(p->node, "#template") : child;
}

bool node_cache_is_parameter(const char *path, const json_t *node) {
    if (rv_tr_dm_node_attr_get(node)) return rv_tr_dm_type_is_parameter(rv_tr_dm_node_type_get(node));
    const char *dot = strrchr(path, '.');
    return strcmp(dot ? dot + 1 : path, "order") == 0;
}

bool node_cache_failed(const cdpath *p) {
    return json_object_get(p->node, "#fetched") && has_only(p->node, {"#fetched", "order"}) &&
           !node_cache_is_parameter(p->path, p->node);
}

void node_cache_rebuild() {
    char previous[CDPATH_MAX + 1];
    memcpy(previous, previous_path.path, sizeof previous);
    node_cache_release();
    node_cache_root = json_object();
    // Both are in the new tree before the first wait: an abandoned rebuild leaves neither in the old one.
    cdpath_reset(&current_path);
    cdpath_reset(&previous_path);
    node_cache_fetch(&current_path);
    cdpath_locate(&previous_path, previous);
}

void node_cache_release() {
    level_names_forget(nullptr);
    json_decref(node_cache_root);
    node_cache_root = nullptr;
}
