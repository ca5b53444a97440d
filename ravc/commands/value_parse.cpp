// Typed values from text.
#include "ravc/commands/value_parse.h"

#include <string.h>
#include <strings.h>

#include "rv/string.h"

namespace {

json_t *parse_integer(const char *text) {
    int32_t value;
    if (rv_string_strntol(text, strlen(text), 0, &value) == 0) return json_integer(value);
    uint32_t large;
    if (rv_string_strntoul(text, strlen(text), 0, &large) == 0) return json_integer(large);
    return nullptr;
}

json_t *parse_real(const char *text) {
    double value;
    return rv_string_strntod(text, strlen(text), &value) == 0 ? json_real(value) : nullptr;
}

json_t *parse_boolean(const char *text) {
    if (strcasecmp(text, "true") == 0) return json_true();
    return strcasecmp(text, "false") == 0 ? json_false() : nullptr;
}

}  // namespace

json_t *parse_typed_value(const char *text, json_type type) {
    switch (type) {
        case JSON_STRING:
            return json_string(text);
        case JSON_INTEGER:
            return parse_integer(text);
        case JSON_REAL:
            return parse_real(text);
        case JSON_TRUE:
        case JSON_FALSE:
            return parse_boolean(text);
        case JSON_OBJECT:
        case JSON_ARRAY:
        case JSON_NULL:
            break;
    }
    return nullptr;
}
