// Execute: a method of the data model. A handler that the schema names comes before what the daemon itself does.
#include "ravd/audit.h"
#include "ravd/handlers/executing.h"
#include "ravd/methods/handlers.h"
#include "ravd/operations/operations.h"

namespace ravd {

Fault run_execute(const Call &call, std::string &result) {
    Model &model = call.services.model;
    Operation operation;
    if (Fault fault = find_operation(model, call.viewer(), call.text("Path"), operation)) return fault;
    const OperationRow *row = find_bound_operation(operation.pattern);
    const bool handled = has_handler(operation);
    if (!row && !handled) return {9000, {}, {}};
    if (Fault fault = read_arguments(model, call.viewer(), call.find("ParameterList"), operation)) return fault;
    if (handled) return execute_handler(call, std::move(operation));
    const Audit::Acting acting(call.services.audit, call.caller, "Execute");
    NamedValues outputs;
    if (Fault fault = row->run(call, operation, outputs)) return fault;
    if (call.is_deferred()) return {};
    if (row->changes) call.services.audit.executed(operation);
    result += operation_result(*operation.method, outputs);
    return {};
}

}  // namespace ravd
