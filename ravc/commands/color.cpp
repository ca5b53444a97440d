// color: shows and changes the colour scheme.
#include <algorithm>

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "ravc/commands/handlers.h"
#include "ravc/shell/colors.h"
#include "rv/string.h"

namespace {

// By colour entry.
constexpr const char *type_names[COLOR_ENTRIES] = {"root-prompt", "prompt", "autocomplete", "hint"};

// The entry that the first word names, or COLOR_ENTRIES.
size_t entry_of(json_t *args) {
    const char *type = json_string_value(json_array_get(args, 0));
    if (!type) return COLOR_ENTRIES;
    const auto is_it = [type](const char *name) { return strcmp(name, type) == 0; };
    return static_cast<size_t>(std::find_if(type_names, type_names + COLOR_ENTRIES, is_it) - type_names);
}

int parse_unsigned(const char *text, uint32_t *value) {
    return rv_string_strntoul(text, strlen(text), 10, value);
}

// Reads the word at index into *part, where there is one that is not "*"; a number too large for *part is cut to its
// width: intended. Returns 0, or -1 when it is no number.
template <typename Part>
int take_part(json_t *args, size_t index, Part *part) {
    const char *text = json_string_value(json_array_get(args, index));
    if (!text || strcmp(text, "*") == 0) return 0;
    uint32_t value = 0;
    if (parse_unsigned(text, &value) < 0) return -1;
    *part = static_cast<Part>(value);
    return 0;
}

int take_color(json_t *args, rv_hsv *color) {
    if (take_part(args, 1, &color->hue) < 0) return -1;
    if (take_part(args, 2, &color->saturation) < 0) return -1;
    return take_part(args, 3, &color->value);
}

void show(rv_hsv color) {
    rv_colors_set_hsv2(color);
    printf("%d %d %d\n", color.hue, color.saturation, color.value);
    rv_colors_reset();
}

}  // namespace

int process_color(const char *name, json_t *args) {
    rv_hsv table[COLOR_ENTRIES];
    std::copy_n(color_table(), COLOR_ENTRIES, table);
    const size_t entry = entry_of(args);
    if (entry == COLOR_ENTRIES || take_color(args, &table[entry]) < 0) {
        printf("syntax: %s <prompt|root-prompt|autocomplete|hint> [<hue>|* <saturation>|* <value>|*]\n", name);
        return -1;
    }
    colors_apply(table);
    show(table[entry]);
    return 0;
}
