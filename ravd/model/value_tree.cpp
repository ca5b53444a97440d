// Values as a tree of JSON text.
#include "ravd/model/value_tree.h"

namespace ravd {

void ValueTree::write_whole(const SchemaNode &node, Record &record) {
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

void ValueTree::write_instances(const SchemaNode &object, Record &record) {
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

void ValueTree::write_parameter(const SchemaNode &parameter, Record &record) {
    if (parameter.type == RV_TR_SECRET) return;
    const size_t before = out_.size();
    append_key(out_, parameter.name);
    if (!reading_.append_value_of(parameter, &record, out_)) out_.resize(before);
}

}  // namespace ravd
