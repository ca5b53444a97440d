// The path record and its resolution.
#include "ravc/cdpath.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "ravc/cache/level_names.h"
#include "ravc/cache/node_cache.h"
#include "rv/log.h"
#include "rv/tr.h"

cdpath current_path;
cdpath previous_path;

namespace {

enum { LOOKED_THROUGH = 64 };  // children at most; names of larger levels are looked up

void set_node(cdpath *p, json_t *node) {
    json_t *old = p->held;
    p->node = p->held = json_incref(node);
    json_decref(old);
}

void enter_state_of_node(cdpath *p) {
    p->multi = rv_tr_dm_node_is_multi(p->node);
    p->ordered = rv_tr_dm_node_is_ordered(p->node);
}

void step_up(cdpath *p) {
    char *dot = strrchr(p->path, '.');
    *(dot ? dot : p->path) = '\0';
    if (json_array_size(p->parents) > 0) {
        set_node(p, json_array_get(p->parents, 0));
        json_array_remove(p->parents, 0);
    }
    enter_state_of_node(p);
}

int step_up_each(cdpath *p, const char *token) {
    for (; *token; token++) {
        if (*token != '<') return -1;
        step_up(p);
    }
    return 0;
}

int step_to_previous(cdpath *p) {
    if (!p->quiet) printf(":%s\n", previous_path.path);
    const bool owned = p->owned, quiet = p->quiet;
    p->owned = false;  // the record goes on living
    cdpath_release(p);
    cdpath_copy(p, &previous_path);
    p->owned = owned;
    p->quiet = quiet;
    return 0;
}

int step_into(cdpath *p, json_t *child, const char *name) {
    return cdpath_enter(p, child, name, rv_tr_dm_node_is_multi(child), rv_tr_dm_node_is_ordered(child));
}

// A missing template is entered as a null node; no step leads on from there but "-".
int step_into_template(cdpath *p, const char *token) {
    if (token[1]) return -1;
    json_t *child = cdpath_child(p, "#template");
    p->wildcard = true;
    return step_into(p, child, "#template");
}

// The first key in the cache's order that is name in any case, else name.
const char *first_spelling(json_t *node, const char *name) {
    const char *key;
    json_t *value;
    json_object_foreach(node, key, value) if (strcasecmp(key, name) == 0) return key;
    return name;
}

// The spelling that the cache knows for a name in any case, else the name as typed.
const char *known_spelling(json_t *node, const char *name) {
    if (rv_tr_is_instance_number(name)) return name;  // has no other
    if (json_object_size(node) <= LOOKED_THROUGH) return first_spelling(node, name);
    const auto names = level_names(node, name);
    const auto is_spelling = [&](size_t i) { return i < names.size() && strcasecmp(names[i].name, name) == 0; };
    if (is_spelling(1)) return first_spelling(node, name);
    return is_spelling(0) ? names[0].name : name;
}

// The spelling is chosen before the level is fetched, so a level seen for the first time is matched exactly: intended.
int step_into_child(cdpath *p, const char *token) {
    char name[CDPATH_MAX + 1];  // a copy: fetching replaces the cache's keys
    if (snprintf(name, sizeof name, "%s", known_spelling(p->node, token)) > CDPATH_MAX) return -1;
    json_t *child = cdpath_child(p, name);
    return child ? step_into(p, child, name) : -1;
}

int step(cdpath *p, const char *token) {
    if (!p->node && *token != '-') return -1;
    switch (*token) {
        case '#':
            return p->allow_input && strcmp(token, "#input") == 0 ? step_into_child(p, token) : -1;
        case '<':
            return step_up_each(p, token);
        case '-':
            return step_to_previous(p);
        case '*':
            return step_into_template(p, token);
        default:
            return step_into_child(p, token);
    }
}

}  // namespace

cdpath *cdpath_copy(cdpath *dst, const cdpath *src) {
    const bool owned = !dst;
    if (!dst) dst = static_cast<cdpath *>(calloc(1, sizeof *dst));
    if (!dst) __rv_log_assert_fmt("xcalloc failed at func %s:%zu (%s)", __func__, size_t{__LINE__}, __FILE__);
    memset(dst, 0, sizeof *dst);
    dst->owned = owned;
    dst->node = dst->held = json_incref(src->node);
    dst->parents = json_copy(src->parents);
    dst->multi = src->multi;
    dst->ordered = src->ordered;
    dst->allow_input = src->allow_input;
    memcpy(dst->path, src->path, sizeof dst->path);
    return dst;
}

void cdpath_reset(cdpath *p) {
    if (!p->parents) p->parents = json_array();
    json_array_clear(p->parents);
    p->path[0] = '\0';
    p->multi = p->ordered = p->allow_input = false;
    set_node(p, node_cache_root);
}

void cdpath_release(cdpath *p) {
    json_decref(p->parents);
    json_decref(p->held);
    p->parents = p->held = p->node = nullptr;
    if (p->owned) free(p);
}

int cdpath_enter(cdpath *p, json_t *child, const char *name, bool multi, bool ordered) {
    if (!p->node) return -1;
    const size_t length = p->node == node_cache_root ? 0 : strlen(p->path);
    if (length + (length > 0) + strlen(name) > CDPATH_MAX) return -1;
    snprintf(p->path + length, sizeof p->path - length, "%s%s", length > 0 ? "." : "", name);
    p->multi = multi;
    p->ordered = ordered;
    json_array_insert(p->parents, 0, p->node);
    set_node(p, child);
    return 0;
}

int cdpath_resolve(cdpath *p, const char *text) {
    if (!p) return -1;
    if (!text) return -2;
    if (*text == ':') {
        text++;
        cdpath_reset(p);
    }
    char *copy = strdup(text);
    char *rest = nullptr;
    int result = 0;
    for (const char *token = strtok_r(copy, ".", &rest); token && result == 0; token = strtok_r(nullptr, ".", &rest))
        result = step(p, token);
    free(copy);
    return result;
}

int cdpath_locate(cdpath *p, const char *path) {
    char names[CDPATH_MAX + 1];
    if (snprintf(names, sizeof names, "%s", path) > CDPATH_MAX) return -1;
    cdpath found = {};
    cdpath_reset(&found);
    char *rest = nullptr;
    int result = 0;
    for (const char *name = strtok_r(names, ".", &rest); name && result == 0; name = strtok_r(nullptr, ".", &rest)) {
        json_t *child = cdpath_child(&found, name);
        result = child ? step_into(&found, child, name) : -1;
    }
    // Put in place here, with no wait between: an abandoned walk leaves p as it was.
    if (result == 0) {
        const bool owned = p->owned;
        p->owned = false;  // the record goes on living
        cdpath_release(p);
        *p = found;
        p->owned = owned;
    } else {
        cdpath_release(&found);
    }
    return result;
}
