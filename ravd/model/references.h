// Values that name other nodes: pathRef, instanceRef, and every text with a foreign key, items of lists one by one.
#pragma once

#include <set>
#include <string>
#include <string_view>

#include "ravd/model/reading.h"

namespace ravd {

// Full names of instances, closed.
using InstancePaths = std::set<std::string, std::less<>>;

// Why text can't be the parameter's value, as value_problem() says it: it names what does not exist for the viewer, or
// no instance of the object that the foreign key gives. Empty when it can, and for parameters that refer to nothing.
std::string reference_problem(Reading &reading, const SchemaNode &parameter, std::string_view text);

// True when path is one of the instances or leads to something in it.
bool leads_into(std::string_view path, const InstancePaths &instances);
// The same for the text of a parameter, which may be a list.
bool refers_to(const SchemaNode &parameter, std::string_view text, const InstancePaths &instances);
// text without the references into the instances.
std::string without_references(const SchemaNode &parameter, std::string_view text, const InstancePaths &instances);

}  // namespace ravd
