// Device.DNS.Diagnostics.NSLookup: what a name server says of a name.
#include <optional>

#include "ravd/operations/diagnostic.h"
#include "ravd/operations/operations.h"
#include "ravd/probes/name_query.h"

namespace ravd {

namespace {

using Answer = NameReport::Answer;

const char *status_of(Answer::Kind kind) {
    switch (kind) {
        case Answer::Kind::success:
            return "Success";
        case Answer::Kind::not_resolved:
            return "Error_HostNameNotResolved";
        case Answer::Kind::timed_out:
            return "Error_Timeout";
        default:
            return "Error_Other";
    }
}

std::string joined(const std::vector<std::string> &texts) {
    std::string list;
    for (const std::string &text : texts) list += (list.empty() ? "" : ",") + text;
    return list;
}

class NameDiagnostic : public Diagnostic {
 public:
    NameDiagnostic(const Call &call, const Operation &operation) : Diagnostic(call, operation) {
        NameOrder order;
        order.name = operation.argument<std::string>("HostName");
        order.server = operation.argument<std::string>("DNSServer");
        order.repetitions = static_cast<unsigned>(operation.argument<int64_t>("NumberOfRepetitions"));
        order.timeout_ms = static_cast<unsigned>(operation.argument<int64_t>("Timeout"));
        query_.emplace(base(), order, [this](const NameReport &report) { tell(report); });
    }

 private:
    void tell(const NameReport &report) {
        if (!report.has_server) return finish({{"Status", "Error_DNSServerNotResolved"}, {"SuccessCount", int64_t{0}}});
        NamedValues outputs = {{"Status", "Complete"}};
        int64_t successes = 0, number = 0;
        for (const Answer &answer : report.answers) {
            const std::string name = "Result." + std::to_string(++number) + ".";
            outputs.emplace_back(name + "Status", status_of(answer.kind));
            outputs.emplace_back(name + "IPAddresses", joined(answer.addresses));
            outputs.emplace_back(name + "DNSServerIP", report.server);
            outputs.emplace_back(name + "ResponseTime", static_cast<int64_t>((answer.took_us + 500) / 1000));
            successes += answer.kind == Answer::Kind::success;
        }
        outputs.emplace_back("SuccessCount", successes);
        finish(outputs);
    }

    std::optional<NameQuery> query_;
};

}  // namespace

Fault run_ns_lookup(const Call &call, const Operation &operation, NamedValues &) {
    return start_diagnostic<NameDiagnostic>(call, operation);
}

}  // namespace ravd
