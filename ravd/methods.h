// The methods that clients can call: one table, which also checks parameters and describes itself.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <jansson.h>

#include "ravd/limits.h"
#include "ravd/model/fault.h"

struct event_base;

namespace ravd {

class Accounts;
class Audit;
class Changes;
class Checkpoint;
class Database;
class Events;
class Logins;
class Member;
class Model;
class Programs;
class Restart;
class SavedConfiguration;
class Sessions;
class Tokens;
class Transfers;
class Upgrades;
class Workers;
struct Viewer;

// What a method may use.
struct Services {
    event_base *base;  // of the loop
    Model &model;
    Sessions &sessions;
    Events &events;
    const ClientLimits &limits;
    Workers &workers;
    Database &database;
    Accounts &accounts;
    Tokens &tokens;
    Audit &audit;
    unsigned hash_cost;  // of new passwords
    Logins &logins;
    Programs &programs;
    Restart &restart;
    Upgrades &upgrades;
    Transfers &transfers;
    SavedConfiguration &saved;
    Checkpoint &checkpoint;
    Changes &changes;
};

// The reply to a call that is answered later. Whoever works on it holds it; the connection takes no further request
// until it was given, and everybody else is served meanwhile. To be used on the loop only.
class Deferred {
 public:
    explicit Deferred(Member &caller) : caller_(&caller) {}
    Deferred(const Deferred &) = delete;
    Deferred &operator=(const Deferred &) = delete;

    // Gives the reply: a fault, or the result as JSON text. Once; does nothing when the client has gone.
    void answer(Fault fault, std::string result = {});
    // The client is still there.
    bool is_wanted() const { return caller_ != nullptr; }
    // Called when it is answered, before the reply is given.
    void on_answered(std::function<void(const Fault &fault)> call) { on_answered_ = std::move(call); }
    // Called when the client goes before it was answered, to end the work early.
    void on_abandoned(std::function<void()> call) { on_abandoned_ = std::move(call); }

 private:
    friend class Exchange;
    void abandon();

    Member *caller_;
    bool answered_ = false;
    Fault fault_;
    std::string result_;
    std::function<void(const Fault &fault)> on_answered_;
    std::function<void()> on_abandoned_;
};

// One call. The parameters have been checked against the method's row before its function runs.
struct Call {
    Services &services;
    Member &caller;
    const json_t *params;  // an object, or null when there are none; borrowed
    std::shared_ptr<Deferred> *deferred = nullptr;

    // From here on the call is answered through what this returns; what its function returns does not count. The
    // parameters live until then, or until the client goes.
    std::shared_ptr<Deferred> defer() const;
    bool is_deferred() const { return deferred && *deferred; }
    const Viewer &viewer() const;
    uint64_t reply_limit() const;  // bytes
    // A parameter's value; for an absent one null resp. the value given.
    const json_t *find(const char *name) const;
    std::string_view text(const char *name) const;
    int64_t integer(const char *name, int64_t absent = 0) const;
    bool boolean(const char *name, bool absent = false) const;
};

// What a parameter must be: the check and its description as JSON Schema, side by side.
struct Kind {
    bool (*fits)(const json_t *value);
    const char *schema;  // the members of a JSON Schema object
    const char *wanted;  // for the error: "a text"
};

struct Parameter {
    const char *name;
    const Kind &kind;
    bool required;
    const char *description;
};

struct Method {
    const char *name;
    // Appends the result, JSON text, or returns a fault (what was appended then does not count), or defers the reply.
    Fault (*run)(const Call &call, std::string &result);
    std::span<const Parameter> parameters;
    const char *result;  // the members of the result's JSON Schema
    const char *summary;
};

std::span<const Method> all_methods();
const Method *find_method(std::string_view name);  // null for none

// -32602 with the first missing or wrongly typed member in its detail, or no fault. params may be null.
Fault check_parameters(const Method &method, const json_t *params);

// Appends the OpenRPC document of the table.
void append_openrpc(std::string &out);

}  // namespace ravd
