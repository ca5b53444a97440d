// Loading in two passes: merge() makes one tree of all files and checks names, complete() then checks and decodes the
// attributes, from the root downwards. lay_out() does the rest, but for references: tie_references() ties them to what
// they name.
#include "ravd/model/load.h"

#include <algorithm>

#include <string.h>

#include "ravd/model/attributes.h"
#include "ravd/model/layout.h"
#include "ravd/model/source_files.h"

namespace ravd {

namespace {

constexpr size_t max_levels = 128;
constexpr size_t max_full_name = 258;

// Why name can't be the name of a node; null when it can.
const char *name_problem(std::string_view name) {
    const auto plain = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || strchr("_-()", c);
    };
    if (name.empty()) return "an empty name";
    if (name.front() == '#') return "a reserved name";
    if (!std::ranges::all_of(name, plain)) return "a name has letters, digits, \"_\", \"-\" and brackets only";
    if (rv_tr_is_instance_number(std::string(name).c_str())) return "a number is no name";
    if (name == "max_instance" || name == "order" || name == "DataModelVersion") return "a reserved name";
    return nullptr;
}

// Members that schema trees have and the model makes by itself.
bool is_own_member(const json_t *object, std::string_view name) {
    return json_object_get(object, "#template") && (name == "max_instance" || name == "order");
}

bool is_structural(std::string_view name) {
    return name == "#template" || name == "#input" || name == "#output";
}

class Loader {
 public:
    explicit Loader(std::string &error) : schema_(std::make_unique<Schema>()), error_(error) {}

    std::unique_ptr<Schema> load(const std::string &folder) {
        if (!files_.read(folder, error_)) return nullptr;
        for (const SourceFile &file : files_.files())
            if (!merge(file, schema_->root, file.json.get(), 0)) return nullptr;
        if (!complete(schema_->root)) return nullptr;
        lay_out(*schema_);
        tie_handlers(*schema_);
        if (!tie_references(schema_->root)) return nullptr;
        return std::move(schema_);
    }

 private:
    bool merge(const SourceFile &file, SchemaNode &node, json_t *json, size_t level);
    bool merge_attributes(const SourceFile &file, SchemaNode &node, json_t *attr);
    SchemaNode &merged_child(SchemaNode &node, const char *name);
    bool complete(SchemaNode &node);
    bool decode(SchemaNode &node);
    bool complete_object(SchemaNode &node);
    bool complete_multi(SchemaNode &node);
    bool complete_method(SchemaNode &node);
    bool tie_foreign_key(SchemaNode &node);
    bool tie_relations(SchemaNode &node);
    bool tie_references(SchemaNode &node);

    bool fail(const SourceFile &file, const SchemaNode &node, std::vector<std::string> members,
              const std::string &reason) {
        error_ = files_.complaint(file, node, members, reason);
        return false;
    }
    // About a node as a whole.
    bool fail(const SchemaNode &node, const std::string &reason) {
        return fail(*files_.origin(node).file, node, {}, reason);
    }
    // About one of its attributes, or "#attr" itself when attribute is empty.
    bool fail_attribute(const SchemaNode &node, const std::string &attribute, const std::string &reason) {
        std::vector<std::string> members = {"#attr"};
        if (!attribute.empty()) members.push_back(attribute);
        return fail(*files_.origin(node).attr_file, node, members, reason);
    }

