// Own parameters, shapes, visibility and version of a schema.
#include "ravd/model/layout.h"

#include <array>

#include <openssl/evp.h>

#include "ravd/model/attributes.h"

namespace ravd {

namespace {

void add_own_parameter(SchemaNode &object, const char *name, int type, Source source) {
    SchemaNode &node = object.add(name);
    make_own_parameter(node, type);
    node.source = source;
    node.table = &object;
}

void add_own_parameters(SchemaNode &node) {
    if (!node.parent) make_own_parameter(node.add("DataModelVersion"), RV_TR_STRING);
    if (node.is_instance() && node.parent->ordered) {
        SchemaNode &index = node.add("index");
        make_index(index);
        index.source = Source::index;
        index.table = node.parent;
    }
    if (!node.multi) return;
    add_own_parameter(node, "max_instance", RV_TR_UNSIGNED_INT, Source::highest);
    if (node.ordered) add_own_parameter(node, "order", RV_TR_ANY, Source::order);
}

// A read-only "XNumberOfEntries" beside the multi-instance object X counts its instances.
void tie_counters(SchemaNode &node) {
    constexpr std::string_view suffix = "NumberOfEntries";
    for (const auto &child : node.children) {
        std::string_view name = child->name;
        if (child->type != RV_TR_UNSIGNED_INT || !child->fixed || !name.ends_with(suffix)) continue;
        name.remove_suffix(suffix.size());
        const SchemaNode *table = node.find(name);
        if (!table || !table->multi) continue;
        child->source = Source::count;
        child->table = table;
    }
}

uint32_t place_in(std::vector<const SchemaNode *> &places, const SchemaNode &node) {
    places.push_back(&node);
    return static_cast<uint32_t>(places.size() - 1);
}

class Layout {
 public:
    explicit Layout(Schema &schema) : schema_(schema) {}

    // shape: of the record that holds the node; null below methods, whose arguments no record holds.
    void visit(SchemaNode &node, Shape *shape) {
        node.visible = node.readable | node.writable;
        if (node.is_parameter()) {
            if (!node.by_name_only && node.source != Source::index) schema_.parameters++;
            if (shape && node.source == Source::stored && !node.by_name_only)
                node.slot = place_in(shape->parameters, node);
            return;
        }
        if (node.multi && shape) node.slot = place_in(shape->tables, node);
        if (node.parent && !node.is_instance() && !node.is_method() && node.name.front() != '#') schema_.objects++;
        add_own_parameters(node);
        node.sort_names();
        tie_counters(node);
        if (shape && (!node.parent || node.is_instance())) {
            node.shape = std::make_unique<Shape>();
            shape = node.shape.get();
        }
        if (node.is_method()) shape = nullptr;
        for (const auto &child : node.children) {
            visit(*child, shape);
            if (!child->by_name_only) node.visible |= child->visible;
        }
    }

 private:
    Schema &schema_;
};

void describe(const SchemaNode &node, std::string &text) {
    text += node.name;
    text += node.attributes;
    text += '{';
    for (const auto &child : node.children) describe(*child, text);
    text += '}';
}

// FNV-1a, 64 bits: it has to notice changes, not to withstand forgery.
std::string digest(const SchemaNode &root) {
    std::string text;
    describe(root, text);
    uint64_t hash = 0xcbf29ce484222325;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    constexpr char hex[] = "0123456789abcdef";
    std::string version;
    for (int shift = 60; shift >= 0; shift -= 4) version += hex[hash >> shift & 15];
    return version;
}

}  // namespace

void lay_out(Schema &schema) {
    Shape outside;  // the root itself stands in no record
    Layout(schema).visit(schema.root, &outside);
    schema.root.children.back()->default_value = digest(schema.root);
}

}  // namespace ravd
