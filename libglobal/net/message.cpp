// Messages: telling them apart, and reading their parts. Nothing about a message from outside is taken for granted but
// what message_kind() has seen.
#include "libglobal/net/message.h"

#include <utility>

#include <string.h>

#include "rv/socket.h"

namespace rv {

namespace {

constexpr int32_t internal_error = -32603;

const json_t *error_of(const json_t *reply) {
    const json_t *error = json_object_get(reply, "error");
    return json_is_null(error) ? nullptr : error;
}

bool is_reply(const json_t *json) {
    return json_object_get(json, "id") && (json_object_get(json, "result") || json_object_get(json, "error"));
}

void wipe_texts(json_t *json) {
    const char *key;
    size_t i;
    json_t *inner;
    if (json_is_string(json)) explicit_bzero(const_cast<char *>(json_string_value(json)), json_string_length(json));
    json_object_foreach(json, key, inner) wipe_texts(inner);
    json_array_foreach(json, i, inner) wipe_texts(inner);
}

}  // namespace

uint32_t message_group(const json_t *json) {
    const json_int_t group = json_integer_value(json_object_get(json_object_get(json, "params"), "Group"));
    return group > 0 && group <= UINT32_MAX ? static_cast<uint32_t>(group) : 0;
}

int message_kind(const json_t *json) {
    const char *version = json_string_value(json_object_get(json, "jsonrpc"));
    if (!version || strcmp(version, "2.0") != 0) return RV_JRPCMSG_NONE;
    if (const char *method = json_string_value(json_object_get(json, "method"))) {
        if (json_object_get(json, "id")) return RV_JRPCMSG_REQUEST;
        return strcmp(method, event_method) == 0 ? RV_JRPCMSG_EVENT : RV_JRPCMSG_NOTIFICATION;
    }
    if (!is_reply(json)) return RV_JRPCMSG_NONE;
    const bool failed = error_of(json) || !json_object_get(json, "result");
    return failed ? RV_JRPCMSG_ERROR : RV_JRPCMSG_RESULT;
}

int32_t reply_error_code(const json_t *reply) {
    if (message_kind(reply) != RV_JRPCMSG_ERROR) return 0;
    const auto code = static_cast<int32_t>(json_integer_value(json_object_get(error_of(reply), "code")));
    return code ? code : internal_error;
}

json_t *envelope_new(const char *method, json_t *params) {
    json_t *name = json_string(method);
    if (!name) {
        json_decref(params);
        return nullptr;
    }
    json_t *envelope = json_object();
    int err = json_object_set_new(envelope, "jsonrpc", json_string("2.0"));
    err |= json_object_set_new(envelope, "method", name);
    if (params) err |= json_object_set_new(envelope, "params", params);
    if (err == 0) return envelope;
    json_decref(envelope);
    return nullptr;
}

void drop_reply(rv_jrpcmsg &msg) {
    json_decref(std::exchange(msg.reply, nullptr));
    msg.failure = 0;
}

void set_reply_new(rv_jrpcmsg &msg, json_t *reply) {
    drop_reply(msg);
    msg.reply = reply;
}

void set_failure(rv_jrpcmsg &msg, int failure) {
    drop_reply(msg);
    msg.failure = failure;
    msg.reply = json_pack("{s:s, s:{s:i, s:s}, s:n}", "jsonrpc", "2.0", "error", "code", failure, "message",
                          rv_socket_strerror(failure), "id");
}

}  // namespace rv

rv_jrpcmsg *rv_jrpcmsg_parse_json(json_t *json) {
    const int kind = rv::message_kind(json);
    if (kind == RV_JRPCMSG_NONE) return nullptr;
    auto *msg = new rv_jrpcmsg;
    if (kind == RV_JRPCMSG_ERROR || kind == RV_JRPCMSG_RESULT) {
        msg->reply = json_incref(json);
    } else {
        msg->kind = kind;
        msg->own_id = kind == RV_JRPCMSG_REQUEST;
        msg->request = json_incref(json);
    }
    return msg;
}

void rv_jrpcmsg_free(rv_jrpcmsg *msg) {
    if (!msg) return;
    if (msg->secret) rv::wipe_texts(json_object_get(msg->request, "params"));
    json_decref(msg->request);
    json_decref(msg->reply);
    delete msg;
}

void rv_jrpcmsg_set_secret(rv_jrpcmsg *msg) {
    if (msg) msg->secret = true;
}

int rv_jrpcmsg_typeof(const rv_jrpcmsg *msg) {
    if (!msg) return RV_JRPCMSG_NONE;
    if (msg->failure) return RV_JRPCMSG_ERROR;
    return msg->reply ? rv::message_kind(msg->reply) : msg->kind;
}

json_t *rv_jrpcmsg_json(const rv_jrpcmsg *msg) {
    if (!msg) return nullptr;
    return json_incref(msg->reply || msg->failure ? msg->reply : msg->request);
}

json_t *rv_jrpcmsg_get_params_json(const rv_jrpcmsg *msg) {
    if (!msg || msg->reply || msg->failure) return nullptr;
    return json_object_get(msg->request, "params");
}

json_t *rv_jrpcmsg_get_result_json(const rv_jrpcmsg *msg) {
    return rv_jrpcmsg_typeof(msg) == RV_JRPCMSG_RESULT ? json_object_get(msg->reply, "result") : nullptr;
}

int32_t rv_jrpcmsg_get_error_code(const rv_jrpcmsg *msg) {
    if (!msg) return 0;
    return msg->failure ? msg->failure : rv::reply_error_code(msg->reply);
}

const char *rv_jrpcmsg_get_error_message(const rv_jrpcmsg *msg) {
    if (rv_jrpcmsg_typeof(msg) != RV_JRPCMSG_ERROR) return nullptr;
    const char *text = json_string_value(json_object_get(rv::error_of(msg->reply), "message"));
    return !text && msg->failure ? rv_socket_strerror(msg->failure) : text;
}

static const json_t *error_data(const rv_jrpcmsg *msg) {
    if (rv_jrpcmsg_typeof(msg) != RV_JRPCMSG_ERROR) return nullptr;
    return json_object_get(rv::error_of(msg->reply), "data");
}

const char *rv_jrpcmsg_get_error_detail(const rv_jrpcmsg *msg) {
    return json_string_value(json_object_get(error_data(msg), "Detail"));
}

json_t *rv_jrpcmsg_get_errordata_json(const rv_jrpcmsg *msg) {
    json_t *data = json_object_get(error_data(msg), "Data");
    return json_is_object(data) ? data : nullptr;
}

uint32_t rv_jrpcmsg_get_event_code(const rv_jrpcmsg *msg) {
    return msg && rv_jrpcmsg_typeof(msg) == RV_JRPCMSG_EVENT ? rv::message_group(msg->request) : 0;
}

int rv_jrpcmsg_set_result_new(rv_jrpcmsg *msg, json_t *result) {
    if (!result) {
        rv::drop_reply(*msg);
        return 0;
    }
    json_t *reply = json_pack("{s:s, s:o, s:n}", "jsonrpc", "2.0", "result", result, "id");
    if (!reply) return -1;
    rv::set_reply_new(*msg, reply);
    return 0;
}
