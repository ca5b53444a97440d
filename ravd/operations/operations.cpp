// The table of what methods of the data model do.
#include "ravd/operations/operations.h"

namespace ravd {

namespace {

constexpr OperationRow rows[] = {
    {"Device.DNS.Diagnostics.NSLookup", run_ns_lookup, false},
    {"Device.IP.Diagnostics.IPPing", run_ip_ping, false},
    {"Device.IP.Diagnostics.TraceRoute", run_trace_route, false},
    {"Device.LocalConfig.Checkpoint", run_checkpoint, true},
    {"Device.LocalConfig.Confirm", run_confirm, true},
    {"Device.LocalConfig.Diff", run_diff, false},
    {"Device.LocalConfig.Restore", run_restore, false},
    {"Device.System.Debug", run_debug, true},
    {"Device.Users.User.{i}.CreateToken", run_create_token, true},
    {"Device.Users.User.{i}.RevokeTokens", run_revoke_tokens, true},
};

}  // namespace

std::span<const OperationRow> bound_operations() {
    return rows;
}

const OperationRow *find_bound_operation(std::string_view pattern) {
    for (const OperationRow &row : rows)
        if (pattern == row.pattern) return &row;
    return nullptr;
}

}  // namespace ravd
