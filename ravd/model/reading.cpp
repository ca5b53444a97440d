// Values, names and faults as every reading operation has them.
#include "ravd/model/reading.h"

#include "ravd/json_text.h"
#include "ravd/model/read.h"
#include "ravd/model/told_values.h"

namespace ravd {

namespace {

void append_order(const Table &table, std::string &out) {
    out += '[';
    table.for_each([&out](const Record &row) {
        append_comma(out);
        append_json_integer(out, row.number());
    });
    out += ']';
}

}  // namespace

bool may_read(Model &model, const Viewer &viewer, std::string_view name) {
    Path path;
    if (!parse_path(*model.parts().schema, name, path)) return false;
    return path.node->is_parameter() ? path.node->can_read(viewer.role) : path.node->can_see(viewer.role);
}

int Reading::refusal(const SchemaNode &parameter, const Record &record) const {
    const bool told = parameter.teller && parts.told && parameter.can_read(viewer.role);
    const int code = told ? parts.told->find(parameter, record).code : 0;
    return code != 0 ? code : 9001;
}

int Reading::parse(std::string_view name, Path &path) const {
    return parse_path(*parts.schema, name, path) && can_see(*path.node) ? 0 : 9005;
}

bool Reading::append_value_of(const SchemaNode &parameter, Record *record, std::string &out) {
    if (!parameter.can_read(viewer.role)) return false;
    if (parameter.type == RV_TR_SECRET) {
        out += "\"\"";
        return true;
    }
    if (parameter.teller && parts.told) {
        const auto [code, value] = parts.told->find(parameter, *record);
        if (code == 0 && value) append_value(out, *value);
        if (code != 0 || value) return code == 0;
    }
    if (parameter.source == Source::live && !record->is_set(parameter)) {
        const auto value = parameter.live->read(viewer);
        if (value) append_value(out, std::holds_alternative<std::monostate>(*value) ? parameter.default_value : *value);
        return value.has_value();
    }
    if (parameter.source == Source::stored || parameter.source == Source::live) {
        append_value(out, record->value(parameter));
        return true;
    }
    if (parameter.source == Source::index) {
        append_json_integer(out, record->index());
        return true;
    }
    sync.update(*parameter.table);
    const Table &table = record->table(*parameter.table);
    switch (parameter.source) {
        case Source::count:
            append_json_integer(out, static_cast<int64_t>(table.size()));
            break;
        case Source::highest:
            append_json_integer(out, table.highest());
            break;
        default:
            append_order(table, out);
            break;
    }
    return true;
}

void add_failure(Fault &fault, std::string_view name, int code) {
    if (!fault) fault.code = code;
    fault.parameters.emplace_back(name, std::to_string(code) + " " + std::string(fault_text(code)));
}

Fault too_large(std::string &result, size_t before) {
    result.resize(before);
    return {9004, "the reply would be too large", {}};
}

Fault failure(std::string_view name, int code) {
    Fault fault;
    add_failure(fault, name, code);
    return fault;
}

}  // namespace ravd
