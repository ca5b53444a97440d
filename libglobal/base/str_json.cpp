// JSON values as text.
#include "rv/str_json.h"

#include <string>

#include <string.h>

char *rv_str_json_join(const json_t *array, const char *separator) {
    std::string text;
    size_t i;
    json_t *element;
    json_array_foreach(array, i, element) {
        if (i > 0) text += separator;
        text.append(json_is_string(element) ? json_string_value(element) : "");
    }
    return strdup(text.c_str());
}
