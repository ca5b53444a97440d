// The functions of the methods, grouped by the file they stand in. What each takes and gives stands in its row of the
// table in ravd/methods.cpp.
#pragma once

#include <string>

#include "ravd/methods.h"

namespace ravd {

// session.cpp
Fault run_login(const Call &call, std::string &result);
Fault run_logout(const Call &call, std::string &result);
Fault run_set_auth(const Call &call, std::string &result);
Fault run_hello(const Call &call, std::string &result);
Fault run_join_group(const Call &call, std::string &result);
Fault run_leave_group(const Call &call, std::string &result);
Fault run_event(const Call &call, std::string &result);

// read.cpp
Fault run_get_parameter_names(const Call &call, std::string &result);
Fault run_get_parameter_values(const Call &call, std::string &result);
Fault run_get_parameter_attributes(const Call &call, std::string &result);
Fault run_get_datamodel(const Call &call, std::string &result);
Fault run_get_config(const Call &call, std::string &result);
Fault run_select(const Call &call, std::string &result);

// writing.cpp
Fault run_set_parameter_values(const Call &call, std::string &result);
Fault run_raw_set_parameter_values(const Call &call, std::string &result);
Fault run_add_object(const Call &call, std::string &result);
Fault run_delete_object(const Call &call, std::string &result);

// execute.cpp
Fault run_execute(const Call &call, std::string &result);

// transfer.cpp
Fault run_download(const Call &call, std::string &result);
Fault run_upload(const Call &call, std::string &result);
// configuration.cpp
Fault run_save_config(const Call &call, std::string &result);

// reset.cpp
Fault run_factory_reset(const Call &call, std::string &result);

// device.cpp
Fault run_reboot(const Call &call, std::string &result);

// discover.cpp
Fault run_discover(const Call &call, std::string &result);

}  // namespace ravd
