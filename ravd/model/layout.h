// The last step of loading a schema: what follows from its nodes as a whole.
#pragma once

#include "ravd/model/schema.h"

namespace ravd {

// For a tree whose nodes are all decoded: adds the parameters that the model has by itself (max_instance, order,
// index, DataModelVersion), makes names findable, ties the "...NumberOfEntries" parameters to the objects they count,
// gives every parameter and multi-instance object its place in its record's shape, decides who sees what, and counts.
// DataModelVersion is a digest of the schema: it differs when anything does that a client keeps.
void lay_out(Schema &schema);

}  // namespace ravd
