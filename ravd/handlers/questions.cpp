// JSON for programs, and from them.
#include "ravd/handlers/questions.h"

#include "ravd/identity.h"
#include "ravd/json_text.h"
#include "ravd/log.h"

namespace ravd {

namespace {

constexpr int internal_error = 9002;
constexpr int first_code = 9000, last_code = 9019;
constexpr size_t shown_bytes = 256;

HandlerAnswer failure(const std::string &program, const std::string &path, const std::string &reason) {
    log_warning("%s, for %s: %s", program.c_str(), path.c_str(), reason.c_str());
    return {internal_error, true, "the handler has failed", nullptr};
}

HandlerAnswer refusal(const json_t *error) {
    const json_t *code = json_object_get(error, "code");
    const json_t *message = json_object_get(error, "message");
    const json_int_t number = json_integer_value(code);
    std::string text(json_is_string(message) ? json_string_value(message) : "");
    return {number >= first_code && number <= last_code ? static_cast<int>(number) : internal_error, false,
            clean_utf8(std::string_view(text).substr(0, shown_bytes)), nullptr};
}

bool is_blank(const std::string &text) {
    return text.find_first_not_of(" \t\r\n") == text.npos;
}

}  // namespace

Question::Question(Action action, std::string_view path) : text_("{") {
    add("action", std::string(action_name(action)));
    add("path", std::string(path));
}

Question &Question::by(const Viewer &viewer) {
    return add("user", viewer.user).add("role", std::string(role_name(viewer.role)));
}

void Question::append_name(std::string_view name) {
    if (text_.back() != '{') text_ += ',';
    append_json_string(text_, name);
    text_ += ':';
}

Question &Question::add(std::string_view name, const Value &value) {
    append_name(name);
    append_value(text_, value);
    return *this;
}

Question &Question::begin(std::string_view name) {
    append_name(name);
    text_ += '{';
    return *this;
}

Question &Question::end() {
    text_ += '}';
    return *this;
}

std::string Question::text() {
    return std::move(end().text_) + '\n';
}

HandlerAnswer read_answer(const std::string &program, const std::string &path, const ProgramOutcome &outcome) {
    const bool ended = outcome.status >= 0;
    const std::string text = is_blank(outcome.output) ? "{}" : outcome.output;
    json_error_t error;
    Json json(ended ? json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &error) : nullptr);
    if (const json_t *refused = json_object_get(json.get(), "error")) return refusal(refused);
    if (!outcome.problem.empty()) return failure(program, path, outcome.problem);
    if (!json) return failure(program, path, std::string("its answer is no JSON: ") + error.text);
    if (!json_is_object(json.get())) return failure(program, path, "its answer is no JSON object");
    return {0, false, "", std::move(json)};
}

}  // namespace ravd
