// GetParameterValues: values by name, by object, and of all instances.
#include "ravd/model/read.h"
#include "ravd/model/reading.h"

namespace ravd {

namespace {

// Appends {"Name","Value"} pairs to a list. prefix is the full name, closed, of the object that is being read.
class ValueWriter {
 public:
    ValueWriter(Reading &reading, std::string &out) : reading_(reading), out_(out) {}

    // 0, or the code of why the name can't be read.
    int write_name(std::string_view name);

 private:
    int write_place(Place place);
    bool write_parameter(const SchemaNode &parameter, Record &record);
    void write_object(const SchemaNode &object, Record &record);
    void write_instances(const SchemaNode &object, Record &record);

    Reading &reading_;
    std::string &out_;
    std::string prefix_;
};

int ValueWriter::write_name(std::string_view name) {
    Path path;
    if (const int code = reading_.parse(name, path)) return code;
    const SchemaNode &node = *path.node;
    if (node.is_method() || path.in_method || (node.is_parameter() && path.closed)) return 9005;
    std::vector<Place> places = present_places(path, reading_.parts, reading_.sync);
    if (places.empty() && !path.every_instance) return 9005;
    if (node.is_parameter() && !node.can_read(reading_.viewer.role)) return 9001;
    for (Place &place : places)
        if (const int code = write_place(std::move(place))) return code;
    return 0;
}

int ValueWriter::write_place(Place place) {
    prefix_ = std::move(place.name);
    if (place.node->is_parameter()) {
        prefix_.resize(prefix_.size() - place.node->name.size());
        const bool written = write_parameter(*place.node, *place.record);
        return written ? 0 : reading_.refusal(*place.node, *place.record);
    }
    reading_.sync.update_below(*place.node, reading_.viewer.role);
    write_object(*place.node, *place.record);
    return 0;
}

bool ValueWriter::write_parameter(const SchemaNode &parameter, Record &record) {
    const size_t before = out_.size();
    append_comma(out_);
    out_ += "{\"Name\":\"";
    out_ += prefix_;
    out_ += parameter.name;
    out_ += "\",\"Value\":";
    const bool readable = reading_.append_value_of(parameter, &record, out_);
    if (readable)
        out_ += '}';
    else
        out_.resize(before);
    return readable;
}

void ValueWriter::write_object(const SchemaNode &object, Record &record) {
    if (object.multi) return write_instances(object, record);
    const size_t length = prefix_.size();
    for (const auto &child : object.children) {
        if (child->by_name_only || child->is_method() || !reading_.can_see(*child)) continue;
        if (child->is_parameter()) {
            write_parameter(*child, record);
            continue;
        }
        prefix_ += child->name;
        prefix_ += '.';
        write_object(*child, record);
        prefix_.resize(length);
    }
}

void ValueWriter::write_instances(const SchemaNode &object, Record &record) {
    const size_t length = prefix_.size();
    record.table(object).for_each([&](Record &row) {
        prefix_ += std::to_string(row.number());
        prefix_ += '.';
        write_object(object.instance(), row);
        prefix_.resize(length);
    });
}

}  // namespace

Fault read_values(Model &model, const Viewer &viewer, const json_t *names, bool ignore_access_error,
                  std::string &result, size_t limit) {
    Reading reading(model, viewer);
    const size_t before = result.size();
    Fault fault;
    result += "{\"ParameterList\":[";
    for (size_t i = 0; i < json_array_size(names); i++) {
        const char *name = json_string_value(json_array_get(names, i));
        const int code = ValueWriter(reading, result).write_name(name);
        if (code != 0 && !(code == 9001 && ignore_access_error)) add_failure(fault, name, code);
        if (result.size() - before > limit) return too_large(result, before);
    }
    result += "]}";
    if (fault) result.resize(before);
    return fault;
}

}  // namespace ravd
