// ls: the nodes below a path, as names or as a table of their attributes.
#include <algorithm>
#include <string>
#include <vector>

#include <stdio.h>
#include <string.h>

#include "ravc/cache/node_cache.h"
#include "ravc/commands/format_range.h"
#include "ravc/commands/handlers.h"
#include "ravc/commands/list_children.h"
#include "ravc/commands/target.h"
#include "ravc/daemon/request.h"
#include "ravc/shell/colors.h"
#include "ravc/shell/interrupt.h"
#include "rv/rl.h"
#include "rv/tr.h"

namespace {

enum { LS_LONG = 1, LS_DOT = 2 };

struct Row {
    std::string type, access, perms, flags, name;
};

// At most limit bytes of text, cut between characters.
std::string bounded(std::string text, size_t limit) {
    if (text.size() <= limit) return text;
    while (limit > 0 && (text[limit] & 0xc0) == 0x80) limit--;
    text.resize(limit);
    return text;
}

std::string text_of(const json_t *attributes, const char *key, const char *otherwise) {
    const char *text = json_string_value(json_object_get(attributes, key));
    return text ? text : otherwise;
}

bool is_set(const json_t *attributes, const char *key) {
    return json_is_true(json_object_get(attributes, key));
}

// Objects and ordered ones share a letter: intended.
std::string flags_of(const json_t *attributes) {
    std::string flags;
    if (text_of(attributes, "type", "") == "object") flags += 'O';
    if (is_set(attributes, "multi")) flags += 'M';
    if (is_set(attributes, "ordered")) flags += 'O';
    if (is_set(attributes, "runtime")) flags += 'R';
    if (is_set(attributes, "unique")) flags += 'U';
    return flags.empty() ? "-" : flags;
}

Row make_row(const std::string &name, const json_t *attributes) {
    std::string type = text_of(attributes, "type", "-");
    format_range(RANGE_VALUE, json_object_get(attributes, "minInclusive"), json_object_get(attributes, "maxInclusive"),
                 &type);
    format_range(RANGE_LENGTH, json_object_get(attributes, "minLength"), json_object_get(attributes, "maxLength"),
                 &type);
    return {bounded(type, 49), json_is_object(attributes) ? (is_set(attributes, "const") ? "RO" : "RW") : "-",
            bounded(text_of(attributes, "perms", ""), 19), bounded(flags_of(attributes), 19), bounded(name, 256)};
}

// A reply's name without the listed path in front; "." for the listed node itself.
std::string relative_name(const char *name, const char *path) {
    const size_t length = strlen(path);
    if (strncmp(name, path, length) == 0) name += length;
    if (*name == '.') name++;
    return *name ? name : ".";
}

bool comes_first(const Row &a, const Row &b) {
    const bool a_is_object = a.type == "object", b_is_object = b.type == "object";
    return a_is_object != b_is_object ? a_is_object : a.name < b.name;
}

std::vector<Row> ls_repack_list(const json_t *list, const char *path) {
    std::vector<Row> rows;
    size_t i;
    json_t *element;
    json_array_foreach(list, i, element) {
        const char *name = json_string_value(json_object_get(element, "Name"));
        rows.push_back(make_row(relative_name(name ? name : "", path), json_object_get(element, "Attributes")));
    }
    std::sort(rows.begin(), rows.end(), comes_first);
    return rows;
}

int width_of(const std::vector<Row> &rows, std::string Row::*field, const char *header) {
    size_t width = strlen(header);
    for (const Row &row : rows) width = std::max(width, (row.*field).size());
    return static_cast<int>(width);
}

void print_table(const std::vector<Row> &rows) {
    const int type = width_of(rows, &Row::type, "Type"), access = width_of(rows, &Row::access, "Access");
    const int perms = width_of(rows, &Row::perms, "Perms"), flags = width_of(rows, &Row::flags, "Flags");
    printf("%-*s %-*s %-*s %-*s %s\n", type + 1, "Type", access + 1, "Access", perms + 1, "Perms", flags + 1, "Flags",
           "Name");
    for (const Row &row : rows) {
        if (interrupt_pending()) return;
        printf("%-*s %-*s %-*s %-*s ", type + 1, row.type.c_str(), access + 1, row.access.c_str(), perms + 1,
               row.perms.c_str(), flags + 1, row.flags.c_str());
        rv_colors_set_hsv2(color_of(COLOR_AUTOCOMPLETE));
        printf("%s\n", row.name.c_str());
        rv_colors_reset();
    }
}

int list_long(const char *path) {
    json_t *name = json_sprintf("%s%s", path, rv_tr_path_is_partial(path) ? "" : ".");
    message_auto_t *msg = rv_jrpcmsg_cmd_get_parameter_attributes_new(json_pack("[o]", name), 1);
    send_request(msg, NO_TIMEOUT);
    // A failure shows as a table without rows.
    print_table(ls_repack_list(json_object_get(rv_jrpcmsg_get_result_json(msg), "ParameterList"), path));
    return 0;
}

// The path as typed, without one closing ".": what stands in front of the names. Null stays null.
json_t *prefix_of(const char *path) {
    if (!path) return nullptr;
    const size_t length = strlen(path);
    return json_stringn(path, length - (length > 0 && path[length - 1] == '.'));
}

int list_short(cdpath *place, const char *path, int options) {
    json_auto_t *list = nullptr;
    if (target_is_parameter(place)) {
        list = json_pack("[s]", path ? path : place->path);
    } else {
        json_auto_t *prefix = prefix_of(path);
        list = list_children(place, json_string_value(prefix), LIST_DOTS);
        rv_qsort_json(list, 1);
    }
    if (options & LS_DOT) json_array_insert_new(list, 0, json_string("."));
    rv_rl_show_list(list);
    return 0;
}

// Without a cache the path goes out as typed: its level is fetched into a cache of one node. Returns 0, or -1 when the
// daemon has no such node.
int take_as_typed(cdpath *place, const char *path) {
    const size_t length = strlen(path) - (rv_tr_path_is_partial(path) ? 1 : 0);
    if (length > CDPATH_MAX) return -1;
    memcpy(place->path, path, length);
    place->path[length] = '\0';
    node_cache_fetch(place);
    return json_object_get(place->node, "#attr") ? 0 : -1;
}

int ls_one(const char *command, const char *path, int options) {
    target_auto_t place = target_here();
    const bool as_typed = !place.node;
    const char *typed = path ? path : ".";
    if (as_typed && (options & LS_LONG)) return list_long(typed);
    if ((as_typed ? take_as_typed(&place, typed) : target_resolve(&place, path)) < 0) {
        printf("%s: %s: no such node\n", command, typed);
        return -1;
    }
    return options & LS_LONG ? list_long(place.path) : list_short(&place, path, options);
}

// Takes the words that begin with "-" out of args; letters that mean nothing are passed over.
int take_options(json_t *args) {
    int options = 0;
    for (size_t i = 0; i < json_array_size(args);) {
        const char *word = json_string_value(json_array_get(args, i));
        if (!word || *word != '-') {
            i++;
            continue;
        }
        if (strchr(word, 'l')) options |= LS_LONG;
        if (strchr(word, 'a')) options |= LS_DOT;
        json_array_remove(args, i);
    }
    return options;
}

}  // namespace

int process_ls(const char *name, json_t *args) {
    const int options = take_options(args);
    if (json_array_size(args) <= 1) return ls_one(name, json_string_value(json_array_get(args, 0)), options);
    size_t i;
    json_t *path;
    json_array_foreach(args, i, path) {
        printf("%s:\n", json_string_value(path));
        ls_one(name, json_string_value(path), options);
        putchar('\n');
    }
    return 0;
}
