// What exporting and importing a configuration share.
#pragma once

#include "ravd/model/schema.h"

namespace ravd {

inline constexpr char configuration_format[] = "ravd configuration 1";

// What users set there lasts.
bool is_configured(const SchemaNode &parameter);
// Whether a record of that shape has anything of this kind, below it too.
bool holds_configuration(const Shape &shape);
// The same of a table, whose instances count where users can add them.
bool is_configured_table(const SchemaNode &object);

}  // namespace ravd
