// What waits is the difference between the cache and what the daemon has announced: for each cached object, the
// instances that it has to get and those that it has to lose.
#include "ravc/cache/instance_events.h"

#include <string>

#include <stdio.h>
#include <string.h>

#include "ravc/cache/level_names.h"
#include "ravc/cache/node_cache.h"
#include "ravc/daemon/request.h"
#include "rv/branch.h"
#include "rv/tr.h"

namespace {

enum { WAITING_MAX = 1000 };

// By object ("Device.IP.Interface.") the numbers of instances: true to add, false to delete. Null: none.
json_t *waiting;
size_t waiting_count;

bool is_fetched(const json_t *object) {
    return json_is_true(json_object_get(object, "#fetched"));
}

// The object's level is asked for anew when it is needed next.
void mark_stale(const char *path) {
    json_t *object = rv_conf_find_branch(node_cache_root, path);
    json_object_del(object, "#fetched");
}

void mark_all_stale() {
    const char *path;
    json_t *numbers;
    json_object_foreach(waiting, path, numbers) mark_stale(path);
    instance_events_clear();
}

void remember(const char *path, const char *number, bool is_added) {
    if (!waiting) waiting = json_object();
    json_t *numbers = json_object_get(waiting, path);
    if (!numbers) json_object_set_new(waiting, path, numbers = json_object());
    if (!json_object_get(numbers, number)) waiting_count++;
    json_object_set_new(numbers, number, json_boolean(is_added));
    if (waiting_count > WAITING_MAX) mark_all_stale();
}

void forget(const char *path, const char *number) {
    json_t *numbers = json_object_get(waiting, path);
    if (json_object_del(numbers, number) == 0) waiting_count--;
    if (json_object_size(numbers) == 0) json_object_del(waiting, path);
}

// The full names of all instances to be added: a new array.
json_t *names_to_add(const json_t *changes) {
    json_t *names = json_array();
    const char *path, *number;
    json_t *numbers, *is_added;
    json_object_foreach(const_cast<json_t *>(changes), path, numbers) {
        const json_t *object = rv_conf_find_branch(node_cache_root, path);
        json_object_foreach(numbers, number, is_added) if (json_is_true(is_added) && is_fetched(object) &&
                                                           !json_object_get(object, number))
            json_array_append_new(names, json_sprintf("%s%s", path, number));
    }
    return names;
}

// The tree of the new instances' attributes, from the root: a new reference. Taken: names.
json_t *fetch_instances(json_t *names) {
    if (json_array_size(names) == 0) {
        json_decref(names);
        return nullptr;
    }
    message_auto_t *msg = rv_jrpcmsg_cmd_get_parameter_attributes_new(names, -1);
    send_request(msg, NO_TIMEOUT);
    return rv_tr_names_to_config(json_object_get(rv_jrpcmsg_get_result_json(msg), "ParameterList"), ".");
}

// Puts an instance into object. Returns false when it did not come.
bool add_instance(json_t *object, const char *number, json_t *instance) {
    if (json_object_get(object, number)) return true;
    if (json_object_size(instance) == 0) return false;
    json_object_set_new(instance, "#fetched", json_true());
    json_object_set(object, number, instance);
    return true;
}

void apply_to(const char *path, json_t *numbers, json_t *fetched) {
    json_t *object = rv_conf_find_branch(node_cache_root, path);
    if (!is_fetched(object)) return;
    json_t *instances = rv_conf_find_branch(fetched, path);
    node_cache_absorb_info(instances, object);
    bool complete = true;
    level_names_forget(object);
    const char *number;
    json_t *is_added;
    json_object_foreach(numbers, number, is_added) {
        if (!json_is_true(is_added)) {
            json_object_del(object, number);
        } else if (!add_instance(object, number, json_object_get(instances, number))) {
            complete = false;
        }
    }
    if (!complete) mark_stale(path);
}

// The object that an event is about, closed with ".": the instance's own path names it by all but its last element.
std::string object_of(const char *path, bool is_added) {
    std::string object(path);
    if (!object.ends_with('.')) object += '.';
    if (!is_added && rv_conf_strip_path_adv(object.data(), 0, 1) < 0) return "";
    return object.c_str();  // up to where it was cut
}

}  // namespace

void instance_events_note(json_t *params) {
    const char *action, *path;
    int number;
    if (json_unpack(params, "{s:s, s:s, s:i}", "Action", &action, "Path", &path, "InstanceNumber", &number) < 0) return;
    if (number < 0) return;
    const bool is_added = strcmp(action, "Add") == 0;
    const std::string object = object_of(path, is_added);
    const json_t *node = rv_conf_find_branch(node_cache_root, object.c_str());
    if (!is_fetched(node)) return;  // it comes up to date when it is fetched
    const std::string key = std::to_string(number);
    if (is_added == (json_object_get(node, key.c_str()) != nullptr)) {
        forget(object.c_str(), key.c_str());
    } else {
        remember(object.c_str(), key.c_str(), is_added);
    }
}

void instance_events_apply() {
    if (!waiting) return;
    json_auto_t *changes = waiting;
    waiting = nullptr;
    waiting_count = 0;
    json_auto_t *fetched = fetch_instances(names_to_add(changes));
    const char *path;
    json_t *numbers;
    json_object_foreach(changes, path, numbers) apply_to(path, numbers, fetched);
}

void instance_events_clear() {
    json_decref(waiting);
    waiting = nullptr;
    waiting_count = 0;
}
