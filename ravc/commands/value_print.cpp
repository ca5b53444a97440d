// Values as text: strings in quotes, integers in their base, everything else as JSON.
#include "ravc/commands/value_print.h"

#include <stdint.h>
#include <stdio.h>

#include "ravc/shell/colors.h"
#include "rv/tr.h"

namespace {

// The digits begin at the 1-based position of the lowest set bit, so that 5 prints as "0b01": this is the defined
// format. Bit 64, where a value with the highest bit alone begins, reads as 0.
void print_binary(uint64_t value) {
    fputs("0b", stdout);
    for (int bit = value ? __builtin_ctzll(value) + 1 : 0; bit >= 0; bit--)
        putchar(bit < 64 && (value >> bit & 1) ? '1' : '0');
}

void print_integer(json_int_t value, int base) {
    switch (base) {
        case 2:
            print_binary(static_cast<uint64_t>(value));
            break;
        case 8:
            printf("0%llo", static_cast<unsigned long long>(value));
            break;
        case 16:
            printf("0x%llx", static_cast<unsigned long long>(value));
            break;
        default:
            printf("%lld", value);
    }
}

}  // namespace

void print_value(const json_t *value, const json_t *node) {
    if (!value) return;
    switch (json_typeof(value)) {
        case JSON_OBJECT:
            break;
        case JSON_STRING:
            putchar('\'');
            fwrite(json_string_value(value), 1, json_string_length(value), stdout);
            putchar('\'');
            break;
        case JSON_INTEGER:
            print_integer(json_integer_value(value), rv_tr_dm_node_get_base(node));
            break;
        case JSON_TRUE:
            fputs("true", stdout);
            break;
        case JSON_FALSE:
            fputs("false", stdout);
            break;
        case JSON_ARRAY:
        case JSON_REAL:
        case JSON_NULL:
            json_dumpf(value, stdout, JSON_ENCODE_ANY);
            break;
    }
}

void print_value_colored(const json_t *value, const json_t *node) {
    if (!value || json_is_object(value)) return;
    fputs(" = ", stdout);
    rv_colors_set_hsv2(color_of(COLOR_AUTOCOMPLETE));
    print_value(value, node);
    rv_colors_reset();
}
