// GetConfig: the values as a tree, instance numbers as keys.
#include "ravd/model/read.h"
#include "ravd/model/value_tree.h"

namespace ravd {

namespace {

// Writes the way to the branch, and the branch wholly.
class ConfigWriter {
 public:
    ConfigWriter(Reading &reading, const Path &path, std::string &out) : path_(path), tree_(reading, out), out_(out) {}

    // Writes node as far as the path from its element of that index on asks for it.
    void write(const SchemaNode &node, Record &record, size_t index);

 private:
    const Path &path_;
    ValueTree tree_;
    std::string &out_;
};

void ConfigWriter::write(const SchemaNode &node, Record &record, size_t index) {
    if (index == path_.elements.size()) return tree_.write_whole(node, record);
    const auto &[text, next] = path_.elements[index];
    out_ += '{';
    if (node.multi) tree_.write_parameter(*node.find("max_instance"), record);
    if (next->is_parameter()) {
        if (!next->by_name_only) tree_.write_parameter(*next, record);
    } else {
        append_key(out_, text);
        const auto number = next->is_instance() ? strtoul(std::string(text).c_str(), nullptr, 10) : 0;
        write(*next, number != 0 ? *record.table(node).find(static_cast<uint32_t>(number)) : record, index + 1);
    }
    out_ += '}';
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
    ConfigWriter(reading, path, result).write(reading.parts.schema->root, *reading.parts.root, 0);
    result += '}';
    return {};
}

}  // namespace ravd
