// Drawing of trees: two passes over each node's members, parameters first, connectors from a stack with one entry a
// level.
#include "ravc/commands/tree_draw.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_set>

#include <stdio.h>
#include <string.h>

#include "ravc/commands/value_print.h"
#include "ravc/shell/interrupt.h"
#include "rv/tr.h"

namespace {

enum { LEVELS = 256 };
enum Connector : unsigned char { THROUGH, BRANCH, LAST_BRANCH, GAP };

constexpr const char *connector_texts[] = {"│   ", "├── ", "└── ", "    "};

// The connectors of a drawing, by level.
struct Connectors {
    Connector at[LEVELS];
};

struct Frame {
    const char *name;
    const json_t *data;
    const json_t *schema;
    int depth;
    size_t drawn;     // children so far
    size_t drawable;  // children in all
    int width;        // of the name column of the children
    Connectors *connectors;
};

bool is_attributes(const char *key) {
    return strcmp(key, "#attr") == 0;
}

bool is_max_instance(const char *key) {
    return strcmp(key, "max_instance") == 0;
}

// The objects of the present drawing that hold no value at any depth.
std::unordered_set<const json_t *> &hollow_objects() {
    static std::unordered_set<const json_t *> objects;
    return objects;
}

// Visits every object once, so that drawing need not look below a node again.
bool find_hollow_objects(const json_t *value) {
    if (!json_is_object(value)) return false;
    bool hollow = true;
    const char *key;
    json_t *member;
    json_object_foreach(const_cast<json_t *>(value), key, member) hollow = find_hollow_objects(member) && hollow;
    if (hollow) hollow_objects().insert(value);
    return hollow;
}

bool is_drawable(const json_t *value) {
    return !hollow_objects().contains(value);
}

void count_children(Frame *frame) {
    const char *key;
    json_t *member;
    json_object_foreach(const_cast<json_t *>(frame->data), key, member) {
        if (is_attributes(key)) continue;
        if (is_drawable(member)) frame->drawable++;
        if (!json_is_object(member)) frame->width = std::max(frame->width, static_cast<int>(strlen(key)));
    }
}

Frame child_frame(const Frame *parent, const char *name, const json_t *data, const json_t *schema) {
    Frame frame = {name, data, schema, parent->depth + 1, 0, 0, 0, parent->connectors};
    if (!is_max_instance(name)) count_children(&frame);
    return frame;
}

void print_connectors(Frame *parent) {
    Connector &own = parent->connectors->at[parent->depth];
    own = ++parent->drawn < parent->drawable ? BRANCH : LAST_BRANCH;
    for (int level = 0; level <= parent->depth; level++) fputs(connector_texts[parent->connectors->at[level]], stdout);
    own = own == BRANCH ? THROUGH : GAP;
}

void draw(Frame *parent, Frame *frame);

// Draws the children that are parameters, or all others. Returns whether "max_instance" is among the members.
bool draw_children(Frame *frame, bool parameters) {
    bool has_max_instance = false;
    const char *key;
    json_t *member;
    json_object_foreach(const_cast<json_t *>(frame->data), key, member) {
        if (is_attributes(key)) continue;
        if (is_max_instance(key)) {
            has_max_instance = true;
            continue;
        }
        const json_t *schema = schema_child(frame->schema, key);
        if ((rv_tr_dm_type_is_parameter(rv_tr_dm_node_type_get(schema)) != 0) != parameters) continue;
        Frame child = child_frame(frame, key, member, schema);
        draw(frame, &child);
    }
    return has_max_instance;
}

// The root is its own parent.
void draw(Frame *parent, Frame *frame) {
    if (!is_drawable(frame->data) || interrupt_pending()) return;
    if (frame->depth > 0) print_connectors(parent);
    printf("%-*s", parent->width, frame->name);
    print_value_colored(frame->data, frame->schema);
    putchar('\n');
    if (frame->depth == LEVELS) return;
    draw_children(frame, true);
    if (!draw_children(frame, false)) return;
    Frame last = child_frame(frame, "max_instance", json_object_get(frame->data, "max_instance"),
                             json_object_get(frame->schema, "max_instance"));
    draw(frame, &last);
}

}  // namespace

json_t *schema_child(const json_t *schema, const char *key) {
    json_t *child = json_object_get(schema, key);
    return !child && rv_tr_is_instance_number(key) ? json_object_get(schema, "#template") : child;
}

json_t *walk_tree(json_t *tree, const char *path) {
    json_t *node = tree;
    for (std::string_view rest = path; node && !rest.empty();) {
        const std::string key(rest.substr(0, rest.find('.')));
        rest.remove_prefix(std::min(key.size() + 1, rest.size()));
        if (key.empty()) continue;
        json_t *child = schema_child(node, key.c_str());
        if (!child) break;
        node = child;
    }
    return node;
}

void draw_tree(const json_t *data, const json_t *schema, const char *name) {
    hollow_objects().clear();
    find_hollow_objects(data);
    Connectors connectors = {};
    Frame root = {name, data, schema, 0, 0, 0, 0, &connectors};
    count_children(&root);
    draw(&root, &root);
}
