// Methods that change the data model: parameters taken apart, the work done by the model, and by the handlers that take
// part in it.
#include <algorithm>
#include <memory>

#include "ravd/audit.h"
#include "ravd/handlers/changes.h"
#include "ravd/methods/handlers.h"
#include "ravd/model/value.h"
#include "ravd/model/write.h"
#include "ravd/password.h"
#include "ravd/session.h"
#include "ravd/workers.h"

namespace ravd {

namespace {

const char *method_name(bool raw) {
    return raw ? "RawSetParameterValues" : "SetParameterValues";
}

// Values to be set, with the hashes of the passwords among them.
struct Setting {
    Json pairs;
    bool raw;
    Hashes hashes;
    Services &services;
    Member &caller;  // while the reply is wanted

    // All is checked each time: the model may be another one by now, and so may the caller.
    Fault make(std::string &result) {
        const Audit::Acting acting(services.audit, caller, method_name(raw));
        return set_values(services.model, caller.session().viewer, pairs.get(), raw, result, &hashes);
    }

    void hash(unsigned cost) {
        for (auto &[name, text] : hashes.wanted) {
            hashes.made[name] = hash_password(text, cost);
            wipe(text);
        }
        hashes.wanted.clear();
    }
};

Fault make_setting(const std::shared_ptr<Setting> &setting, const Changes::Defer &defer, std::string &result) {
    const auto make = [setting](std::string &made) { return setting->make(made); };
    return setting->services.changes.make(setting->caller, make, defer, result);
}

void finish_hashing(const std::shared_ptr<Setting> &setting, const std::shared_ptr<Deferred> &reply) {
    if (!reply->is_wanted()) return;
    const auto &made = setting->hashes.made;
    if (std::ranges::any_of(made, [](const auto &each) { return each.second.empty(); }))
        return reply->answer({9002, "the password can't be hashed", {}});
    std::string result;
    bool later = false;
    const auto defer = [&] {
        later = true;
        return reply;
    };
    Fault fault = make_setting(setting, defer, result);
    if (later) return;
    if (!fault && result.empty()) fault = {9002, "the password was not hashed", {}};
    reply->answer(std::move(fault), std::move(result));
}

Fault set_pairs(const Call &call, bool raw, std::string &result) {
    const json_t *pairs = call.find("ParameterList");
    const auto setting = std::make_shared<Setting>(
        Setting{Json(json_incref(const_cast<json_t *>(pairs))), raw, {}, call.services, call.caller});
    Fault fault = make_setting(
        setting, [&call] { return call.defer(); }, result);
    if (fault || call.is_deferred() || setting->hashes.wanted.empty()) return fault;
    const unsigned cost = call.services.hash_cost;
    const std::shared_ptr<Deferred> reply = call.defer();
    const auto work = [setting, cost] { setting->hash(cost); };
    if (!call.services.workers.post(work, [setting, reply] { finish_hashing(setting, reply); }))
        reply->answer({9004, "too many passwords are being hashed", {}});
    return {};
}

// An operation on the object or instance that the call names.
using ObjectOperation = Fault (*)(Model &model, const Viewer &viewer, std::string_view name, std::string &result);

Fault change_object(const Call &call, const char *method, ObjectOperation operation, std::string &result) {
    const auto make = [&services = call.services, &caller = call.caller, method, operation,
                       name = std::string(call.text("ObjectName"))](std::string &made) {
        const Audit::Acting acting(services.audit, caller, method);
        return operation(services.model, caller.session().viewer, name, made);
    };
    return call.services.changes.make(
        call.caller, make, [&call] { return call.defer(); }, result);
}

}  // namespace

Fault run_set_parameter_values(const Call &call, std::string &result) {
    return set_pairs(call, false, result);
}

Fault run_raw_set_parameter_values(const Call &call, std::string &result) {
    return set_pairs(call, true, result);
}

Fault run_add_object(const Call &call, std::string &result) {
    return change_object(call, "AddObject", add_object, result);
}

Fault run_delete_object(const Call &call, std::string &result) {
    return change_object(call, "DeleteObject", delete_object, result);
}

}  // namespace ravd