    std::unique_ptr<Schema> schema_;
    SourceFiles files_;
    std::unordered_map<std::string, SchemaNode *> known_;  // nodes by their full names, while files are merged
    const Json plain_object_{json_pack("{s:s}", "type", "object")};
    std::string &error_;
};

bool Loader::merge(const SourceFile &file, SchemaNode &node, json_t *json, size_t level) {
    SourceFiles::Origin &origin = files_.origin(node);
    if (!origin.file) origin.file = &file;
    if (!json_is_object(json)) return fail(file, node, {}, "must be an object");
    if (level > max_levels) return fail(file, node, {}, "more than 128 levels");
    if (node.full_name().size() > max_full_name) return fail(file, node, {}, "a name of more than 258 characters");
    const char *key = nullptr;
    json_t *value = nullptr;
    json_object_foreach(json, key, value) {
        if (is_own_member(json, key)) continue;
        if (strcmp(key, "#attr") == 0) {
            if (!merge_attributes(file, node, value)) return false;
            continue;
        }
        const char *problem = is_structural(key) ? nullptr : name_problem(key);
        if (problem) return fail(file, node, {key}, std::string("\"") + key + "\": " + problem);
        if (!merge(file, merged_child(node, key), value, level + 1)) return false;
    }
    return true;
}

bool Loader::merge_attributes(const SourceFile &file, SchemaNode &node, json_t *attr) {
    SourceFiles::Origin &origin = files_.origin(node);
    const char *type = json_string_value(json_object_get(attr, "type"));
    if (origin.attr && rv_tr_type_from_name(type) != RV_TR_OBJECT)
        return fail(file, node, {}, "already defined in " + origin.attr_file->path);
    if (origin.attr && !json_equal(origin.attr, attr))
        return fail(file, node, {"#attr"}, "\"#attr\" is another one in " + origin.attr_file->path);
    origin.attr = attr;
    origin.attr_file = &file;
    return true;
}

// The child of that name, made where no file has named it yet.
SchemaNode &Loader::merged_child(SchemaNode &node, const char *name) {
    SchemaNode *&child = known_[node.full_name() + "." + name];
    if (!child) child = &node.add(name);
    return *child;
}

bool Loader::complete(SchemaNode &node) {
    // A template that forbids adding and deleting speaks for its object too.
    for (const auto &child : node.children)
        if (child->name == "#template" && json_is_true(json_object_get(files_.origin(*child).attr, "const")))
            node.fixed = true;
    if (!decode(node)) return false;
    if (node.is_method()) return complete_method(node);
    if (node.multi) return complete_multi(node);
    return complete_object(node);
}

bool Loader::decode(SchemaNode &node) {
    const bool structural = !node.parent || is_structural(node.name);
    json_t *attr = files_.origin(node).attr;
    if (!attr && !structural) return fail(node, "no \"#attr\" in any file");
    const auto problem = decode_attributes(node, attr ? attr : plain_object_.get());
    if (problem) return fail_attribute(node, problem->attribute, problem->reason);
    if (structural && (node.type != RV_TR_OBJECT || node.multi))
        return fail_attribute(node, "type", "must be an object, not multi-instance");
    return true;
}

// A plain object, or a parameter, which has no members.
bool Loader::complete_object(SchemaNode &node) {
    for (const auto &child : node.children) {
        if (node.is_parameter()) return fail(*child, "a member of a parameter");
        if (child->name == "#template") return fail(*child, "\"#template\" in an object that is not multi");
        if (is_structural(child->name)) return fail(*child, "\"" + child->name + "\" belongs to methods only");
        if (!complete(*child)) return false;
    }
    return true;
}

bool Loader::complete_multi(SchemaNode &node) {
    for (const auto &child : node.children)
        if (child->name != "#template") return fail(*child, "a multi-instance object has no member but \"#template\"");
    if (node.children.empty()) return fail(node, "multi without \"#template\"");
    // Like max_instance and order, "index" may be written and is the model's own.
    auto &members = node.children.front()->children;
    if (node.ordered) std::erase_if(members, [](const auto &member) { return member->name == "index"; });
    return complete(*node.children.front());
}

bool Loader::complete_method(SchemaNode &node) {
    for (const auto &child : node.children)
        if (child->name != "#input" && child->name != "#output")
            return fail(*child, "a method has no members but \"#input\" and \"#output\"");
    merged_child(node, "#input");
    merged_child(node, "#output");
    std::ranges::sort(node.children, {}, [](const auto &child) { return child->name; });
    return complete(*node.children.front()) && complete(*node.children.back());
}

// The node that a path names, with or without a closing "."; instances on the way are written "{i}", "*" or
// "#template". Null when there is none.
SchemaNode *referenced(SchemaNode &root, std::string_view path) {
    if (path.ends_with('.')) path.remove_suffix(1);
    const SchemaNode *node = &root;
    while (node && !path.empty()) {
        const size_t dot = std::min(path.find('.'), path.size());
        const std::string_view name = path.substr(0, dot);
        node = node->find(node->multi && (name == "{i}" || name == "*") ? "#template" : name);
        path.remove_prefix(std::min(dot + 1, path.size()));
    }
    return const_cast<SchemaNode *>(node);  // the tree is the loader's own
}

bool is_in_instance(const SchemaNode &node) {
    return node.is_instance() || (node.parent && is_in_instance(*node.parent));
}

bool Loader::tie_foreign_key(SchemaNode &node) {
    if (!node.limits || node.limits->foreign_key.empty()) return true;
    const SchemaNode *object = referenced(schema_->root, node.limits->foreign_key);
    if (!object || !object->multi)
        return fail_attribute(node, "foreign_key", "\"foreign_key\" names no multi-instance object");
    node.limits->referenced = object;
    return true;
}

bool Loader::tie_relations(SchemaNode &node) {
    if (!node.multi && !node.is_instance()) return true;
    const json_t *rows = json_object_get(files_.origin(node).attr, "relations");
    for (size_t i = 0; i < json_array_size(rows); i++) {
        const json_t *row = json_array_get(rows, i);
        const auto verdict = static_cast<Verdict>(json_integer_value(json_object_get(row, "verdict")));
        const char *match = json_string_value(json_object_get(row, "match"));
        const SchemaNode *referrer = referenced(schema_->root, match);
        if (!referrer || referrer->source != Source::stored || rv_tr_type_json(referrer->type) != JSON_STRING)
            return fail_attribute(node, "relations", std::string("'") + match + "' is no parameter with references");
        if (verdict == Verdict::cascade && !is_in_instance(*referrer))
            return fail_attribute(node, "relations", std::string("'") + match + "' is in no instance to delete");
        node.relations.push_back({verdict, referrer});
    }
    return true;
}

bool Loader::tie_references(SchemaNode &node) {
    if (!tie_foreign_key(node) || !tie_relations(node)) return false;
    return std::ranges::all_of(node.children, [this](const auto &child) { return tie_references(*child); });
}

}  // namespace

std::unique_ptr<Schema> load_schema(const std::string &folder, std::string &error) {
    return Loader(error).load(folder);
}

}  // namespace ravd
