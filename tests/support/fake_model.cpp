// The scripted daemon's data model: a list of names with their attributes.
#include "tests/support/fake_model.h"

#include <utility>

namespace test {

namespace {

struct Node {
    const char *name;
    const char *attributes;
    const char *value;
};

constexpr char object[] = R"({"type":"object"})";
constexpr char instance[] = R"({"type":"object","const":true})";
constexpr char boolean[] = R"({"type":"boolean","access":"readWrite","default":false})";
constexpr char text[] = R"({"type":"string","access":"readWrite","default":"","maxLength":64})";
constexpr char number[] = R"({"type":"unsignedInt","access":"readOnly","const":true,"runtime":true})";

constexpr Node nodes[] = {
    {".", object, nullptr},
    {"Device.", object, nullptr},
    {"DataModelVersion", R"({"type":"string","access":"readOnly","const":true})", R"("2")"},
    {"Device.DeviceInfo.", object, nullptr},
    {"Device.DeviceInfo.HostName", text, R"("gate")"},
    {"Device.DeviceInfo.UpTime", number, "17"},
    {"Device.DeviceInfo.Port", R"({"type":"unsignedInt","access":"readWrite","default":0,"base":16})", "31"},
    {"Device.DeviceInfo.Enable", boolean, "true"},
    {"Device.DeviceInfo.Level", R"({"type":"decimal","access":"readWrite","default":0.0})", "1.5"},
    {"Device.DeviceInfo.Bare", R"({"type":"string","access":"readOnly","const":true})", R"("x")"},
    {"Device.IP.", object, nullptr},
    {"Device.IP.Interface.", R"({"type":"object","multi":true})", nullptr},
    {"Device.IP.Interface.#template.", instance, nullptr},
    {"Device.IP.Interface.max_instance", number, "2"},
    {"Device.IP.Interface.#template.Enable", boolean, nullptr},
    {"Device.IP.Interface.#template.Name", text, nullptr},
    {"Device.IP.Interface.1.", instance, nullptr},
    {"Device.IP.Interface.1.Enable", boolean, "true"},
    {"Device.IP.Interface.1.Name", text, R"("eth0")"},
    {"Device.IP.Interface.1.IPv4Address.", R"({"type":"object","multi":true})", nullptr},
    {"Device.IP.Interface.2.", instance, nullptr},
    {"Device.IP.Interface.2.Enable", boolean, "false"},
    {"Device.IP.Interface.2.Name", text, R"("eth1")"},
    {"Device.IP.Interface.2.IPv4Address.", R"({"type":"object","multi":true})", nullptr},
    {"Device.Rules.", R"({"type":"object","multi":true,"ordered":true})", nullptr},
    {"Device.Rules.#template.", instance, nullptr},
    {"Device.Rules.max_instance", number, "3"},
    {"Device.Rules.order", R"({"type":"list","access":"readOnly","const":true})", "[1, 3]"},
    {"Device.Rules.1.", instance, nullptr},
    {"Device.Rules.1.index", R"({"type":"unsignedInt","access":"readWrite","default":0})", "1"},
    {"Device.Rules.1.Text", text, R"("first")"},
    {"Device.Rules.3.", instance, nullptr},
    {"Device.Rules.3.index", R"({"type":"unsignedInt","access":"readWrite","default":0})", "2"},
    {"Device.Rules.3.Text", text, R"("second")"},
    {"Device.Reset.", R"({"type":"method"})", nullptr},
    {"Device.Reset.#input.", object, nullptr},
    {"Device.Reset.#input.Delay", number, nullptr},
    {"Device.Reset.#input.Reason", text, nullptr},
    {"Device.Reset.#input.Times", R"({"type":"int","access":"readWrite","default":1})", nullptr},
    {"Device.Reset.#input.More.", object, nullptr},
};

std::string below(const std::string &name) {
    return name == "." ? "" : name;
}

bool is_or_is_below(const Node &node, const std::string &name, int depth) {
    const std::string path(node.name);
    if (path == name || path == name + "." || path + "." == name) return true;
    const std::string prefix = below(name.ends_with('.') ? name : name + ".");
    if (depth == 0 || path == "." || !path.starts_with(prefix)) return false;
    const size_t dot = path.find('.', prefix.size());
    return depth < 0 || dot == path.npos || dot + 1 == path.size();
}

bool is_instance(const std::string &path, const std::string &parent) {
    return path.size() > parent.size() && path[parent.size()] >= '0' && path[parent.size()] <= '9';
}

using Lister = std::string (*)(const std::string &name, int depth);

std::string list_attributes(const std::string &name, int depth) {
    std::string list;
    for (const Node &node : nodes)
        if (is_or_is_below(node, name, depth))
            list += std::string(R"({"Name":")") + node.name + R"(","Attributes":)" + node.attributes + "},";
    return list;
}

std::string list_values(const std::string &name, int) {
    std::string list;
    for (const Node &node : nodes)
        if (node.value && is_or_is_below(node, name, -1))
            list += std::string(R"({"Name":")") + node.name + R"(","Value":)" + node.value + "},";
    return list;
}

std::string list_instances(const std::string &name, int) {
    std::string list;
    for (const Node &node : nodes)
        if (node.name != name && is_or_is_below(node, name, 1) && is_instance(node.name, name))
            list += std::string(R"({"Name":")") + node.name + R"(","Writable":true},)";
    return list;
}

// Answers with the lists of all names together.
void answer(Peer &peer, const std::string &request, const json_t *names, int depth, Lister lister) {
    std::string all;
    size_t i;
    json_t *name;
    json_array_foreach(names, i, name) {
        const std::string list = lister(json_string_value(name), depth);
        if (list.empty() && lister != list_instances) return peer.fail(request, 9005, "Invalid parameter name");
        all += list;
    }
    if (!all.empty()) all.pop_back();
    peer.reply(request, R"({"ParameterList":[)" + all + "]}");
}

}  // namespace

Script answer_from_model(Intercept intercept) {
    return [intercept = std::move(intercept)](Peer &peer) {
        while (const auto request = peer.request()) {
            if (intercept && intercept(peer, *request)) continue;
            const std::string method = method_of(*request);
            json_t *params = json_loads(params_of(*request).c_str(), 0, nullptr);
            const json_t *names = json_object_get(params, "ParameterNames");
            if (method == "GetParameterAttributes") {
                answer(peer, *request, names, static_cast<int>(json_integer_value(json_object_get(params, "Depth"))),
                       list_attributes);
            } else if (method == "GetParameterValues") {
                answer(peer, *request, names, -1, list_values);
            } else if (method == "GetParameterNames") {
                json_t *one = json_pack("[O]", json_object_get(params, "ParameterPath"));
                answer(peer, *request, one, 1, list_instances);
                json_decref(one);
            } else {
                peer.reply(*request, method == "AddObject" ? R"({"InstanceNumber":7,"Status":0})" : "{}");
            }
            json_decref(params);
        }
    };
}

}  // namespace test
