// A job belongs to the reply that it works for, and to what a thread still does for it.
#include "ravd/transfers.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "ravd/audit.h"
#include "ravd/events.h"
#include "ravd/handlers/changes.h"
#include "ravd/json_text.h"
#include "ravd/log.h"
#include "ravd/model/configuration.h"
#include "ravd/model/value.h"
#include "ravd/session.h"
#include "ravd/transfer/address.h"
#include "ravd/transfer/fetch.h"
#include "ravd/transfer/send.h"
#include "ravd/workers.h"

namespace ravd {

namespace {

std::optional<std::string> content_of(int fd) {
    struct stat info = {};
    if (fstat(fd, &info) != 0) return std::nullopt;
    std::string text(static_cast<size_t>(info.st_size), '\0');
    const ssize_t got = pread(fd, text.data(), text.size(), 0);
    if (got != info.st_size) return std::nullopt;
    return text;
}

// The request as the audit may have it.
Json for_audit(const Call &call) {
    Json shown(json_copy(const_cast<json_t *>(call.params)));
    json_object_set_new(shown.get(), "URL", json_string(url_for_log(std::string(call.text("URL"))).c_str()));
    return shown;
}

std::string transaction_of(const Call &call) {
    std::string text;
    const json_t *transaction = call.find("TransactionID");
    if (transaction == nullptr) return "null";
    append_json(text, transaction);
    return text;
}

std::string end_event(const std::string &transaction, const Fault &fault) {
    std::string params = R"({"TransactionID":)" + transaction;
    append_json_integer(params += R"(,"FaultCode":)", fault.code);
    append_json_string(params += R"(,"FaultString":)", fault ? fault_text(fault.code) : "");
    return params += '}';
}

}  // namespace

struct Transfers::Job {
    Job(const Call &request, const std::shared_ptr<size_t> &count) : call(request), running(count) { ++*running; }
    ~Job() { --*running; }

    // From now on there is a reply to come, and an event when it is given.
    void begin() {
        reply = call.defer();
        call.deferred = nullptr;  // the reply is the job's
        reply->on_answered([&events = call.services.events, transaction = transaction_of(call)](const Fault &fault) {
            events.publish(ended_group, end_event(transaction, fault));
            if (fault) log_info("a transfer has failed: %d %s", fault.code, fault.detail.c_str());
        });
    }
    // Gives the reply. Once.
    void finish(const Fault &fault) { reply->answer(fault, "{}"); }
    // Also when the other connection of the session has logged out meanwhile.
    bool is_allowed() const { return reply->is_wanted() && call.viewer().role == Role::admin; }

