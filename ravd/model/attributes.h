// The attributes of a schema node: what "#attr" may hold, and what it means.
#pragma once

#include <optional>
#include <string>

#include <jansson.h>

#include "ravd/model/schema.h"

namespace ravd {

struct AttributeProblem {
    std::string attribute;  // the one to blame; empty: "#attr" itself
    std::string reason;
};

// Checks every attribute and decodes attr into node: type, flags, rights (the parent's where attr gives none), limits
// and default. The node's parent has been decoded before. Afterwards node.attributes is what clients are given: attr
// with the rights that hold, "access" and "const" as they follow from each other, and the default filled in where a
// writable parameter has none. What foreign keys and relations point to is not checked. On a problem node is half
// decoded. An object whose "fixed" is set before keeps it.
std::optional<AttributeProblem> decode_attributes(SchemaNode &node, json_t *attr);

// The same for a parameter that the model has without any schema file: read-only, of that type.
void make_own_parameter(SchemaNode &node, int type);
// The same for the "index" of the instances of an ordered object.
void make_index(SchemaNode &node);

}  // namespace ravd
