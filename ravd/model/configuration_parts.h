// What exporting and importing a configuration share.
#pragma once

#include "ravd/model/schema.h"

namespace ravd {

inline constexpr char configuration_format[] = "ravd configuration 1";

// What users set there lasts.
bool is_configured(const SchemaNode &parameter);
// The same of anything in the table, its instances included.
bool is_configured_table(const SchemaNode &object);

}  // namespace ravd
