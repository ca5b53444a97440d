// One state machine on the loop; reading and writing of images is done by a thread of its own, which owns what it works
// on together with the machine.
#include "ravd/firmware/upgrade.h"

#include <utility>

#include <unistd.h>

#include "ravd/audit.h"
#include "ravd/events.h"
#include "ravd/firmware/progress.h"
#include "ravd/firmware/random_id.h"
#include "ravd/handlers/programs.h"
#include "ravd/json_text.h"
#include "ravd/log.h"
#include "ravd/providers/deviceinfo.h"
#include "ravd/restart.h"
#include "ravd/session.h"
#include "rv/firmware.h"

namespace ravd {

namespace {

constexpr char program_name[] = "upgrade";
constexpr uint64_t program_time_ms = 3'600'000;

std::string members(std::initializer_list<std::pair<const char *, std::string_view>> texts) {
    std::string json;
    for (const auto &[name, text] : texts) {
        append_json_string(json += json.empty() ? "{" : ",", name);
        append_json_string(json += ":", text);
    }
    return json += "}";
}

std::string in_words(const Fault &fault) {
    return fault.detail.empty() ? std::string(fault_text(fault.code)) : fault.detail;
}

}  // namespace

// What is fetched, verified, kept and written, in this order.
struct Upgrades::Image {
    ~Image() {
        if (!path.empty()) unlink(path.c_str());
    }

    FetchOrder order;
    Descriptor file;
    const Session *session;  // null once it has ended
    std::string user;
    std::shared_ptr<Deferred> reply;  // until it is given
    Manifest manifest;                // once verified, with all below
    std::string path;
    std::string transaction;
};

Upgrades::Upgrades(const Surroundings &surroundings)
    : around_(surroundings), worker_(std::make_unique<Workers>(surroundings.base, 1, 4)) {
    expiry_ = event_new(
        around_.base, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<Upgrades *>(self)->expire(); }, this);
    around_.sessions.on_end([this](const Session &session) { session_ended(session); });
}

Upgrades::~Upgrades() {
    around_.sessions.on_end(nullptr);
    stop_ = true;
    fetch_.reset();
    worker_.reset();
    event_free(expiry_);
}

bool Upgrades::open(const std::string &state_folder, const std::string &key_file, std::string &error) {
    if (!key_file.empty() && !(error = key_.load(key_file)).empty()) return false;
    if (!(error = slots_.open(state_folder)).empty() || !(error = saved_.open(state_folder)).empty()) return false;
    const auto active = slots_.active();
    set_running_version(active ? active->version : RAV_VERSION);
    switch (slots_.last_upgrade()) {
        case LastUpgrade::finished:
            report_upgrade(-2, "the upgrade to " + running_version() + " has ended");
            break;
        case LastUpgrade::interrupted:
            report_upgrade(-1, "the upgrade was interrupted; " + running_version() + " runs on");
            break;
        default:
            report_upgrade(0, "");
            return true;
    }
    log_info("firmware: %s", upgrade_report().message.c_str());
    return true;
}

ImageRules Upgrades::rules() const {
    return {device_model(), &key_};
}

// A session may have another image fetched in place of the one that waits.
bool Upgrades::is_busy_for(const Session &session) const {
    return state_ != State::idle && !(state_ == State::saved && image_->session == &session);
}

bool Upgrades::owns(const Session &session, std::string_view transaction) const {
    return state_ == State::saved && image_->session == &session && image_->user == session.viewer.user &&
           image_->transaction == transaction;
}

bool Upgrades::is_being_applied(const FetchOrder &order) const {
    if (state_ != State::applying) return false;
    return order.md5.empty() ? order.url == image_->order.url : order.md5 == image_->order.md5;
}

Fault Upgrades::check(const Session &session, std::optional<uint64_t> size) const {
    if (is_busy_for(session)) return {9001, "another upgrade is running", {}};
    if (size.value_or(0) > around_.limits.firmware) return {9004, "the image is too large", {}};
    if (slots_.room() / 2 < size.value_or(0)) return {9004, "no room for the image", {}};
    return {};
}

void Upgrades::fetch(const Call &call, FetchOrder order) {
    const Session &session = call.caller.session();
    const auto reply = call.defer();
    if (is_being_applied(order)) {
        std::string result = members({{"CurrentVersion", running_version()}, {"NewVersion", image_->manifest.version}});
        reply->answer({}, result.insert(1, R"("Status":0,)"));
        return;
    }
    if (Fault fault = check(session, order.size)) return reply->answer(std::move(fault));
    drop();
    std::string problem;
    Descriptor file = saved_.create(problem);
    if (!file) {
        report_upgrade(-1, problem);
        return reply->answer({9002, problem, {}});
    }
    image_ = std::make_shared<Image>();
    image_->order = std::move(order);
    image_->file = std::move(file);
    image_->session = &session;
    image_->user = session.viewer.user;
    image_->reply = reply;
    reply->on_abandoned([this, image = image_.get()] {
        if (image_.get() == image && state_ == State::fetching) give_up();
    });
    state_ = State::fetching;
    report_upgrade(0, "an image is being fetched");
    fetch_ = std::make_unique<Fetch>(around_.base, around_.limits, image_->order, image_->file.get(),
                                     [this](const Fault &fault) { fetched(fault); });
}

void Upgrades::fetched(const Fault &fault) {
    fetch_.reset();
    if (fault) return fail(fault);
    verify();
}

