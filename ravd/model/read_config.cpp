// GetConfig: the values as a tree, instance numbers as keys.
#include "ravd/model/read.h"
#include "ravd/model/reading.h"

namespace ravd {

namespace {

class ConfigWriter {
 public:
    ConfigWriter(Reading &reading, const Path &path, std::string &out) : reading_(reading), path_(path), out_(out) {}

    // Writes node as far as the path from its element of that index on asks for it, wholly at the path's end.
    void write_way(const SchemaNode &node, Record &record, size_t index);

 private:
    void write_whole(const SchemaNode &node, Record &record);
    void write_instances(const SchemaNode &object, Record &record);
    void write_parameter(const SchemaNode &parameter, Record &record);

    Reading &reading_;
    const Path &path_;
    std::string &out_;
};

void ConfigWriter::write_way(const SchemaNode &node, Record &record, size_t index) {
    if (index == path_.elements.size()) return write_whole(node, record);
    const auto &[text, next] = path_.elements[index];
    out_ += '{';
    if (node.multi) write_parameter(*node.find("max_instance"), record);
    if (next->is_parameter()) {
        if (!next->by_name_only) write_parameter(*next, record);
    } else {
        append_key(out_, text);
        const auto number = next->is_instance() ? strtoul(std::string(text).c_str(), nullptr, 10) : 0;
        write_way(*next, number != 0 ? *record.table(node).find(static_cast<uint32_t>(number)) : record, index + 1);
    }
    out_ += '}';
}

void ConfigWriter::write_whole(const SchemaNode &node, Record &record) {
    if (node.multi) return write_instances(node, record);
    out_ += '{';
    for (const auto &child : node.children) {
        if (child->by_name_only || child->is_method() || !reading_.can_see(*child)) continue;
        if (child->is_parameter()) {
            write_parameter(*child, record);
        } else {
            append_key(out_, child->name);
            write_whole(*child, record);
        }
    }
    out_ += '}';
}

void ConfigWriter::write_instances(const SchemaNode &object, Record &record) {
    out_ += '{';
    write_parameter(*object.find("max_instance"), record);
    if (reading_.can_see(object.instance())) {
        record.table(object).for_each([&](Record &row) {
            append_key(out_, std::to_string(row.number()));
            write_whole(object.instance(), row);
        });
    }
    out_ += '}';
}

// Secrets and what the viewer may not read are left out.
void ConfigWriter::write_parameter(const SchemaNode &parameter, Record &record) {
    if (parameter.type == RV_TR_SECRET) return;
    const size_t before = out_.size();
    append_key(out_, parameter.name);
    if (!reading_.append_value_of(parameter, &record, out_)) out_.resize(before);
}

}  // namespace

Fault read_config(Model &model, const Viewer &viewer, std::string_view name, std::string &result) {
    Reading reading(model, viewer);
    Path path;
    if (const int code = reading.parse(name, path)) return failure(name, code);
    const SchemaNode &node = *path.node;
    if (path.every_instance || node.is_method() || (node.is_parameter() && path.closed)) return failure(name, 9005);
    if (present_places(path, reading.parts, reading.sync).empty()) return failure(name, 9005);
    if (node.is_parameter() && !node.can_read(viewer.role)) return failure(name, 9001);
    reading.sync.update_below(node, viewer.role);
    result += "{\"Config\":";
    ConfigWriter(reading, path, result).write_way(reading.parts.schema->root, *reading.parts.root, 0);
    result += '}';
    return {};
}

}  // namespace ravd