    Call call;
    std::shared_ptr<size_t> running;
    std::shared_ptr<Deferred> reply;
    std::shared_ptr<FileFolder> folder;
    std::string name;
    Descriptor file;
    std::unique_ptr<Fetch> fetch;
    std::unique_ptr<Send> send;
};

Fault Transfers::begin(const Call &call, uint64_t most, void (*use)(const std::shared_ptr<Job> &job)) {
    const Services &services = call.services;
    if (call.text("URL").empty()) return {9003, "URL: missing", {}};
    if (call.integer("FileSize") < 0) return {9003, "FileSize: less than 0", {}};
    if (*running_ >= services.limits.transfers) return {9004, "too many transfers run at once", {}};
    const auto job = std::make_shared<Job>(call, running_);
    job->folder = folder_;
    job->name = call.text("TargetFileName");
    if (job->name.empty()) job->name = last_component(std::string(call.text("URL")));
    job->file = folder_->create();
    if (!job->file) return {9002, strerror(errno), {}};
    {
        const Audit::Acting acting(services.audit, call.caller, "Download");
        services.audit.acted("download", for_audit(call).get());
    }
    job->begin();
    FetchOrder order = {.url = std::string(call.text("URL")),
                        .md5 = std::string(call.text("MD5")),
                        .size = {},
                        .most = most,
                        .peer = call.caller.peer()};
    if (call.find("FileSize") != nullptr) order.size = static_cast<uint64_t>(call.integer("FileSize"));
    const auto fetched = [weak = std::weak_ptr(job), use](const Fault &fault) {
        const auto held = weak.lock();
        const auto fetch = std::move(held->fetch);
        held->reply->on_abandoned(nullptr);  // which holds the job
        if (fault) {
            held->finish(fault);
        } else if (!held->is_allowed()) {
            held->finish({9001, {}, {}});
        } else {
            use(held);
        }
    };
    job->fetch = std::make_unique<Fetch>(services.base, services.limits, std::move(order), job->file.get(), fetched);
    job->reply->on_abandoned([job] { job->fetch.reset(); });
    return {};
}

Fault Transfers::upload(const Call &call, std::string content) {
    const Services &services = call.services;
    std::string url(call.text("URL"));
    if (url.empty()) return {9003, "URL: missing", {}};
    if (way_of(url) == Way::none) return {9013, {}, {}};
    if (const std::string name(call.text("TargetFileName")); !name.empty()) {
        if (const std::string problem = problem_of_name(name); !problem.empty())
            return {9003, "TargetFileName: " + problem, {}};
        url = url_in_folder(url, name);
        if (url.empty()) return {9003, "URL: it can't be taken apart", {}};
    }
    if (*running_ >= services.limits.transfers) return {9004, "too many transfers run at once", {}};
    const auto job = std::make_shared<Job>(call, running_);
    {
        const Audit::Acting acting(services.audit, call.caller, "Upload");
        services.audit.acted("upload", for_audit(call).get());
    }
    job->begin();
    const auto sent = [weak = std::weak_ptr(job)](const Fault &fault) {
        const auto held = weak.lock();
        const auto send = std::move(held->send);
        held->reply->on_abandoned(nullptr);  // which holds the job
        held->finish(fault);
    };
    job->send = std::make_unique<Send>(services.base, services.limits,
                                       SendOrder{std::move(url), std::move(content), call.caller.peer()}, sent);
    job->reply->on_abandoned([job] { job->send.reset(); });
    return {};
}

Fault Transfers::download_file(const Call &call) {
    if (const std::string_view url = call.text("URL"); !url.empty() && way_of(url) == Way::none) return {9013, {}, {}};
    std::string name(call.text("TargetFileName"));
    if (name.empty()) name = last_component(std::string(call.text("URL")));
    if (const std::string problem = problem_of_name(name); !problem.empty() && !call.text("URL").empty())
        return {9003, "TargetFileName: " + problem, {}};
    return begin(call, call.services.limits.file, [](const std::shared_ptr<Job> &job) {
        const auto fault = std::make_shared<Fault>();
        const bool posted =
            job->call.services.workers.post([job, fault] { *fault = job->folder->keep(job->file.get(), job->name); },
                                            [job, fault] {
                                                if (job->reply->is_wanted()) job->finish(*fault);
                                            });
        if (!posted) job->finish({9004, "too much to do", {}});
    });
}

Fault Transfers::download_configuration(const Call &call) {
    return begin(call, call.services.limits.configuration, [](const std::shared_ptr<Job> &job) {
        const auto document = content_of(job->file.get());
        if (!document) return job->finish({9002, "it can't be read again", {}});
        const auto make = [job, text = *document](std::string &result) {
            ConfigurationImport import(job->call.services.model);
            Fault fault = import.read(text);
            if (fault || !import.is_admitted()) return fault;
            const Audit::Acting acting(job->call.services.audit, job->call.caller, "Download");
            import.make();
            result = "{}";
            return fault;
        };
        bool is_later = false;
        std::string unused;
        const Fault fault = job->call.services.changes.make(
            job->call.caller, make,
            [&] {
                is_later = true;
                return job->reply;
            },
            unused);
        if (!is_later) job->finish(fault);
    });
}

}  // namespace ravd
