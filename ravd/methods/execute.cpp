// Execute: a method of the data model.
#include "ravd/methods/handlers.h"
#include "ravd/operations/operations.h"

namespace ravd {

Fault run_execute(const Call &call, std::string &result) {
    Model &model = call.services.model;
    Operation operation;
    if (Fault fault = find_operation(model, call.viewer(), call.text("Path"), operation)) return fault;
    const OperationRow *row = find_bound_operation(operation.pattern);
    if (!row) return {9000, {}, {}};
    if (Fault fault = read_arguments(model, call.viewer(), call.find("ParameterList"), operation)) return fault;
    NamedValues outputs;
    if (Fault fault = row->run(call, operation, outputs)) return fault;
    result += operation_result(*operation.method, outputs);
    return {};
}

}  // namespace ravd
