// Device.IP.Diagnostics.IPPing and .TraceRoute: echo requests to a host, by name or address.
#include <optional>
#include <string_view>

#include <sys/socket.h>

#include "ravd/operations/diagnostic.h"
#include "ravd/operations/operations.h"
#include "ravd/probes/lookup.h"
#include "ravd/probes/ping.h"
#include "ravd/probes/trace.h"

namespace ravd {

namespace {

const Fault not_allowed = {
    9002, "the system lets no echo request out: see net.ipv4.ping_group_range, or give ravd CAP_NET_RAW", {}};

unsigned number(const Operation &operation, const char *name) {
    return static_cast<unsigned>(operation.argument<int64_t>(name));
}

int family_of(std::string_view protocol_version) {
    if (protocol_version == "IPv4") return AF_INET;
    return protocol_version == "IPv6" ? AF_INET6 : AF_UNSPEC;
}

// DSCP is the upper six bits of the octet.
int traffic_class(const Operation &operation) {
    return static_cast<int>(operation.argument<int64_t>("DSCP") << 2);
}

Value milliseconds(uint64_t us) {
    return static_cast<int64_t>((us + 500) / 1000);
}

Value whole(uint64_t number) {
    return static_cast<int64_t>(number);
}

// What both have in common: the host becomes an address first.
class EchoDiagnostic : public Diagnostic {
 protected:
    EchoDiagnostic(const Call &call, const Operation &operation) : Diagnostic(call, operation) {
        const int family = family_of(operation.argument<std::string>("ProtocolVersion"));
        lookup_.emplace(base(), operation.argument<std::string>("Host"), family,
                        [this](const std::optional<SocketAddress> &address) {
                            if (!address) return finish({{"Status", "Error_CannotResolveHostName"}});
                            probe(*address);
                        });
    }

    virtual void probe(const SocketAddress &address) = 0;

 private:
    std::optional<Lookup> lookup_;
};

class PingDiagnostic : public EchoDiagnostic {
 public:
    PingDiagnostic(const Call &call, const Operation &operation) : EchoDiagnostic(call, operation) {
        order_.repetitions = number(operation, "NumberOfRepetitions");
        order_.timeout_ms = number(operation, "Timeout");
        order_.block_size = number(operation, "DataBlockSize");
        order_.traffic_class = traffic_class(operation);
    }

 private:
    void probe(const SocketAddress &address) override {
        order_.destination = address;
        ping_.emplace(base(), order_, [this](const PingReport &report) { tell(report); });
    }

    void tell(const PingReport &report) {
        if (!report.allowed) return fail(not_allowed);
        finish({{"Status", "Complete"},
                {"IPAddressUsed", order_.destination.text()},
                {"SuccessCount", whole(report.successes)},
                {"FailureCount", whole(report.failures)},
                {"AverageResponseTime", milliseconds(report.average_us)},
                {"MinimumResponseTime", milliseconds(report.minimum_us)},
                {"MaximumResponseTime", milliseconds(report.maximum_us)},
                {"AverageResponseTimeDetailed", whole(report.average_us)},
                {"MinimumResponseTimeDetailed", whole(report.minimum_us)},
                {"MaximumResponseTimeDetailed", whole(report.maximum_us)}});
    }

    PingOrder order_;
    std::optional<Ping> ping_;
};

class TraceDiagnostic : public EchoDiagnostic {
 public:
    TraceDiagnostic(const Call &call, const Operation &operation) : EchoDiagnostic(call, operation) {
        order_.tries = number(operation, "NumberOfRepetitions");
        order_.timeout_ms = number(operation, "Timeout");
        order_.block_size = number(operation, "DataBlockSize");
        order_.maximum_hops = number(operation, "MaxHopCount");
        order_.traffic_class = traffic_class(operation);
    }

 private:
    void probe(const SocketAddress &address) override {
        order_.destination = address;
        trace_.emplace(base(), order_, [this](const TraceReport &report) { tell(report); });
    }

    void tell(const TraceReport &report) {
        if (!report.allowed) return fail(not_allowed);
        NamedValues outputs = {{"Status", report.reached ? "Complete" : "Error_MaxHopCountExceeded"},
                               {"IPAddressUsed", order_.destination.text()},
                               {"ResponseTime", milliseconds(report.response_us)}};
        uint64_t successes = 0, number_of_hop = 0;
        for (const TraceReport::Hop &hop : report.hops) {
            const std::string name = "RouteHops." + std::to_string(++number_of_hop) + ".";
            std::string times;
            for (const uint64_t us : hop.times_us)
                times += (times.empty() ? "" : ",") + std::to_string((us + 500) / 1000);
            outputs.emplace_back(name + "HostAddress", hop.address);
            outputs.emplace_back(name + "RTTimes", times);
            successes += hop.times_us.size();
        }
        outputs.emplace_back("SuccessCount", whole(successes));
        outputs.emplace_back("FailureCount", whole(report.hops.size() * order_.tries - successes));
        finish(outputs);
    }

    TraceOrder order_;
    std::optional<Trace> trace_;
};

}  // namespace

Fault run_ip_ping(const Call &call, const Operation &operation, NamedValues &) {
    return start_diagnostic<PingDiagnostic>(call, operation);
}

Fault run_trace_route(const Call &call, const Operation &operation, NamedValues &) {
    return start_diagnostic<TraceDiagnostic>(call, operation);
}

}  // namespace ravd
