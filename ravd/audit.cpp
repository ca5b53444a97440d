// Audit lines. Texts from outside stand in them as JSON strings, so that none can pass for a field or another line.
#include "ravd/audit.h"

#include "ravd/identity.h"
#include "ravd/json_text.h"
#include "ravd/log.h"
#include "ravd/model/operation.h"
#include "ravd/session.h"

namespace ravd {

namespace {

constexpr size_t shown_bytes = 1024;

std::string line(std::string_view actor, std::string_view what) {
    std::string text = "audit: ";
    text.append(actor.empty() ? "user=- role=- peer=- method=-" : actor);
    return text.append(" ").append(what);
}

std::string line(std::string_view actor, std::string_view what, std::string_view path) {
    return line(actor, what).append(" path=").append(path);
}

}  // namespace

Audit::Acting::Acting(Audit &audit, const Member &caller, const char *method) : audit_(audit) {
    const Viewer &viewer = caller.session().viewer;
    std::string actor = "user=";
    if (viewer.user.empty()) {
        actor += '-';
    } else {
        append_json_string(actor, viewer.user);
    }
    actor.append(" role=").append(role_name(viewer.role)).append(" peer=");
    append_json_string(actor, peer_name(caller.peer()));
    audit_.actor_ = actor.append(" method=").append(method);
}

Audit::Acting::~Acting() {
    audit_.actor_.clear();
}

void Audit::changed(const RecordedChange &change) {
    constexpr const char *names[] = {"set", "add", "delete", "move"};  // by Kind
    std::string text = line(actor_, names[static_cast<size_t>(change.kind)], change.path);
    if (!change.after.empty())
        text.append(" old=").append(audit_value(change.before)).append(" new=").append(audit_value(change.after));
    log_audit(text);
}

void Audit::executed(const Operation &operation) {
    log_audit(line(actor_, "execute", operation.name) + " arguments=" + audit_value(arguments_for_log(operation)));
}

void Audit::acted(const char *what, const json_t *arguments) {
    std::string text = "{}";
    if (arguments != nullptr) append_json(text = {}, arguments);
    log_audit(line(actor_, what).append(" arguments=").append(audit_value(text)));
}

std::string audit_value(std::string_view json) {
    if (json.size() <= shown_bytes) return std::string(json);
    std::string text;
    append_json_string(text, clean_utf8(json.substr(0, shown_bytes)));
    return text += "...";
}

}  // namespace ravd
