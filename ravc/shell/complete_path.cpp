// Candidates from the data model: children of a node, and values that a parameter takes.
#include <stdlib.h>
#include <string.h>

#include "ravc/cache/instance_events.h"
#include "ravc/cache/node_cache.h"
#include "ravc/commands/list_children.h"
#include "ravc/commands/target.h"
#include "ravc/shell/complete.h"
#include "rv/rl.h"
#include "rv/tr.h"

namespace {

// What is being completed, and where the candidates go.
struct Offer {
    cdpath *place;  // where the typed word starts; moved along
    json_t *out;
    int flags;
    size_t enough;
};

// A copy of start for a word that is still being typed.
cdpath place_at(const cdpath *start) {
    cdpath place;
    cdpath_copy(&place, start);
    place.quiet = true;
    return place;
}

// Resolves the first length bytes of text on place. Returns 0, or -1 when they lead nowhere.
int resolve_start(cdpath *place, const char *text, size_t length) {
    json_auto_t *start = json_stringn(text, length);
    return start ? target_resolve(place, json_string_value(start)) : -1;
}

void offer_children(const Offer &offer, const char *prefix, int flags) {
    json_auto_t *list = list_children(offer.place, prefix, flags, offer.enough);
    json_array_extend(offer.out, list);
    rv_qsort_json(offer.out, 1);
}

void offer_paths(const Offer &offer, const char *word) {
    const int flags = offer.flags | LIST_DOTS | LIST_FILTER;
    const char *dot = strrchr(word, '.');
    if (dot) {
        if (resolve_start(offer.place, word, static_cast<size_t>(dot - word)) == 0)
            offer_children(offer, dot + 1, flags);
    } else if (*word == ':') {
        cdpath_reset(offer.place);
        offer_children(offer, word + 1, flags | LIST_ABSOLUTE);
    } else {
        offer_children(offer, word, flags);
    }
}

// Returns false once there are enough.
bool offer_value(const Offer &offer, const char *value, const char *typed) {
    if (value && strncmp(value, typed, strlen(typed)) == 0) json_array_append_new(offer.out, json_string(value));
    return json_array_size(offer.out) < offer.enough;
}

void offer_enumeration(const Offer &offer, const json_t *values, const char *typed) {
    size_t i;
    json_t *value;
    json_array_foreach(values, i, value) {
        char *text = json_is_string(value) ? strdup(json_string_value(value))
                                           : json_dumps(value, JSON_COMPACT | JSON_ENCODE_ANY);
        const bool go_on = offer_value(offer, text, typed);
        free(text);
        if (!go_on) return;
    }
}

// word: "<path>=<typed value>", sign its last "=".
void offer_values(const Offer &offer, const char *word, const char *sign) {
    if (resolve_start(offer.place, word, static_cast<size_t>(sign - word)) < 0) return;
    const char *typed = sign + 1;
    const json_t *attributes = rv_tr_dm_node_attr_get(offer.place->node);
    const char *access = json_string_value(json_object_get(attributes, "access"));
    if (access && strcmp(access, "readOnly") == 0) return;
    const int type = rv_tr_dm_node_type_get(offer.place->node);
    if (type == RV_TR_BOOLEAN || type == RV_TR_FLAG) {
        if (offer_value(offer, "true", typed)) offer_value(offer, "false", typed);
    } else if (type == RV_TR_PATH_REF) {
        cdpath_reset(offer.place);
        offer_paths(offer, typed);
    } else if (rv_tr_dm_type_is_parameter(type)) {
        offer_enumeration(offer, json_object_get(attributes, "enum"), typed);
    }
}

void offer_from(const cdpath *start, const char *word, json_t *out, int flags, size_t enough) {
    target_auto_t place = place_at(start);
    if (!place.node) return;
    const Offer offer = {&place, out, flags, enough};
    const char *sign = word ? strrchr(word, '=') : nullptr;
    if (sign) {
        offer_values(offer, word, sign);
    } else if (word) {
        offer_paths(offer, word);
    } else {
        offer_children(offer, nullptr, flags | LIST_DOTS | LIST_FILTER);
    }
}

}  // namespace

void complete_path(const char *word, json_t *out, int flags, size_t enough) {
    instance_events_apply();
    offer_from(&current_path, word, out, flags, enough);
}

void complete_input(const char *word, json_t *out, const char *method, int flags, size_t enough) {
    instance_events_apply();
    target_auto_t input = place_at(&current_path);
    if (!input.node || target_resolve(&input, method) < 0) return;
    input.allow_input = true;  // a method's path may have come by "-" or ":", which take the permission away
    if (target_resolve(&input, "#input") == 0) offer_from(&input, word, out, flags, enough);
}

json_t *device_modes() {
    target_auto_t target = place_at(&current_path);
    if (!target.node || target_resolve(&target, ":Device.DeviceInfo.DeviceMode") < 0) return nullptr;
    return json_copy(json_object_get(rv_tr_dm_node_attr_get(target.node), "enum"));
}
