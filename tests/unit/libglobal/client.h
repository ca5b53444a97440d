// What the tests of connections share: a connection with a scope, and the texts of messages.
#pragma once

#include <memory>
#include <string>

#include <poll.h>
#include <stdlib.h>

#include "rv/jrpcapi.h"

namespace test {

using MessagePtr = std::unique_ptr<rv_jrpcmsg, decltype(&rv_jrpcmsg_free)>;

inline MessagePtr owned(rv_jrpcmsg *msg) {
    return {msg, &rv_jrpcmsg_free};
}

inline MessagePtr request(const char *method) {
    return owned(rv_jrpcmsg_create_new(method, nullptr));
}

// A message from its JSON text, as the raw mode sends it.
inline MessagePtr raw_request(const char *text) {
    json_auto_t *json = json_loads(text, 0, nullptr);
    return owned(rv_jrpcmsg_parse_json(json));
}

inline std::string compact(const json_t *json) {
    const std::unique_ptr<char, decltype(&free)> text(json_dumps(json, JSON_COMPACT | JSON_ENCODE_ANY), &free);
    return text ? text.get() : "";
}

inline std::string text_of(const rv_jrpcmsg *msg) {
    json_auto_t *json = rv_jrpcmsg_json(msg);
    return compact(json);
}

// Waits until something can be read from fd, resp. until its peer has closed. False when that never came.
inline bool await_input(int fd, short events = POLLIN) {
    pollfd input{.fd = fd, .events = events, .revents = 0};
    return poll(&input, 1, 20000) == 1;
}
inline bool await_hang_up(int fd) {
    return await_input(fd, POLLRDHUP);
}

class Client {
 public:
    explicit Client(const std::string &destination, int flags = 0) : connection_(rv_jrpcapi_init()) {
        rv_jrpcapi_set_destination(connection_, "", destination.c_str(), 2);
        rv_jrpcapi_set_flags(connection_, flags);
        rv_jrpcapi_set_timeout(connection_, 20000);
    }
    ~Client() { rv_jrpcapi_deinit(connection_); }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    operator rv_jrpcapi *() const { return connection_; }
    int exec(const MessagePtr &msg) const { return rv_jrpcapi_exec(connection_, msg.get()); }
    // Executes a fresh request for method and gives the result as text, or the error code as text.
    std::string ask(const char *method) const {
        const MessagePtr msg = request(method);
        exec(msg);
        if (rv_jrpcmsg_typeof(msg.get()) == RV_JRPCMSG_RESULT) return compact(rv_jrpcmsg_get_result_json(msg.get()));
        return std::to_string(rv_jrpcmsg_get_error_code(msg.get()));
    }
    int error() const { return rv_jrpcapi_get_socket_err(connection_); }
    int fd() const { return rv_socket_fd(rv_jrpcapi_socket(connection_)); }

 private:
    rv_jrpcapi *connection_;
};

}  // namespace test
