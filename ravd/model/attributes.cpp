// The table of attributes, and the decoding of one "#attr" object. Each row names the JSON form that the attribute
// must have; what depends on the node's type is checked while decoding.
#include "ravd/model/attributes.h"

#include <algorithm>

#include <string.h>

#include "ravd/json_text.h"
#include "ravd/model/check.h"

namespace ravd {

namespace {

using Problem = std::optional<AttributeProblem>;

bool is_text(const json_t *value) {
    return json_is_string(value);
}
bool is_flag(const json_t *value) {
    return json_is_boolean(value);
}
bool is_number(const json_t *value) {
    return json_is_number(value);
}
bool is_array(const json_t *value) {
    return json_is_array(value);
}
bool is_anything(const json_t *) {
    return true;
}
bool is_count(const json_t *value) {
    return json_is_integer(value) && json_integer_value(value) >= 0;
}

bool is_access(const json_t *value) {
    const char *text = json_string_value(value);
    return text && (strcmp(text, "readOnly") == 0 || strcmp(text, "readWrite") == 0);
}

bool is_base(const json_t *value) {
    const json_int_t base = json_integer_value(value);
    return json_is_integer(value) && (base == 2 || base == 8 || base == 10 || base == 16);
}

bool is_perms(const json_t *value) {
    const char *text = json_string_value(value);
    if (!text || strlen(text) != 6) return false;
    for (int i = 0; i < 6; i++)
        if (text[i] != '-' && text[i] != (i % 2 == 0 ? 'r' : 'w')) return false;
    return true;
}

bool is_enumeration(const json_t *value) {
    if (json_array_size(value) == 0) return false;
    for (size_t i = 0; i < json_array_size(value); i++) {
        const json_t *item = json_array_get(value, i);
        if (!json_is_string(item)) return false;
        for (size_t j = 0; j < i; j++)
            if (json_equal(item, json_array_get(value, j))) return false;
    }
    return true;
}

// An array of objects with a number (0 to highest) and a text each.
bool is_rows(const json_t *value, const char *number, json_int_t highest, const char *text) {
    if (!json_is_array(value)) return false;
    for (size_t i = 0; i < json_array_size(value); i++) {
        const json_t *row = json_array_get(value, i);
        const json_t *n = json_object_get(row, number);
        if (!is_count(n) || json_integer_value(n) > highest) return false;
        if (!json_is_string(json_object_get(row, text)) || json_object_size(row) != 2) return false;
    }
    return true;
}

bool is_handlers(const json_t *value) {
    return is_rows(value, "action", 5, "handler");
}
bool is_relations(const json_t *value) {
    return is_rows(value, "verdict", 3, "match");
}

enum : unsigned { on_object = 1, on_method = 2, on_parameter = 4, on_all = 7 };

struct AttributeRow {
    const char *name;
    bool (*well_formed)(const json_t *value);
    const char *form;
    unsigned places;
};

constexpr AttributeRow attribute_rows[] = {
    {"type", is_text, "a type's name", on_all},
    {"access", is_access, "\"readOnly\" or \"readWrite\"", on_parameter},
    {"const", is_flag, "true or false", on_object | on_parameter},
    {"perms", is_perms, "six characters as in \"rwr---\"", on_all},
    {"default", is_anything, "a value", on_parameter},
    {"enum", is_enumeration, "a list of different texts", on_parameter},
    {"minLength", is_count, "a number from 0", on_parameter},
    {"maxLength", is_count, "a number from 0", on_parameter},
    {"minInclusive", is_number, "a number", on_parameter},
    {"maxInclusive", is_number, "a number", on_parameter},
    {"minCount", is_count, "a number from 0", on_parameter},
    {"maxCount", is_count, "a number from 0", on_parameter},
    {"regex", is_text, "a text", on_parameter},
    {"base", is_base, "2, 8, 10 or 16", on_parameter},
    {"runtime", is_flag, "true or false", on_all},
    {"unique", is_flag, "true or false", on_object | on_parameter},
    {"multi", is_flag, "true or false", on_object},
    {"ordered", is_flag, "true or false", on_object},
    {"foreign_key", is_text, "an object's path", on_parameter},
    {"offValue", is_anything, "a value", on_parameter},
    {"get_before_set", is_flag, "true or false", on_parameter},
    {"ignore_handler_set", is_flag, "true or false", on_parameter},
    {"mandatory", is_flag, "true or false", on_parameter},
    {"async", is_flag, "true or false", on_method},
    {"handlers", is_handlers, "a list of {\"action\": 0 to 5, \"handler\": text}", on_all},
    {"mappings", is_array, "a list", on_all},
    {"relations", is_relations, "a list of {\"verdict\": 0 to 3, \"match\": path}", on_object | on_parameter},
    {"description", is_text, "a text", on_all},
};

const AttributeRow *find_row(const char *name) {
    for (const AttributeRow &row : attribute_rows)
        if (strcmp(row.name, name) == 0) return &row;
    return nullptr;
}

unsigned place_of(const SchemaNode &node) {
    return node.is_parameter() ? on_parameter : node.is_method() ? on_method : on_object;
}

std::string quoted(std::string_view text) {
    std::string out;
    append_json_string(out, text);
    return out;
}

Problem check_form(const SchemaNode &node, json_t *attr) {
    const char *name = nullptr;
    json_t *value = nullptr;
    json_object_foreach(attr, name, value) {
        const AttributeRow *row = find_row(name);
        if (!row) return AttributeProblem{name, "unknown attribute " + quoted(name)};
        if (!row->well_formed(value)) return AttributeProblem{name, quoted(name) + " must be " + row->form};
        if ((row->places & place_of(node)) == 0)
            return AttributeProblem{name, quoted(name) + " does not belong to this type"};
    }
    return std::nullopt;
}

bool flag(const json_t *attr, const char *name) {
    return json_is_true(json_object_get(attr, name));
}

Problem decode_type(SchemaNode &node, const json_t *attr) {
    const json_t *type = json_object_get(attr, "type");
    if (!type) return AttributeProblem{"", "no type"};
    node.type = static_cast<uint8_t>(rv_tr_type_from_name(json_string_value(type)));
    if (node.type != RV_TR_UNKNOWN) return std::nullopt;
    if (!json_is_string(type)) return AttributeProblem{"type", "\"type\" must be a type's name"};
    return AttributeProblem{"type", "unknown type " + quoted(json_string_value(type))};
}

Problem decode_flags(SchemaNode &node, const json_t *attr) {
    node.multi = flag(attr, "multi");
    node.ordered = flag(attr, "ordered");
    node.unique = flag(attr, "unique");
    node.mandatory = flag(attr, "mandatory");
    node.runtime = flag(attr, "runtime") || (node.parent && node.parent->runtime);
    if (node.ordered && !node.multi) return AttributeProblem{"ordered", "ordered without multi"};
    if (!node.is_parameter()) {
        node.fixed = node.fixed || flag(attr, "const") || (node.is_instance() && node.parent->fixed);
        return std::nullopt;
    }
    const char *access = json_string_value(json_object_get(attr, "access"));
    node.fixed = !access || strcmp(access, "readOnly") == 0;
    const json_t *written = json_object_get(attr, "const");
    if (written && json_is_true(written) != node.fixed)
        return AttributeProblem{"const", "\"const\" and \"access\" disagree"};
    return std::nullopt;
}

void decode_rights(SchemaNode &node, const json_t *attr) {
    const char *perms = json_string_value(json_object_get(attr, "perms"));
    if (!perms && node.parent) {
        node.readable = node.parent->readable;
        node.writable = node.parent->writable;
        return;
    }
    if (!perms) perms = "rwrwr-";
    for (const Role role : {Role::admin, Role::user, Role::guest}) {
        const auto at = 2 * static_cast<size_t>(role);
        if (perms[at] == 'r') node.readable |= role_bit(role);
        if (perms[at + 1] == 'w') node.writable |= role_bit(role);
    }
}

// One of the pair minInclusive, maxInclusive.
Problem decode_bound(const SchemaNode &node, const json_t *attr, const char *name, Value &bound) {
    json_t *value = json_object_get(attr, name);
    if (!value) return std::nullopt;
    const int form = rv_tr_type_json(node.type);
    if (form != JSON_INTEGER && form != JSON_REAL)
        return AttributeProblem{name, quoted(name) + " belongs to numbers only"};
    const auto decoded = value_from_json(node.type, value);
    if (!decoded) return AttributeProblem{name, quoted(name) + " must be an integer"};
    bound = *decoded;
    return std::nullopt;
}

// One of the pairs of lengths and counts; where: what alone may have it.
Problem decode_size(const json_t *attr, const char *name, bool allowed, const char *where, int64_t &size) {
    const json_t *value = json_object_get(attr, name);
    if (!value) return std::nullopt;
    if (!allowed) return AttributeProblem{name, quoted(name) + " belongs to " + where + " only"};
    size = json_integer_value(value);
    return std::nullopt;
}

Problem decode_enumeration(const SchemaNode &node, const json_t *attr, Limits &limits) {
    const json_t *items = json_object_get(attr, "enum");
    if (!items && node.type == RV_TR_ENUMERATION) return AttributeProblem{"", "an enumeration without \"enum\""};
    if (items && rv_tr_type_json(node.type) != JSON_STRING)
        return AttributeProblem{"enum", "\"enum\" belongs to texts only"};
    for (size_t i = 0; i < json_array_size(items); i++)
        limits.enumeration.emplace_back(json_string_value(json_array_get(items, i)));
    return std::nullopt;
}

template <typename Number>
bool is_above(const Value &a, const Value &b) {
    const Number *left = std::get_if<Number>(&a);
    const Number *right = std::get_if<Number>(&b);
    return left && right && *left > *right;
}

Problem decode_pattern(const json_t *attr, bool allowed, Limits &limits) {
    const char *text = json_string_value(json_object_get(attr, "regex"));
    if (!text) return std::nullopt;
    if (!allowed) return AttributeProblem{"regex", "\"regex\" belongs to texts only"};
    std::string error;
    limits.pattern = Pattern::compile(text, error);
    if (!limits.pattern) return AttributeProblem{"regex", "\"regex\": " + error};
    return std::nullopt;
}

Problem decode_foreign_key(const json_t *attr, bool allowed, Limits &limits) {
    const char *key = json_string_value(json_object_get(attr, "foreign_key"));
    if (!key) return std::nullopt;
    if (!allowed) return AttributeProblem{"foreign_key", "\"foreign_key\" belongs to texts only"};
    limits.foreign_key = key;
    return std::nullopt;
}

Problem check_order(const Limits &limits) {
    if (is_above<int64_t>(limits.min, limits.max) || is_above<double>(limits.min, limits.max))
        return AttributeProblem{"minInclusive", "minInclusive is above maxInclusive"};
    if (limits.min_length > limits.max_length) return AttributeProblem{"minLength", "minLength is above maxLength"};
    if (limits.min_count > limits.max_count) return AttributeProblem{"minCount", "minCount is above maxCount"};
    return std::nullopt;
}

Problem decode_limits(SchemaNode &node, const json_t *attr) {
    auto limits = std::make_unique<Limits>();
    const bool text = rv_tr_type_json(node.type) == JSON_STRING;
    const bool list = node.type == RV_TR_LIST;
    if (auto problem = decode_bound(node, attr, "minInclusive", limits->min)) return problem;
    if (auto problem = decode_bound(node, attr, "maxInclusive", limits->max)) return problem;
    if (auto problem = decode_size(attr, "minLength", text, "texts", limits->min_length)) return problem;
    if (auto problem = decode_size(attr, "maxLength", text, "texts", limits->max_length)) return problem;
    if (auto problem = decode_size(attr, "minCount", list, "lists", limits->min_count)) return problem;
    if (auto problem = decode_size(attr, "maxCount", list, "lists", limits->max_count)) return problem;
    if (auto problem = decode_enumeration(node, attr, *limits)) return problem;
    if (auto problem = decode_pattern(attr, text, *limits)) return problem;
    if (auto problem = decode_foreign_key(attr, text, *limits)) return problem;
    if (auto problem = check_order(*limits)) return problem;
    if (const json_t *base = json_object_get(attr, "base")) node.base = static_cast<uint8_t>(json_integer_value(base));

    constexpr const char *limiting[] = {"minInclusive", "maxInclusive", "minLength", "maxLength",  "minCount",
                                        "maxCount",     "enum",         "regex",     "foreign_key"};
    if (std::any_of(std::begin(limiting), std::end(limiting), [&](auto name) { return json_object_get(attr, name); }))
        node.limits = std::move(limits);
    return std::nullopt;
}

Problem decode_default(SchemaNode &node, const json_t *attr) {
    json_t *written = json_object_get(attr, "default");
    if (!written) {
        node.default_value = empty_value(node);
        return std::nullopt;
    }
    const auto value = value_from_json(node.type, written);
    if (!value) return AttributeProblem{"default", "the default has not the parameter's type"};
    if (const std::string problem = value_problem(node, *value); !problem.empty())
        return AttributeProblem{"default", "the default " + problem};
    node.default_value = *value;
    return std::nullopt;
}

std::string perms_text(const SchemaNode &node) {
    std::string text;
    for (const Role role : {Role::admin, Role::user, Role::guest}) {
        text += (node.readable & role_bit(role)) != 0 ? 'r' : '-';
        text += (node.writable & role_bit(role)) != 0 ? 'w' : '-';
    }
    return text;
}

void append_member(std::string &out, std::string_view name) {
    if (out.back() != '{') out += ',';
    append_json_string(out, name);
    out += ':';
}

// The attributes that clients are given: those that the model derives first, then the rest as written.
std::string client_attributes(const SchemaNode &node, json_t *attr) {
    std::string out = "{";
    append_member(out, "type");
    append_json_string(out, rv_tr_type_name(node.type));
    if (node.is_parameter()) {
        append_member(out, "access");
        append_json_string(out, node.fixed ? "readOnly" : "readWrite");
    }
    if (node.fixed) out += ",\"const\":true";
    append_member(out, "perms");
    append_json_string(out, perms_text(node));
    if (node.is_parameter() && (!node.fixed || json_object_get(attr, "default"))) {
        append_member(out, "default");
        append_value(out, node.default_value);
    }
    constexpr std::string_view written_above[] = {"type", "access", "const", "perms", "default"};
    const char *name = nullptr;
    json_t *value = nullptr;
    json_object_foreach(attr, name, value) {
        if (json_is_false(value) || std::ranges::find(written_above, name) != std::end(written_above)) continue;
        append_member(out, name);
        append_json(out, value);
    }
    return out += '}';
}

}  // namespace

std::optional<AttributeProblem> decode_attributes(SchemaNode &node, json_t *attr) {
    if (!json_is_object(attr)) return AttributeProblem{"", "\"#attr\" must be an object"};
    if (auto problem = decode_type(node, attr)) return problem;
    if (auto problem = check_form(node, attr)) return problem;
    if (auto problem = decode_flags(node, attr)) return problem;
    decode_rights(node, attr);
    if (auto problem = decode_handlers(node, attr)) return problem;
    if (node.is_parameter()) {
        if (auto problem = decode_limits(node, attr)) return problem;
        if (auto problem = decode_default(node, attr)) return problem;
    }
    node.attributes = client_attributes(node, attr);
    return std::nullopt;
}

void make_index(SchemaNode &node) {
    const Json attr(json_pack("{s:s, s:s, s:i, s:s}", "type", "unsignedInt", "access",
                              node.parent->fixed ? "readOnly" : "readWrite", "minInclusive", 1, "description",
                              "Place among the instances, from 1."));
    decode_attributes(node, attr.get());
}

void make_own_parameter(SchemaNode &node, int type) {
    node.type = static_cast<uint8_t>(type);
    node.fixed = true;
    node.by_name_only = true;
    node.readable = node.parent->readable;
    node.default_value = empty_value(node);
    node.attributes = client_attributes(node, nullptr);
}

}  // namespace ravd