void Upgrades::verify() {
    state_ = State::verifying;
    const auto fault = std::make_shared<Fault>();
    const auto work = [image = image_, rules = rules(), fault, this] {
        *fault = check_image(image->file.get(), rules, image->manifest);
        if (*fault) return;
        const std::string problem = saved_.save(image->file.get(), image->path);
        if (!problem.empty()) *fault = {9002, problem, {}};
    };
    worker_->post(work, [fault, this] { verified(*fault); });
}

void Upgrades::verified(const Fault &fault) {
    if (fault) return fail(fault);
    if (!image_->reply->is_wanted() || image_->session == nullptr) return give_up();
    if (slots_.room() < image_->manifest.total_size()) return fail({9004, "no room to write the image", {}});
    image_->transaction = random_id();
    state_ = State::saved;
    const uint64_t wait = around_.limits.firmware_wait_ms;
    const timeval span = {static_cast<time_t>(wait / 1000), static_cast<suseconds_t>(wait % 1000 * 1000)};
    event_add(expiry_, &span);
    answer_saved();
}

// A client that finds the version running already waits for the end of an upgrade that it has not asked for.
void Upgrades::answer_saved() {
    const std::string current = running_version(), &version = image_->manifest.version;
    const bool same = rv_firmware_version_cmp(current.c_str(), version.c_str()) == 0;
    report_upgrade(same ? -2 : 0, version + (same ? " runs already" : " is there to be installed"));
    std::string result = members({{"CurrentVersion", current},
                                  {"NewVersion", version},
                                  {"SavedFirmware", image_->path},
                                  {"TransactionID", image_->transaction}});
    std::exchange(image_->reply, nullptr)->answer({}, result.insert(1, R"("Status":1,)"));
}

void Upgrades::fail(const Fault &fault) {
    log_warning("firmware: %s", in_words(fault).c_str());
    report_upgrade(-1, in_words(fault));
    const auto image = image_;
    drop();
    image->reply->answer(fault);
}

Fault Upgrades::apply(const Call &call, std::string_view transaction) {
    if (!owns(call.caller.session(), transaction)) {
        // Whoever is refused will wait for the end of an upgrade all the same.
        if (!is_applying()) report_upgrade(-1, "an upgrade was refused: no such transaction");
        return {9001, "no such transaction", {}};
    }
    event_del(expiry_);
    state_ = State::applying;
    image_->transaction.clear();
    const std::string versions =
        members({{"CurrentVersion", running_version()}, {"NewVersion", image_->manifest.version}});
    const Json logged(json_loads(versions.c_str(), 0, nullptr));
    call.services.audit.acted("upgrade", logged.get());
    report_upgrade(1, image_->manifest.version + " is being installed");
    around_.events.publish(system_group, R"({"Event":"UpgradeStarted",)" + versions.substr(1));
    if (around_.programs.problem_of(program_name).empty()) {
        run_program();
    } else {
        write();
    }
    return {};
}

void Upgrades::write() {
    const auto fault = std::make_shared<Fault>();
    const auto work = [image = image_, rules = rules(), fault, this] {
        const uint64_t total = image->manifest.total_size();
        const auto count = [total](uint64_t written) {
            if (total > 0) report_upgrade_progress(static_cast<int>(written * 100 / total));
        };
        *fault = slots_.write(image->file.get(), rules, count, stop_);
    };
    worker_->post(work, [fault, this] { written(*fault); });
}

void Upgrades::run_program() {
    std::string input = members({{"image", image_->path}, {"version", image_->manifest.version}});
    input.insert(1, R"("action":"upgrade",)");
    const auto done = [this](const ProgramOutcome &outcome) {
        std::string problem = outcome.problem;
        if (problem.empty()) problem = slots_.note_finished();
        written(problem.empty() ? Fault() : Fault{9002, "upgrade: " + problem, {}});
    };
    if (around_.programs.run(program_name, input + "\n", done, program_time_ms) == Programs::none)
        written({9004, "too many programs run", {}});
}

void Upgrades::written(const Fault &fault) {
    const std::string &version = image_->manifest.version;
    const std::string message = fault ? in_words(fault) : version + " is installed";
    if (fault) {
        log_error("firmware: %s is not installed: %s", version.c_str(), message.c_str());
    } else {
        log_info("firmware: %s", message.c_str());
    }
    report_upgrade(fault ? -1 : -2, message);
    std::string params =
        members({{"CurrentVersion", running_version()}, {"NewVersion", version}, {"Message", message}});
    params.insert(1, fault ? R"("Event":"UpgradeFinished","Status":-1,)" : R"("Event":"UpgradeFinished","Status":-2,)");
    around_.events.publish(system_group, params);
    drop();
    if (!fault) around_.restart.request();
}

Fault Upgrades::cancel(const Session &session, std::string_view transaction) {
    if (!owns(session, transaction)) return {9001, "no such transaction", {}};
    drop();
    report_upgrade(-2, "the upgrade was cancelled");
    return {};
}

void Upgrades::session_ended(const Session &session) {
    if (state_ == State::idle || image_->session != &session) return;
    image_->session = nullptr;
    if (state_ == State::fetching || state_ == State::saved) give_up();
}

void Upgrades::give_up() {
    report_upgrade(-1, "the client has gone before the installation");
    drop();
}

void Upgrades::expire() {
    report_upgrade(-1, image_->manifest.version + " was not installed in time");
    drop();
}

// What a thread still works on goes with the last one who holds it.
void Upgrades::drop() {
    if (state_ == State::idle) return;
    fetch_.reset();
    event_del(expiry_);
    image_.reset();
    state_ = State::idle;
}

}  // namespace ravd
