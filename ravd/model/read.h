// The reading operations on the model, as JSON text. Each appends its result object to result, compact, or returns a
// fault and leaves result as it was. Names come and go as docs/protocol.md fixes them: full names, objects in replies
// closed with ".", in requests with or without. Live tables below what is read are listed first, once a call.
// Nothing here knows of sockets; nothing is printed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <jansson.h>

#include "ravd/model/access.h"
#include "ravd/model/fault.h"

namespace ravd {

class Model;

// {"ParameterList": [{"Name", "Writable"}]}: the children of path (next_level) or path and all below it.
Fault read_names(Model &model, const Viewer &viewer, std::string_view path, bool next_level, std::string &result);

// names: an array of texts (the caller has checked that). {"ParameterList": [{"Name", "Value"}]}.
// The fault of the first name that failed, with every failed name among its parameters; 9004 as soon as the result has
// grown past limit bytes, since a short list of names can ask for the whole model many times.
Fault read_values(Model &model, const Viewer &viewer, const json_t *names, bool ignore_access_error,
                  std::string &result, size_t limit = SIZE_MAX);

// depth: 0, 1 or -1. {"ParameterList": [{"Name", "Attributes"}]}. Faults as above.
Fault read_attributes(Model &model, const Viewer &viewer, const json_t *names, int depth, bool ignore_access_error,
                      std::string &result, size_t limit = SIZE_MAX);

// {"Datamodel": schema tree from the root, "DataModelVersion"}; depth: levels below each path, -1 for all.
Fault read_datamodel(Model &model, const Viewer &viewer, const json_t *paths, int depth, std::string &result);

// {"Config": value tree from the root}.
Fault read_config(Model &model, const Viewer &viewer, std::string_view path, std::string &result);

// {"Selection": {path: value tree, …}} in model order, each path without its closing ".". 9003 with the column in its
// detail when the selector is malformed; 9005 when it, a condition or a name in braces names what the schema does not
// have or the viewer may not see, or an instance that does not exist where nothing was left to choose; 9001 when it
// leads to a parameter that the viewer may not read; 9004 as above. A condition on such a parameter is never fulfilled.
Fault read_selection(Model &model, const Viewer &viewer, std::string_view selector, std::string &result,
                     size_t limit = SIZE_MAX);

// Whether the viewer may read the parameter of that full name, or see the object or instance; asks the schema only.
bool may_read(Model &model, const Viewer &viewer, std::string_view name);

}  // namespace ravd
