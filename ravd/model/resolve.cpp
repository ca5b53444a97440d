// Parsing names along the schema, then walking the instances.
#include "ravd/model/resolve.h"

#include <algorithm>
#include <charconv>

namespace ravd {

namespace {

// The child that a name's element means: by its name, or a multi-instance object's instance by any number.
const SchemaNode *find_element(const SchemaNode &node, std::string_view text) {
    const SchemaNode *child = node.find(text);
    if (child || !node.multi) return child;
    return rv_tr_is_instance_number(std::string(text).c_str()) ? &node.instance() : nullptr;
}

class Expansion {
 public:
    Expansion(const Path &path, LiveSync &sync) : path_(path), sync_(sync) {}

    // Goes on at the element of that index, with record holding (or being) the node before it.
    // table: the one that record is an instance in.
    void expand(size_t index, Record &record, std::string name, Table *table = nullptr) {
        for (; index < path_.elements.size(); index++) {
            const auto &[text, node] = path_.elements[index];
            if (node->is_instance()) return expand_instances(index, record, name);
            if (node->multi) sync_.update(*node);
            name += text;
            if (!node->is_parameter()) name += '.';
        }
        places.push_back({path_.node, &record, std::move(name), table});
    }

    std::vector<Place> places;

 private:
    void expand_instances(size_t index, Record &record, const std::string &name) {
        const auto &[text, node] = path_.elements[index];
        Table &table = record.table(*node->parent);
        if (text == node->name) {
            table.for_each(
                [&](Record &row) { expand(index + 1, row, name + std::to_string(row.number()) + '.', &table); });
        } else if (Record *row = find_instance(table, text)) {
            expand(index + 1, *row, name + std::string(text) + '.', &table);
        }
    }

    const Path &path_;
    LiveSync &sync_;
};

}  // namespace

Record *find_instance(const Table &table, std::string_view element) {
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(element.begin(), element.end(), number);
    if (error != std::errc() || end != element.end() || element.starts_with('0')) return nullptr;
    return table.find(number);
}

bool parse_path(const Schema &schema, std::string_view text, Path &path) {
    return parse_path_below(schema.root, text, path);
}

bool parse_path_below(const SchemaNode &start, std::string_view text, Path &path) {
    path = {{}, &start, text.ends_with('.'), false, false};
    if (text == ".") return true;
    if (path.closed) text.remove_suffix(1);
    for (bool more = true; more;) {
        const size_t dot = text.find('.');
        more = dot != text.npos;
        const std::string_view element = text.substr(0, dot);
        path.node = find_element(*path.node, element);
        if (!path.node) return false;
        path.elements.push_back({element, path.node});

        path.every_instance |= element == "#template";
        path.in_method |= element == "#input" || element == "#output";
        if (more) text.remove_prefix(dot + 1);
    }
    return true;
}

std::string reply_name(const Path &path) {
    std::string name;
    for (const auto &[text, node] : path.elements) {
        name += text;
        if (!node->is_parameter()) name += '.';
    }
    return name.empty() ? "." : name;
}

std::string full_name(const SchemaNode &node, const Record &record) {
    std::string name;
    const Record *in = &record;
    for (const SchemaNode *at = &node; at->parent; at = at->parent) {
        if (!at->is_parameter()) name.insert(0, ".");
        name.insert(0, at->is_instance() ? std::to_string(in->number()) : at->name);
        if (at->is_instance()) in = in->holder();
    }
    return name;
}

CutName cut_name(const SchemaNode &node, const Record &record, const SchemaNode &at) {
    const std::string name = full_name(node, record);
    const Record *in = &record;
    for (const SchemaNode *each = &node; each != &at; each = each->parent)
        if (each->is_instance()) in = in->holder();
    std::string path = full_name(at, *in);
    std::string rest = name.substr(path.size());
    return {std::move(path), std::move(rest)};
}

std::vector<Place> present_places(const Path &path, Model::Parts &parts, LiveSync &sync) {
    Expansion expansion(path, sync);
    if (!path.in_method) expansion.expand(0, *parts.root, "");
    return std::move(expansion.places);
}

Record *record_below(Record &start, const Path &path, LiveSync &sync) {
    Record *record = &start;
    for (const auto &[text, node] : path.elements) {
        if (node->is_instance()) {
            record = find_instance(record->table(*node->parent), text);
            if (!record) return nullptr;
        } else if (node->multi) {
            sync.update(*node);
        }
    }
    return record;
}

Place schema_place(const Path &path, Model::Parts &parts, LiveSync &sync) {
    Record *record = path.in_method ? nullptr : record_below(*parts.root, path, sync);
    std::string name = reply_name(path);
    return {path.node, record, name == "." ? "" : std::move(name), nullptr};
}

}  // namespace ravd
