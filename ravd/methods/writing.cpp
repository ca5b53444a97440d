// Methods that change the data model: parameters taken apart, the work done by the model.
#include "ravd/methods/handlers.h"
#include "ravd/model/write.h"

namespace ravd {

Fault run_set_parameter_values(const Call &call, std::string &result) {
    return set_values(call.services.model, call.viewer(), call.find("ParameterList"), false, result);
}

Fault run_raw_set_parameter_values(const Call &call, std::string &result) {
    return set_values(call.services.model, call.viewer(), call.find("ParameterList"), true, result);
}

Fault run_add_object(const Call &call, std::string &result) {
    return add_object(call.services.model, call.viewer(), call.text("ObjectName"), result);
}

Fault run_delete_object(const Call &call, std::string &result) {
    return delete_object(call.services.model, call.viewer(), call.text("ObjectName"), result);
}

}  // namespace ravd
