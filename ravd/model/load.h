// Schema files into a schema: the format is that of docs/protocol.md, "The schema tree".
#pragma once

#include <memory>
#include <string>

#include "ravd/model/schema.h"

namespace ravd {

// Reads every *.json file of the folder in the order of their names, merges them by branch and checks the whole.
// On failure returns null and sets error to "<file>:<line>: <reason>", or to "<folder>: <reason>".
std::unique_ptr<Schema> load_schema(const std::string &folder, std::string &error);

}  // namespace ravd
