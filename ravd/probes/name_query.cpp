// Each repetition asks for addresses of both kinds at once and takes what comes.
#include "ravd/probes/name_query.h"

#include <cstdio>
#include <utility>

#include <arpa/inet.h>

#include "ravd/probes/clock.h"
#include "ravd/probes/echo_socket.h"

namespace ravd {

namespace {

using Kind = NameReport::Answer::Kind;

Kind kind_of(int result) {
    switch (result) {
        case DNS_ERR_NONE:
            return Kind::success;
        case DNS_ERR_NOTEXIST:
        case DNS_ERR_NODATA:
            return Kind::not_resolved;
        case DNS_ERR_TIMEOUT:
            return Kind::timed_out;
        default:
            return Kind::refused;
    }
}

// The address of the resolver's server at that place; empty when there is none.
std::string server_of(evdns_base *dns, int place) {
    SocketAddress address;
    const int size = evdns_base_get_nameserver_addr(dns, place, reinterpret_cast<sockaddr *>(&address.storage),
                                                    sizeof address.storage);
    if (size <= 0) return "";
    address.size = static_cast<socklen_t>(size);
    return address.text();
}

}  // namespace

NameQuery::NameQuery(event_base *base, const NameOrder &order, Done done)
    : order_(order),
      done_(std::move(done)),
      resolver_(base, 0),
      timer_(event_new(
          base, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<NameQuery *>(self)->next(); }, this)) {
    report_.has_server = resolver_.dns() && set_server(base);
    start_timer(timer_, 0);  // never from in here: done may delete the object
}

NameQuery::~NameQuery() {
    event_free(timer_);
}

bool NameQuery::set_server(event_base *base) {
    std::string server = order_.server;
    if (server.empty()) {
        Resolver machine(base, EVDNS_BASE_INITIALIZE_NAMESERVERS | EVDNS_BASE_NAMESERVERS_NO_DEFAULT);
        server = machine.dns() ? server_of(machine.dns(), 0) : "";
    }
    if (server.empty() || evdns_base_nameserver_ip_add(resolver_.dns(), server.c_str()) != 0) return false;
    report_.server = server_of(resolver_.dns(), 0);
    char seconds[32];
    snprintf(seconds, sizeof seconds, "%u.%03u", order_.timeout_ms / 1000, order_.timeout_ms % 1000);
    evdns_base_set_option(resolver_.dns(), "timeout:", seconds);
    evdns_base_set_option(resolver_.dns(), "attempts:", "1");
    evdns_base_set_option(resolver_.dns(), "max-timeouts:", "255");  // a silent server is asked again all the same
    evdns_base_set_option(resolver_.dns(), "randomize-case:", "0");
    return true;
}

void NameQuery::next() {
    if (!report_.has_server || report_.answers.size() == order_.repetitions) {
        const Done done = std::move(done_);
        const NameReport report = std::move(report_);
        return done(report);
    }
    report_.answers.emplace_back();
    sent_us_ = now_us();
    open_ = 2;
    for (const int family : {AF_INET, AF_INET6})
        resolver_.ask_records(order_.name.c_str(), family, [this, family](int result, const void *list, int count) {
            on_records(family, result, list, count);
        });
}

void NameQuery::on_records(int family, int result, const void *addresses, int count) {
    NameReport::Answer &answer = report_.answers.back();
    const size_t size = family == AF_INET ? 4 : 16;
    for (int n = 0; result == DNS_ERR_NONE && n < count; ++n) {
        char text[INET6_ADDRSTRLEN] = "";
        inet_ntop(family, static_cast<const char *>(addresses) + static_cast<size_t>(n) * size, text, sizeof text);
        answer.addresses.emplace_back(text);
    }
    if (answer.kind != Kind::success && (result != DNS_ERR_TIMEOUT || open_ == 2)) answer.kind = kind_of(result);
    if (--open_ > 0) return;
    if (answer.kind == Kind::success && answer.addresses.empty()) answer.kind = Kind::not_resolved;
    answer.took_us = static_cast<uint64_t>(now_us() - sent_us_);
    start_timer(timer_, 0);
}

}  // namespace ravd
