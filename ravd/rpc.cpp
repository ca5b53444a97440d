// Requests checked, dispatched and answered as JSON-RPC 2.0 says.
#include "ravd/rpc.h"

#include <algorithm>
#include <charconv>
#include <unordered_set>

#include "ravd/identity.h"
#include "ravd/json_text.h"
#include "ravd/log.h"
#include "ravd/session.h"

namespace ravd {

namespace {

constexpr int parse_error = -32700;
constexpr int invalid_request = -32600;
constexpr int method_not_found = -32601;
constexpr int invalid_params = -32602;
constexpr size_t id_length = 256;
constexpr char result_envelope[] = R"({"jsonrpc":"2.0","result":)";

// The id as the reply repeats it.
std::string id_text(const json_t *id) {
    std::string text;
    if (json_is_real(id)) {
        append_json_real(text, json_real_value(id));
    } else if (id != nullptr) {
        append_json(text, id);
    } else {
        text = "null";
    }
    return text;
}

bool is_usable_id(const json_t *id) {
    if (json_is_string(id)) return json_string_length(id) <= id_length;
    return json_is_number(id) || json_is_null(id);
}

std::string_view string_member(const json_t *object, const char *name) {
    const json_t *value = json_object_get(object, name);
    return json_is_string(value) ? std::string_view(json_string_value(value), json_string_length(value))
                                 : std::string_view();
}

// Why an object is no request, or no fault.
Fault check_request(const json_t *request) {
    if (!json_is_object(request)) return {invalid_request, "not an object", {}};
    if (string_member(request, "jsonrpc") != "2.0") return {invalid_request, "jsonrpc: not \"2.0\"", {}};
    if (!json_is_string(json_object_get(request, "method"))) return {invalid_request, "method: not a text", {}};
    const json_t *id = json_object_get(request, "id");
    if (id != nullptr && !is_usable_id(id)) {
        return {invalid_request, "id: neither a text of up to 256 bytes nor a number nor null", {}};
    }
    const json_t *params = json_object_get(request, "params");
    if (params != nullptr && !json_is_object(params) && !json_is_array(params)) {
        return {invalid_request, "params: not an object", {}};
    }
    return {};
}

Fault call_method(const json_t *request, Services &services, Member &caller, std::shared_ptr<Deferred> &deferred,
                  std::string &result) {
    const Method *method = find_method(string_member(request, "method"));
    if (method == nullptr) return {method_not_found, {}, {}};
    const json_t *params = json_object_get(request, "params");
    if (json_is_array(params)) return {invalid_params, "params: by name only, not by position", {}};
    if (Fault fault = check_parameters(*method, params)) return fault;
    if (log_tells(LogLevel::debug)) log_debug("%s calls %s", peer_name(caller.peer()).c_str(), method->name);
    return method->run({services, caller, params, &deferred}, result);
}

bool is_too_long_integer(std::string_view number) {
    int64_t value = 0;
    const auto [end, error] = std::from_chars(number.begin(), number.end(), value);
    return end == number.end() && error == std::errc::result_out_of_range;
}

// The message with a fraction behind every integer, outside of its texts, that is too large to be held.
std::string with_long_integers_as_reals(std::string_view message) {
    std::string out;
    while (!message.empty()) {
        size_t end = 1;
        if (message.front() == '"') {
            while (end < message.size() && message[end] != '"') end += message[end] == '\\' ? 2 : 1;
            end++;
        } else {
            end = std::max(message.find_first_not_of("+-.0123456789eE"), size_t{1});
        }
        const std::string_view token = message.substr(0, end);
        out += token;
        if (is_too_long_integer(token)) out += ".0";
        message.remove_prefix(token.size());
    }
    return out;
}

// An integer that is too large to be held is refused where it stands for something, not with the whole message.
Json parse_message(std::string_view message, json_error_t &error) {
    Json json(json_loadb(message.data(), message.size(), JSON_REJECT_DUPLICATES, &error));
    if (json || json_error_code(&error) != json_error_numeric_overflow) return json;
    const std::string eased = with_long_integers_as_reals(message);
    json_error_t unused;
    return Json(json_loadb(eased.data(), eased.size(), JSON_REJECT_DUPLICATES, &unused));
}

}  // namespace

void append_error(std::string &reply, const Fault &fault) {
    reply += R"({"code":)";
    append_json_integer(reply, fault.code);
    reply += R"(,"message":)";
    append_json_string(reply, fault_text(fault.code));
    if (!fault.detail.empty() || !fault.parameters.empty()) {
        reply += R"(,"data":{)";
        if (!fault.detail.empty()) {
            reply += R"("Detail":)";
            append_json_string(reply, fault.detail);
            if (!fault.parameters.empty()) reply += ',';
        }
        if (!fault.parameters.empty()) {
            reply += R"("Data":)";
            char separator = '{';
            std::unordered_set<std::string_view> told;  // a name asked for twice is one member
            for (const auto &[name, text] : fault.parameters) {
                if (!told.insert(name).second) continue;
                reply += separator;
                append_json_string(reply, name);
                reply += ':';
                append_json_string(reply, text);
                separator = ',';
            }
            reply += '}';
        }
        reply += '}';
    }
    reply += '}';
}

void append_error_reply(std::string &reply, const json_t *id, const Fault &fault) {
    reply += R"({"jsonrpc":"2.0","error":)";
    append_error(reply, fault);
    reply.append(R"(,"id":)").append(id_text(id)).append("}");
}

Exchange::Exchange(std::string_view message, const ClientLimits &limits) {
    json_error_t error;
    message_ = parse_message(message, error);
    if (!message_) {
        append_error_reply(reply_, nullptr, {parse_error, clean_utf8(error.text), {}});
    } else if (json_is_array(message_.get())) {
        const size_t size = json_array_size(message_.get());
        if (size == 0) refuse_batch({invalid_request, "an empty batch", {}});
        if (size > limits.batch) {
            refuse_batch({invalid_request, "a batch of more than " + std::to_string(limits.batch) + " requests", {}});
        }
    }
}

void Exchange::refuse_batch(const Fault &fault) {
    message_.reset();
    append_error_reply(reply_, nullptr, fault);
}

Exchange::~Exchange() {
    if (deferred_) deferred_->abandon();
}

Exchange::Step Exchange::step(Services &services, Member &caller) {
    if (!message_) return Step::done;
    const bool batch = json_is_array(message_.get());
    if (!deferred_) {
        begin_ = reply_.size();
        if (batch) reply_ += begin_ == 0 ? '[' : ',';
        request_ = batch ? json_array_get(message_.get(), next_++) : message_.get();
        serve(services, caller);
    }
    if (deferred_ && !take_deferred()) return Step::waiting;
    if (!batch) return Step::done;
    if (reply_.size() == begin_ + 1) reply_.resize(begin_);
    if (next_ < json_array_size(message_.get())) return Step::more;
    if (!reply_.empty()) reply_ += ']';
    return Step::done;
}

void Exchange::serve(Services &services, Member &caller) {
    const json_t *id = json_object_get(request_, "id");
    if (const Fault fault = check_request(request_)) {
        append_error_reply(reply_, id != nullptr && is_usable_id(id) ? id : nullptr, fault);
        return;
    }
    const size_t before = reply_.size();
    if (before > services.limits.batch_reply) {
        if (id != nullptr) append_error_reply(reply_, id, {9004, "the batch's replies have grown too large", {}});
        return;
    }
    // The result goes straight behind its envelope; a fault takes all of it back.
    reply_ += result_envelope;
    const Fault fault = call_method(request_, services, caller, deferred_, reply_);
    if (deferred_) {
        reply_.resize(before);
    } else {
        end_reply(before, fault);
    }
}

// Returns false while there is nothing to take.
bool Exchange::take_deferred() {
    if (!deferred_->answered_) return false;
    const std::shared_ptr<Deferred> deferred = std::exchange(deferred_, nullptr);
    const size_t before = reply_.size();
    reply_.append(result_envelope).append(deferred->result_);
    end_reply(before, deferred->fault_);
    return true;
}

// Ends what was begun with the envelope of a result, or puts the fault in its place.
void Exchange::end_reply(size_t before, const Fault &fault) {
    const json_t *id = json_object_get(request_, "id");
    if (fault || id == nullptr) reply_.resize(before);
    if (id == nullptr) return;
    if (fault) {
        append_error_reply(reply_, id, fault);
    } else {
        reply_.append(R"(,"id":)").append(id_text(id)).append("}");
    }
}

}  // namespace ravd
