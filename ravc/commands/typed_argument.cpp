// "<path>=<value>" split, and checked against the schema.
#include "ravc/commands/typed_argument.h"

#include <stdio.h>
#include <string.h>

#include "ravc/commands/target.h"
#include "ravc/commands/value_parse.h"
#include "rv/tr.h"

json_t *split_argument(const char *command, const char *argument, const char **text) {
    const char *sign = strchr(argument, '=');
    if (!sign) {
        printf("%s: %s: no value.\n", command, argument);
        return nullptr;
    }
    json_t *path = json_stringn(argument, static_cast<size_t>(sign - argument));
    printf("key = %s, value = %s\n", json_string_value(path), sign + 1);
    *text = sign + 1;
    return path;
}

json_t *typed_value_at(const char *command, cdpath *place, const char *path, const char *text) {
    if (target_resolve(place, path) < 0) {
        printf("%s: %s: no such node.\n", command, path);
        return nullptr;
    }
    const json_t *usual = rv_tr_dm_node_default_get(place->node);
    if (!target_is_parameter(place) || !usual) {
        printf("%s: %s: is an object or doesn't have default value.\n", command, path);
        return nullptr;
    }
    json_t *value = parse_typed_value(text, json_typeof(usual));
    if (!value) printf("%s: %s: invalid value %s.\n", command, path, text);
    return value;
}
