// Methods that read the data model: parameters taken apart, the work done by the model. Those that read values wait for
// the handlers that tell some of them.
#include "ravd/model/read.h"

#include "ravd/handlers/telling.h"
#include "ravd/methods/handlers.h"

namespace ravd {

namespace {

Fault values(const Call &call, std::string &result) {
    return read_values(call.services.model, call.viewer(), call.find("ParameterNames"),
                       call.boolean("IgnoreAccessError"), result, call.reply_limit());
}

Fault config(const Call &call, std::string &result) {
    return read_config(call.services.model, call.viewer(), call.text("Path"), result);
}

Fault selection(const Call &call, std::string &result) {
    return read_selection(call.services.model, call.viewer(), call.text("Selector"), result, call.reply_limit());
}

}  // namespace

Fault run_get_parameter_names(const Call &call, std::string &result) {
    return read_names(call.services.model, call.viewer(), call.text("ParameterPath"), call.boolean("NextLevel"),
                      result);
}

Fault run_get_parameter_values(const Call &call, std::string &result) {
    return read_told(call, values, result);
}

Fault run_get_parameter_attributes(const Call &call, std::string &result) {
    return read_attributes(call.services.model, call.viewer(), call.find("ParameterNames"),
                           static_cast<int>(call.integer("Depth")), call.boolean("IgnoreAccessError"), result,
                           call.reply_limit());
}

Fault run_get_datamodel(const Call &call, std::string &result) {
    return read_datamodel(call.services.model, call.viewer(), call.find("Paths"),
                          static_cast<int>(call.integer("Depth", -1)), result);
}

Fault run_get_config(const Call &call, std::string &result) {
    return read_told(call, config, result);
}

Fault run_select(const Call &call, std::string &result) {
    return read_told(call, selection, result);
}

}  // namespace ravd
