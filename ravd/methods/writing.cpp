// Methods that change the data model: parameters taken apart, the work done by the model.
#include <algorithm>
#include <memory>

#include "ravd/audit.h"
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

// A request that waits for the hashes of its passwords.
struct Hashing {
    Json pairs;
    bool raw;
    Hashes hashes;
    Services &services;
    Member &caller;  // while the reply is wanted
    std::shared_ptr<Deferred> reply;

    void work(unsigned cost) {
        for (auto &[name, text] : hashes.wanted) {
            hashes.made[name] = hash_password(text, cost);
            wipe(text);
        }
        hashes.wanted.clear();
    }

    // Everything is checked again: the model may be another one by now, and so may the caller.
    void finish() {
        if (!reply->is_wanted()) return;
        const Audit::Acting acting(services.audit, caller, method_name(raw));
        const bool failed = std::ranges::any_of(hashes.made, [](const auto &each) { return each.second.empty(); });
        std::string result;
        Fault fault = failed ? Fault{9002, "the password can't be hashed", {}}
                             : set_values(services.model, caller.session().viewer, pairs.get(), raw, result, &hashes);
        if (!fault && result.empty()) fault = {9002, "the password was not hashed", {}};
        reply->answer(std::move(fault), std::move(result));
    }
};

Fault set_pairs(const Call &call, bool raw, std::string &result) {
    const Audit::Acting acting(call.services.audit, call.caller, method_name(raw));
    Hashes hashes;
    const json_t *pairs = call.find("ParameterList");
    Fault fault = set_values(call.services.model, call.viewer(), pairs, raw, result, &hashes);
    if (fault || hashes.wanted.empty()) return fault;
    const unsigned cost = call.services.hash_cost;
    const auto hashing =
        std::make_shared<Hashing>(Hashing{Json(json_incref(const_cast<json_t *>(pairs))), raw, std::move(hashes),
                                          call.services, call.caller, call.defer()});
    const auto work = [hashing, cost] { hashing->work(cost); };
    if (!call.services.workers.post(work, [hashing] { hashing->finish(); }))
        hashing->reply->answer({9004, "too many passwords are being hashed", {}});
    return {};
}

}  // namespace

Fault run_set_parameter_values(const Call &call, std::string &result) {
    return set_pairs(call, false, result);
}

Fault run_raw_set_parameter_values(const Call &call, std::string &result) {
    return set_pairs(call, true, result);
}

Fault run_add_object(const Call &call, std::string &result) {
    const Audit::Acting acting(call.services.audit, call.caller, "AddObject");
    return add_object(call.services.model, call.viewer(), call.text("ObjectName"), result);
}

Fault run_delete_object(const Call &call, std::string &result) {
    const Audit::Acting acting(call.services.audit, call.caller, "DeleteObject");
    return delete_object(call.services.model, call.viewer(), call.text("ObjectName"), result);
}

}  // namespace ravd
