// The attribute sheet: a table of its lines, in their order.
#include "ravc/commands/attr_sheet.h"

#include <iterator>

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "ravc/commands/value_print.h"

namespace {

// One line, or one list of lines, of the sheet: how it is printed, its label, the member it shows.
struct SheetLine {
    void (*print)(const char *label, const json_t *member, const json_t *node);
    const char *label;
    const char *key;
};

// The names of relation verdicts, and right behind them the first name of a base: verdict 4 reads it. Intended.
constexpr const char *names[] = {"deny",    "cascade", "clear",   "continue", "binary",  "decimal", "decimal",
                                 "decimal", "decimal", "decimal", "octal",    "decimal", "decimal", "decimal",
                                 "decimal", "decimal", "decimal", "decimal",  "hex"};
constexpr const char *const *base_names = names + 4;  // by base minus 2
constexpr const char *action_names[] = {"get", "set", "add", "del", "execute", "redraw"};

void print_labelled(const char *label, const json_t *value, const json_t *node) {
    printf("%s%-*s", label, 20 - static_cast<int>(strlen(label)), ":");
    print_value(value, node);
    putchar('\n');
}

void print_list(const char *label, const json_t *list, const json_t *node) {
    if (json_array_size(list) == 0) return;
    printf("%s: \n", label);
    size_t i;
    json_t *element;
    json_array_foreach(list, i, element) {
        fputs("  ", stdout);
        print_value(element, node);
        putchar('\n');
    }
}

void print_base(const char *, const json_t *base, const json_t *) {
    const json_int_t number = json_integer_value(base);
    printf("Base:               %s\n", number >= 2 && number <= 16 ? base_names[number - 2] : "decimal");
}

// Eight blanks behind every action's name, so that the handlers do not line up: intended.
void print_handlers(const char *, const json_t *list, const json_t *) {
    size_t i;
    json_t *element;
    json_array_foreach(list, i, element) {
        int action = -1;
        const char *handler;
        if (json_unpack(element, "{s:i, s:s}", "action", &action, "handler", &handler) < 0) continue;
        if (static_cast<uint32_t>(action) < std::size(action_names))
            printf("Handler %s:        %s\n", action_names[action], handler);
    }
}

void print_relations(const char *, const json_t *list, const json_t *) {
    if (json_array_size(list) == 0) return;
    puts("Relations: ");
    size_t i;
    json_t *element;
    json_array_foreach(list, i, element) {
        const auto verdict = static_cast<uint32_t>(json_integer_value(json_object_get(element, "verdict")));
        const char *match = json_string_value(json_object_get(element, "match"));
        printf("  %s before '%s' delete\n", verdict < 5 ? names[verdict] : "unknown", match ? match : "");
    }
}

constexpr SheetLine lines[] = {
    {print_base, "Base", "base"},
    {print_labelled, "Const", "const"},
    {print_labelled, "Default", "default"},
    {print_list, "Enum", "enum"},
    {print_labelled, "Ordered", "ordered"},
    {print_labelled, "Runtime", "runtime"},
    {print_labelled, "Unique", "unique"},
    {print_labelled, "Multi-instance", "multi"},
    {print_labelled, "Foreign key", "foreign_key"},
    {print_labelled, "GET before SET", "get_before_set"},
    {print_labelled, "Ignore SET handler", "ignore_handler_set"},
    {print_labelled, "Async", "async"},
    {print_labelled, "Minimal length", "minLength"},
    {print_labelled, "Maximum length", "maxLength"},
    {print_labelled, "Minimal inclusive", "minInclusive"},
    {print_labelled, "Maximum inclusive", "maxInclusive"},
    {print_labelled, "Minimal count", "minCount"},
    {print_labelled, "Maximum count", "maxCount"},
    {print_handlers, "Handler", "handlers"},
    {print_labelled, "OFF value", "offValue"},
    {print_labelled, "Regex", "regex"},
    {print_list, "Mappings", "mappings"},
    {print_relations, "Relations", "relations"},
};

}  // namespace

void print_attr_sheet(const char *path, const json_t *node, json_t *attributes) {
    const char *type = "";
    json_error_t error;
    // The type is the first member read: without it nothing else is.
    const bool readable = json_unpack_ex(attributes, &error, 0, "{s : s}", "type", &type) == 0;
    if (!readable) printf("attr parse error on %d:%d : %s\n", error.line, error.column, error.text);
    printf("Canonical path:     :%s\n", path);
    printf("Type:               %s\n", type);
    if (!readable) return;
    for (const SheetLine &line : lines)
        if (const json_t *member = json_object_get(attributes, line.key)) line.print(line.label, member, node);
}
