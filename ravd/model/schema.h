// The schema: a tree of nodes that says what may exist, with what type, limits and rights. It is loaded once (load.h)
// and never changes afterwards; values and instances live in records (store.h) shaped after it.
//
// Everything that has a name stands among the children: a multi-instance object's are "#template" (the schema of its
// instances, where it is ordered with "index" as its last child), "max_instance" and, where it is ordered, "order"; a
// method's are "#input" and "#output"; the root's last one is "DataModelVersion".
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ravd/model/access.h"
#include "ravd/model/handlers.h"
#include "ravd/model/pattern.h"
#include "ravd/model/value.h"
#include "rv/tr.h"

namespace ravd {

struct LiveParameter;
struct SchemaNode;

// A set of roles, one bit each.
using RoleSet = uint8_t;
constexpr RoleSet role_bit(Role role) {
    return static_cast<RoleSet>(1U << static_cast<unsigned>(role));
}

// What one record holds: the root's record, or one instance. Positions are the nodes' slots.
struct Shape {
    std::vector<const SchemaNode *> parameters;
    std::vector<const SchemaNode *> tables;  // multi-instance objects directly in this record
};

// Limits of a parameter's values beyond its type.
struct Limits {
    Value min, max;                                  // as integers or reals, like the parameter; unset: none
    int64_t min_length = 0, max_length = INT64_MAX;  // as text_length() counts; of a list: of each item
    int64_t min_count = 0, max_count = INT64_MAX;    // items of a list
    std::vector<std::string> enumeration;            // of a list: of each item
    std::unique_ptr<Pattern> pattern;                // null: none; of a list: of each item
    std::string foreign_key;                         // path of the referenced multi-instance object
    const SchemaNode *referenced = nullptr;          // that object; null: none
};

// What deleting an instance does to a parameter that refers to it.
enum class Verdict : uint8_t {
    deny,     // the instance stays
    cascade,  // the instance that has the parameter is deleted too
    clear,    // the reference is taken out of the parameter
    keep,     // nothing: the reference leads nowhere
};

struct Relation {
    Verdict verdict;
    const SchemaNode *referrer;  // a parameter, of every instance
};

// Where a parameter's value comes from.
enum class Source : uint8_t {
    stored,   // the record's slot, else the default
    live,     // a provider, when it is read
    count,    // the number of instances of node->table
    highest,  // the highest instance number of node->table
    order,    // the instance numbers of node->table in their order
    index,    // the place of the record among the instances of node->table, from 1
};

constexpr uint32_t no_slot = UINT32_MAX;

struct SchemaNode {
    SchemaNode();
    ~SchemaNode();
    SchemaNode(const SchemaNode &) = delete;
    SchemaNode &operator=(const SchemaNode &) = delete;

    std::string name;
    SchemaNode *parent = nullptr;                       // null for the root
    std::vector<std::unique_ptr<SchemaNode>> children;  // in model order
    std::vector<SchemaNode *> by_name;                  // the same, sorted
    std::string attributes;                             // "#attr" as clients get it, compact JSON
    std::unique_ptr<Shape> shape;                       // of the root and of every "#template"
    std::unique_ptr<Limits> limits;                     // null: none
    Value default_value;                                // of a parameter: never unset
    std::vector<Relation> relations;                    // of an object or "#template": who refers to its instances
    std::unique_ptr<Handlers> handlers;                 // null: none
    const SchemaNode *teller = nullptr;                 // of a parameter: whose handler tells its value
    const SchemaNode *table = nullptr;                  // see Source
    const LiveParameter *live = nullptr;                // see Source
    uint32_t slot = no_slot;        // of a parameter or multi-instance object: its place in its record's shape
    uint32_t live_table = no_slot;  // of a live multi-instance object: its place among the model's live tables
    uint8_t type = RV_TR_UNKNOWN;
    uint8_t base = 10;  // of an integer's textual form: 2, 8, 10 or 16
    Source source = Source::stored;
    bool multi = false;         // a multi-instance object
    bool ordered = false;       // its instances have an order of their own
    bool fixed = false;         // a parameter that is read-only, an object whose instances can't be added or deleted
    bool unique = false;        // no two instances of a table have the same value, "" apart
    bool mandatory = false;     // an argument of a method that must be given
    bool has_keys = false;      // a multi-instance object some of whose instances may be a provider's, known by keys
    bool runtime = false;       // not part of the configuration
    bool by_name_only = false;  // left out of lists of names and values
    RoleSet readable = 0, writable = 0, visible = 0;

    bool is_parameter() const { return type >= RV_TR_STRING; }
    bool is_method() const { return type == RV_TR_METHOD; }
    bool is_instance() const { return parent && parent->multi && !is_parameter(); }  // a "#template"
    bool can_see(Role role) const { return (visible & role_bit(role)) != 0; }
    bool can_read(Role role) const { return (readable & role_bit(role)) != 0; }
    // A parameter that the role may set; an object or "#template" whose instances it may add or delete.
    bool can_write(Role role) const;
    bool can_execute(Role role) const { return is_method() && (writable & role_bit(role)) != 0; }

    // The child of that name, null for none. Exact: instance numbers are no names.
    const SchemaNode *find(std::string_view child) const;
    // The schema of a multi-instance object's instances.
    const SchemaNode &instance() const { return *children.front(); }
    // This node is node, or below it.
    bool is_within(const SchemaNode &node) const;
    // "Device.IP.Interface.#template.Enable", not closed; "" for the root.
    std::string full_name() const;
    // The name below the record, the root's or an instance's, that has it: "Stats.BytesSent".
    std::string name_in_record() const;

    // Adds a child and returns it, lent. sort_names() makes it findable.
    SchemaNode &add(std::string child_name);
    void sort_names();
};

struct Schema {
    SchemaNode root;
    size_t objects = 0;         // objects written in the schema files, a multi-instance object with its template as one
    size_t parameters = 0;      // parameters written in them
    bool has_tellers = false;   // some values are told by handlers
    bool has_changers = false;  // handlers take part in some changes
    bool has_redrawn = false;   // some changes are told to handlers
};

}  // namespace ravd
