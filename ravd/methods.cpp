// The table of methods. To add one: a row here, its function in methods/ and that function's line in
// methods/handlers.h; its parameters are checked and rpc.discover describes it from the row.
#include "ravd/methods.h"

#include "ravd/json_text.h"
#include "ravd/methods/handlers.h"
#include "ravd/session.h"

namespace ravd {

namespace {

bool is_text(const json_t *value) {
    return json_is_string(value);
}
bool is_flag(const json_t *value) {
    return json_is_boolean(value);
}
bool is_anything(const json_t *) {
    return true;
}

bool is_in_range(const json_t *value, json_int_t least, json_int_t most) {
    return json_is_integer(value) && json_integer_value(value) >= least && json_integer_value(value) <= most;
}
bool is_integer(const json_t *value) {
    return json_is_integer(value);
}
bool is_group(const json_t *value) {
    return is_in_range(value, 0, UINT32_MAX);
}
bool is_node_depth(const json_t *value) {
    return is_in_range(value, -1, 1);
}
bool is_tree_depth(const json_t *value) {
    return is_in_range(value, -1, INT32_MAX);
}

bool is_texts(const json_t *value) {
    if (!json_is_array(value)) return false;
    size_t index;
    json_t *element;
    json_array_foreach(value, index, element) {
        if (!json_is_string(element)) return false;
    }
    return true;
}

bool is_pairs(const json_t *value) {
    if (!json_is_array(value)) return false;
    size_t index;
    json_t *element;
    json_array_foreach(value, index, element) {
        if (!json_is_string(json_object_get(element, "Name")) || !json_object_get(element, "Value")) return false;
    }
    return true;
}

constexpr Kind text = {is_text, R"("type":"string")", "a text"};
constexpr Kind flag = {is_flag, R"("type":"boolean")", "true or false"};
constexpr Kind integer = {is_integer, R"("type":"integer")", "an integer"};
constexpr Kind texts = {is_texts, R"("type":"array","items":{"type":"string"})", "an array of texts"};
constexpr Kind pairs = {is_pairs,
                        R"("type":"array","items":{"type":"object","properties":{"Name":{"type":"string"},)"
                        R"("Value":{}},"required":["Name","Value"]})",
                        "an array of {\"Name\": text, \"Value\": value}"};
constexpr Kind group = {is_group, R"("type":"integer","minimum":0,"maximum":4294967295)",
                        "an integer from 0 to 4294967295"};
constexpr Kind node_depth = {is_node_depth, R"("type":"integer","enum":[0,1,-1])", "0, 1 or -1"};
constexpr Kind tree_depth = {is_tree_depth, R"("type":"integer","minimum":-1)", "an integer from -1"};
constexpr Kind anything = {is_anything, "", "a value"};

constexpr Parameter hello_parameters[] = {
    {"Protocol", integer, true, "Version of the protocol: 1."},
    {"Session", text, true, "32 hex digits, the same on both connections of a client."},
    {"Role", text, true, "\"events\" for the connection that takes the session's events, else \"requests\"."},
    {"Client", text, false, "Name and version of the client."},
};
constexpr Parameter login_parameters[] = {
    {"User", text, true, "Name of a user of the device."},
    {"Password", text, false, "Its password. Absent: the caller is the local user of that name."},
};
constexpr Parameter token_parameters[] = {
    {"Token", text, true, "A user's token; \"\" makes the session a guest's."},
};
constexpr Parameter group_parameters[] = {
    {"Group", group, true, "Number of the event group."},
};
constexpr Parameter event_parameters[] = {
    {"Group", group, true, "Number of the event group; below 16 only with system access."},
    {"Params", anything, false, "What the event carries."},
};
constexpr Parameter names_parameters[] = {
    {"ParameterPath", text, true, "Full name of an object or a parameter; \".\" is the root."},
    {"NextLevel", flag, true, "True: its children only. False: the node and all below it."},
};
constexpr Parameter values_parameters[] = {
    {"ParameterNames", texts, true, "Full names; an object's name stands for all parameters below it."},
    {"IgnoreAccessError", flag, false, "Leave out what may not be read."},
};
constexpr Parameter attributes_parameters[] = {
    {"ParameterNames", texts, true, "Full names of nodes."},
    {"Depth", node_depth, false, "0: the node. 1: and its children. -1: and all below it."},
    {"IgnoreAccessError", flag, false, "Leave out what may not be read."},
};
constexpr Parameter datamodel_parameters[] = {
    {"Paths", texts, true, "Full names of the branches."},
    {"Depth", tree_depth, false, "Levels below each branch, -1 for all."},
};
constexpr Parameter config_parameters[] = {
    {"Path", text, true, "Full name of the branch."},
};
constexpr Parameter select_parameters[] = {
    {"Selector", text, true, "What to select; see the selector language."},
};
constexpr Parameter set_parameters[] = {
    {"ParameterList", pairs, true, "Full names of parameters and their new values: all are set or none."},
};
constexpr Parameter add_parameters[] = {
    {"ObjectName", text, true, "Full name of the multi-instance object."},
};
constexpr Parameter delete_parameters[] = {
    {"ObjectName", text, true, "Full name of the instance."},
};

constexpr Parameter execute_parameters[] = {
    {"Path", text, true, "Full name of a method of the data model."},
    {"ParameterList", pairs, false, "Its arguments, named as below #input; null: not given."},
};

constexpr Parameter save_parameters[] = {
    {"RestorePointName", text, false, "Name of a restore point to be saved as well."},
};
constexpr Parameter reset_parameters[] = {
    {"CleanAll", flag, false, "Restore points and users go, too."},
    {"DeviceMode", text, false, "The device's mode from then on, a value of Device.DeviceInfo.DeviceMode."},
};
constexpr Parameter reboot_parameters[] = {
    {"Force", flag, false, "Also while firmware is being written, which is given up."},
    {"DeviceMode", text, false, "The device's mode from then on, a value of Device.DeviceInfo.DeviceMode."},
};

constexpr Parameter upload_parameters[] = {
    {"FileType", text, true, "\"Config\", \"BuildConfig\" or \"Log\"."},
    {"URL", text, true, "Where it goes: http, https, ftp, netcat or file."},
    {"TargetFileName", text, false, "Name of the file in the folder that the URL then names."},
};
constexpr Parameter download_parameters[] = {
    {"FileType", text, true, "\"Firmware\", \"Config\" or \"File\"."},
    {"URL", text, false, "Where the file is."},
    {"MD5", text, false, "Its MD5, hex digits."},
    {"TargetFileName", text, false, "Its name on the device."},
    {"FileSize", integer, false, "Its bytes."},
    {"NeedPreUpdate", flag, false, "Firmware: only ask whether it could be taken."},
    {"TransactionID", anything, false, "Firmware: what the reply to the download had."},
};

constexpr char nothing[] = R"("type":"object")";
constexpr char login_result[] = R"("type":"object","properties":{"User":{"type":"string"}})";
constexpr char names_result[] =
    R"("type":"object","properties":{"ParameterList":{"type":"array","items":{"type":"object","properties":)"
    R"({"Name":{"type":"string"},"Writable":{"type":"boolean"}}}}})";
constexpr char values_result[] =
    R"("type":"object","properties":{"ParameterList":{"type":"array","items":{"type":"object","properties":)"
    R"({"Name":{"type":"string"},"Value":{}}}}})";
constexpr char attributes_result[] =
    R"("type":"object","properties":{"ParameterList":{"type":"array","items":{"type":"object","properties":)"
    R"({"Name":{"type":"string"},"Attributes":{"type":"object"}}}}})";
constexpr char datamodel_result[] =
    R"("type":"object","properties":{"Datamodel":{"type":"object"},"DataModelVersion":{"type":"string"}})";
constexpr char config_result[] = R"("type":"object","properties":{"Config":{"type":"object"}})";
constexpr char selection_result[] = R"("type":"object","properties":{"Selection":{"type":"object"}})";
constexpr char status_result[] = R"("type":"object","properties":{"Status":{"type":"integer"}})";
constexpr char download_result[] =
    R"("type":"object","properties":{"Status":{"type":"integer"},"CurrentVersion":{"type":"string"},)"
    R"("NewVersion":{"type":"string"},"SavedFirmware":{"type":"string"},"TransactionID":{"type":"string"}})";
constexpr char add_result[] =
    R"("type":"object","properties":{"InstanceNumber":{"type":"integer"},"Status":{"type":"integer"}})";

constexpr Method table[] = {
    {"Hello", run_hello, hello_parameters, nothing, "Binds the connection to its client's session."},
    {"Login", run_login, login_parameters, login_result, "Logs the session in; a refused one makes it a guest's."},
    {"Logout", run_logout, {}, nothing, "Makes the session a guest's."},
    {"SetAuth", run_set_auth, token_parameters, nothing,
     "Logs the session in by a token; a refused one makes it a guest's."},
    {"JoinGroup", run_join_group, group_parameters, nothing, "Lets the session have the events of a group."},
    {"LeaveGroup", run_leave_group, group_parameters, nothing, "Ends the events of a group."},
    {"Event", run_event, event_parameters, nothing, "Sends an event to the other sessions of a group."},
    {"GetParameterNames", run_get_parameter_names, names_parameters, names_result, "Lists names."},
    {"GetParameterValues", run_get_parameter_values, values_parameters, values_result, "Reads values."},
    {"GetParameterAttributes", run_get_parameter_attributes, attributes_parameters, attributes_result,
     "Reads the schema attributes of nodes."},
    {"GetDatamodel", run_get_datamodel, datamodel_parameters, datamodel_result, "Reads branches of the schema."},
    {"GetConfig", run_get_config, config_parameters, config_result, "Reads a branch of the configuration."},
    {"Select", run_select, select_parameters, selection_result, "Reads what a selector selects."},
    {"SetParameterValues", run_set_parameter_values, set_parameters, status_result, "Sets values, all or none."},
    {"RawSetParameterValues", run_raw_set_parameter_values, set_parameters, status_result,
     "Sets values, all or none; takes a text for every type."},
    {"AddObject", run_add_object, add_parameters, add_result, "Adds an instance."},
    {"DeleteObject", run_delete_object, delete_parameters, status_result, "Deletes an instance."},
    {"Execute", run_execute, execute_parameters, values_result,
     "Executes a method of the data model; gives its outputs, named as below #output."},
    {"SaveConfig", run_save_config, save_parameters, nothing, "Saves the configuration for the next start."},
    {"FactoryReset", run_factory_reset, reset_parameters, nothing, "Brings the defaults back, running and saved."},
    {"Reboot", run_reboot, reboot_parameters, nothing, "Restarts the device; the reply comes before it goes down."},
    {"Upload", run_upload, upload_parameters, nothing, "Sends the configuration, the defaults or the log somewhere."},
    {"Download", run_download, download_parameters, download_result, "Takes a file onto the device."},
    {"rpc.discover", run_discover, {}, nothing, "Gives this document."},
};

void append_parameter(std::string &out, const Parameter &parameter) {
    out += R"({"name":)";
    append_json_string(out, parameter.name);
    out += R"(,"description":)";
    append_json_string(out, parameter.description);
    out.append(R"(,"required":)").append(parameter.required ? "true" : "false");
    out.append(R"(,"schema":{)").append(parameter.kind.schema).append("}}");
}

void append_method(std::string &out, const Method &method) {
    out += R"({"name":)";
    append_json_string(out, method.name);
    out += R"(,"summary":)";
    append_json_string(out, method.summary);
    out += R"(,"paramStructure":"by-name","params":[)";
    for (const Parameter &parameter : method.parameters) {
        if (&parameter != method.parameters.data()) out += ',';
        append_parameter(out, parameter);
    }
    out.append(R"(],"result":{"name":"result","schema":{)").append(method.result).append("}}}");
}

}  // namespace

void Deferred::answer(Fault fault, std::string result) {
    if (!is_wanted() || answered_) return;
    fault_ = std::move(fault);
    result_ = std::move(result);
    answered_ = true;
    if (on_answered_) on_answered_(fault_);
    caller_->resume();
}

void Deferred::abandon() {
    caller_ = nullptr;
    if (const auto call = std::exchange(on_abandoned_, nullptr)) call();
}

std::shared_ptr<Deferred> Call::defer() const {
    *deferred = std::make_shared<Deferred>(caller);
    return *deferred;
}

const Viewer &Call::viewer() const {
    return caller.session().viewer;
}

uint64_t Call::reply_limit() const {
    return caller.is_network_guest() ? services.limits.reply_guest : services.limits.reply;
}

const json_t *Call::find(const char *name) const {
    return json_object_get(params, name);
}

std::string_view Call::text(const char *name) const {
    const json_t *value = find(name);
    return json_is_string(value) ? std::string_view(json_string_value(value), json_string_length(value))
                                 : std::string_view();
}

int64_t Call::integer(const char *name, int64_t absent) const {
    const json_t *value = find(name);
    return value != nullptr ? json_integer_value(value) : absent;
}

bool Call::boolean(const char *name, bool absent) const {
    const json_t *value = find(name);
    return value != nullptr ? json_is_true(value) : absent;
}

std::span<const Method> all_methods() {
    return table;
}

const Method *find_method(std::string_view name) {
    for (const Method &method : table) {
        if (name == method.name) return &method;
    }
    return nullptr;
}

Fault check_parameters(const Method &method, const json_t *params) {
    for (const Parameter &parameter : method.parameters) {
        const json_t *value = json_object_get(params, parameter.name);
        if (value == nullptr) {
            if (parameter.required) return {-32602, std::string(parameter.name) + ": missing", {}};
        } else if (!parameter.kind.fits(value)) {
            return {-32602, std::string(parameter.name) + ": not " + parameter.kind.wanted, {}};
        }
    }
    return {};
}

void append_openrpc(std::string &out) {
    out += R"({"openrpc":"1.3.2","info":{"title":"ravd","version":")" RAV_VERSION R"("},"methods":[)";
    for (const Method &method : table) {
        if (&method != table) out += ',';
        append_method(out, method);
    }
    out += "]}";
}

}  // namespace ravd
