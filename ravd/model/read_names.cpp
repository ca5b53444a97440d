// GetParameterNames: which nodes and instances there are now, and which of them the viewer may change.
#include "ravd/model/read.h"
#include "ravd/model/reading.h"

namespace ravd {

namespace {

class NameWriter {
 public:
    NameWriter(Reading &reading, bool deep, std::string &out) : reading_(reading), deep_(deep), out_(out) {}

    // place itself where everything is asked for, and what is below it.
    void write(Place place);

 private:
    void write_children(const SchemaNode &node, Record &record);
    // name: the last element of the entry's name.
    void write_entry(const SchemaNode &node, Record &record, std::string_view name);
    void append_entry(const SchemaNode &node, const Record &record, std::string_view name);

    Reading &reading_;
    const bool deep_;
    std::string &out_;
    std::string prefix_;  // the full name, closed, of the object whose children are written
};

void NameWriter::write(Place place) {
    const SchemaNode &node = *place.node;
    if (deep_) {
        reading_.sync.update_below(node, reading_.viewer.role);
        append_entry(node, *place.record, place.name.empty() ? "." : place.name);
    }
    prefix_ = std::move(place.name);
    write_children(node, *place.record);
}

void NameWriter::write_children(const SchemaNode &node, Record &record) {
    if (node.is_method()) return;
    if (node.multi) {
        if (!reading_.can_see(node.instance())) return;
        record.table(node).for_each(
            [&](Record &row) { write_entry(node.instance(), row, std::to_string(row.number()) + '.'); });
        return;
    }
    for (const auto &child : node.children) {
        if (child->by_name_only || !reading_.can_see(*child)) continue;
        write_entry(*child, record, child->is_parameter() ? child->name : child->name + '.');
    }
}

void NameWriter::write_entry(const SchemaNode &node, Record &record, std::string_view name) {
    append_entry(node, record, name);
    if (!deep_ || node.is_parameter()) return;
    const size_t length = prefix_.size();
    prefix_ += name;
    write_children(node, record);
    prefix_.resize(length);
}

void NameWriter::append_entry(const SchemaNode &node, const Record &record, std::string_view name) {
    // The device's own instances are not for users to delete.
    const bool writable = node.can_write(reading_.viewer.role) && !(node.is_instance() && record.is_live());
    append_comma(out_);
    out_ += "{\"Name\":\"";
    out_ += prefix_;
    out_ += name;
    out_ += writable ? "\",\"Writable\":true}" : "\",\"Writable\":false}";
}

}  // namespace

Fault read_names(Model &model, const Viewer &viewer, std::string_view name, bool next_level, std::string &result) {
    Reading reading(model, viewer);
    Path path;
    if (const int code = reading.parse(name, path)) return failure(name, code);
    if (path.every_instance || (path.node->is_parameter() && (path.closed || next_level))) return failure(name, 9005);
    std::vector<Place> places = present_places(path, reading.parts, reading.sync);
    if (places.empty()) return failure(name, 9005);
    result += "{\"ParameterList\":[";
    NameWriter(reading, !next_level, result).write(std::move(places.front()));
    result += "]}";
    return {};
}

}  // namespace ravd
