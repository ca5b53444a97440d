// Answers to cancelled questions come later, from the loop: so every question holds the state, and knows by its flag
// whether anybody still listens.
#include "ravd/probes/resolver.h"

#include <set>
#include <utility>

#include <sys/socket.h>

namespace ravd {

struct Resolver::State {
    event_base *base;
    evdns_base *dns;
    bool dropped = false;
    std::set<Question *> questions;

    ~State() {
        if (dns) evdns_base_free(dns, 0);
    }
};

struct Resolver::Question {
    std::shared_ptr<State> state;
    OnAddresses on_addresses;
    OnRecords on_records;
    evdns_getaddrinfo_request *host_request = nullptr;
    evdns_request *request = nullptr;

    static Question *begin(const std::shared_ptr<State> &state) {
        auto *question = new Question{state, {}, {}};
        state->questions.insert(question);
        return question;
    }
    // The resolver may go with its last question, but not within its own callback.
    void end() {
        state->questions.erase(this);
        constexpr timeval now = {0, 0};
        event_base_once(
            state->base, -1, EV_TIMEOUT,
            [](evutil_socket_t, short, void *self) { delete static_cast<Question *>(self); }, this, &now);
    }
};

Resolver::Resolver(event_base *base, int flags) : state_(std::make_shared<State>()) {
    state_->base = base;
    state_->dns = evdns_base_new(base, flags | EVDNS_BASE_DISABLE_WHEN_INACTIVE);
}

Resolver::~Resolver() {
    state_->dropped = true;
    for (const Question *each : std::set(state_->questions)) {
        if (each->host_request) evdns_getaddrinfo_cancel(each->host_request);
        if (each->request) evdns_cancel_request(state_->dns, each->request);
    }
}

evdns_base *Resolver::dns() {
    return state_->dns;
}

void Resolver::ask_host(const char *host, const evutil_addrinfo &hints, OnAddresses on_addresses) {
    Question *question = Question::begin(state_);
    question->on_addresses = std::move(on_addresses);
    // Null: it has been answered, and question has ended.
    evdns_getaddrinfo_request *request = evdns_getaddrinfo(
        state_->dns, host, nullptr, &hints,
        [](int result, evutil_addrinfo *list, void *self) {
            auto &asked = *static_cast<Question *>(self);
            if (!asked.state->dropped) asked.on_addresses(result == 0 ? list : nullptr);
            if (list) evutil_freeaddrinfo(list);
            asked.end();
        },
        question);
    if (request) question->host_request = request;
}

void Resolver::ask_records(const char *name, int family, OnRecords on_records) {
    Question *question = Question::begin(state_);
    question->on_records = std::move(on_records);
    const evdns_callback_type answered = [](int result, char, int count, int, void *addresses, void *self) {
        auto &asked = *static_cast<Question *>(self);
        if (!asked.state->dropped) asked.on_records(result, addresses, count);
        asked.end();
    };
    question->request = family == AF_INET
                            ? evdns_base_resolve_ipv4(state_->dns, name, DNS_QUERY_NO_SEARCH, answered, question)
                            : evdns_base_resolve_ipv6(state_->dns, name, DNS_QUERY_NO_SEARCH, answered, question);
    if (question->request) return;
    question->on_records(DNS_ERR_UNKNOWN, nullptr, 0);
    question->end();
}

}  // namespace ravd
