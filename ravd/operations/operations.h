// What the methods of the data model do: one table, by their patterns. To add one: its node in a file of schema/, its
// function in operations/FAMILY.cpp, that function's line here and its row in operations.cpp.
#pragma once

#include <span>
#include <string_view>

#include "ravd/methods.h"
#include "ravd/model/operation.h"

namespace ravd {

class Database;

// Runs a method with checked arguments, for a caller who may execute it. Adds to outputs, or returns a fault. Or
// defers: it takes what it needs of the operation and later gives operation_result() to what call.defer() returned.
using RunOperation = Fault (*)(const Call &call, const Operation &operation, NamedValues &outputs);

struct OperationRow {
    const char *pattern;  // "Device.Users.User.{i}.CreateToken"
    RunOperation run;
    bool changes;  // something that lasts: the audit tells its success. One that defers does so by itself
};

std::span<const OperationRow> bound_operations();
const OperationRow *find_bound_operation(std::string_view pattern);  // null for none

// echo.cpp
Fault run_ip_ping(const Call &call, const Operation &operation, NamedValues &outputs);
Fault run_trace_route(const Call &call, const Operation &operation, NamedValues &outputs);

// ns_lookup.cpp
Fault run_ns_lookup(const Call &call, const Operation &operation, NamedValues &outputs);

// debug.cpp
void restore_debug_mode(Database &database);  // to what is kept for the daemon's start
Fault run_debug(const Call &call, const Operation &operation, NamedValues &outputs);

// local_config.cpp
Fault run_diff(const Call &call, const Operation &operation, NamedValues &outputs);
Fault run_restore(const Call &call, const Operation &operation, NamedValues &outputs);
Fault run_checkpoint(const Call &call, const Operation &operation, NamedValues &outputs);
Fault run_confirm(const Call &call, const Operation &operation, NamedValues &outputs);

// tokens.cpp
Fault run_create_token(const Call &call, const Operation &operation, NamedValues &outputs);
Fault run_revoke_tokens(const Call &call, const Operation &operation, NamedValues &outputs);

}  // namespace ravd
