// GetParameterAttributes: the schema of nodes under the names they are asked by.
#include "ravd/model/read.h"
#include "ravd/model/reading.h"

namespace ravd {

namespace {

class AttributeWriter {
 public:
    AttributeWriter(Reading &reading, std::string &out) : reading_(reading), out_(out) {}

    // 0, or the code of why there is no such node for the viewer.
    int write_name(std::string_view name, int depth);

 private:
    // record: the instance, or the one that holds node; null below "#template", methods and missing instances.
    void write_children(const SchemaNode &node, Record *record, int depth);
    void write_entry(const SchemaNode &node, Record *record, std::string_view name, int depth);
    void append_entry(const SchemaNode &node, std::string_view name);

    Reading &reading_;
    std::string &out_;
    std::string prefix_;  // the full name, closed, of the node whose children are written
};

int AttributeWriter::write_name(std::string_view name, int depth) {
    Path path;
    if (const int code = reading_.parse(name, path)) return code;
    append_entry(*path.node, path.node->is_parameter() ? name : reply_name(path));
    if (depth == 0) return 0;  // which instances there are does not matter
    Place place = schema_place(path, reading_.parts, reading_.sync);
    if (depth != 1) reading_.sync.update_below(*place.node, reading_.viewer.role);
    prefix_ = std::move(place.name);
    write_children(*place.node, place.record, depth - 1);
    return 0;
}

void AttributeWriter::write_children(const SchemaNode &node, Record *record, int depth) {
    for (const auto &child : node.children) {
        if (!reading_.can_see(*child)) continue;
        const bool recorded = !child->is_instance() && !node.is_method();
        write_entry(*child, recorded ? record : nullptr, child->is_parameter() ? child->name : child->name + '.',
                    depth);
    }
    if (!node.multi || !record || !reading_.can_see(node.instance())) return;
    record->table(node).for_each(
        [&](Record &row) { write_entry(node.instance(), &row, std::to_string(row.number()) + '.', depth); });
}

void AttributeWriter::write_entry(const SchemaNode &node, Record *record, std::string_view name, int depth) {
    append_entry(node, name);
    if (depth == 0 || node.is_parameter()) return;
    const size_t length = prefix_.size();
    prefix_ += name;
    write_children(node, record, depth - 1);
    prefix_.resize(length);
}

void AttributeWriter::append_entry(const SchemaNode &node, std::string_view name) {
    append_comma(out_);
    out_ += "{\"Name\":\"";
    out_ += prefix_;
    out_ += name;
    out_ += "\",\"Attributes\":";
    out_ += node.attributes;
    out_ += '}';
}

}  // namespace

// Whoever sees a node may know its schema: there is nothing that ignore_access_error would leave out.
Fault read_attributes(Model &model, const Viewer &viewer, const json_t *names, int depth, bool, std::string &result,
                      size_t limit) {
    Reading reading(model, viewer);
    const size_t before = result.size();
    Fault fault;
    result += "{\"ParameterList\":[";
    for (size_t i = 0; i < json_array_size(names); i++) {
        const char *name = json_string_value(json_array_get(names, i));
        if (const int code = AttributeWriter(reading, result).write_name(name, depth)) add_failure(fault, name, code);
        if (result.size() - before > limit) return too_large(result, before);
    }
    result += "]}";
    if (fault) result.resize(before);
    return fault;
}

}  // namespace ravd
