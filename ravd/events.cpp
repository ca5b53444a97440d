// The event lines, and their way to the sessions that have joined.
#include "ravd/events.h"

#include <optional>
#include <utility>

#include "ravd/json_text.h"
#include "ravd/model/read.h"

namespace ravd {

namespace {

constexpr uint32_t dropped_group = 0;
constexpr uint32_t values_group = 1;
constexpr uint32_t instances_group = 4;

EventLine event_line(uint32_t group, std::string_view params) {
    std::string line = R"({"jsonrpc":"2.0","method":"Event","params":{"Group":)";
    append_json_integer(line, group);
    if (!params.empty()) line.append(R"(,"Params":)").append(params);
    line += "}}\n";
    return std::make_shared<const std::string>(std::move(line));
}

// Answers may_read() once for each role: an event may go to thousands of sessions.
class PathRight {
 public:
    PathRight(Model &model, std::string_view path) : model_(model), path_(path) {}

    bool granted(const Viewer &viewer) {
        if (path_.empty()) return true;
        std::optional<bool> &known = known_[static_cast<size_t>(viewer.role)];
        if (!known) known = may_read(model_, viewer, path_);
        return *known;
    }

 private:
    Model &model_;
    std::string_view path_;
    std::optional<bool> known_[3];
};

}  // namespace

void EventQueue::push(EventLine event, uint64_t limit) {
    bytes_ += event->size();
    lines_.push_back(std::move(event));
    while (bytes_ > limit) {
        bytes_ -= lines_.front()->size();
        lines_.pop_front();
        ++dropped_;
    }
}

EventLine EventQueue::pop() {
    if (dropped_ > 0) {
        const std::string params = R"({"Dropped":)" + std::to_string(dropped_) + "}";
        dropped_ = 0;
        return event_line(dropped_group, params);
    }
    if (lines_.empty()) return nullptr;
    EventLine line = std::move(lines_.front());
    lines_.pop_front();
    bytes_ -= line->size();
    return line;
}

void Events::publish(uint32_t group, std::string_view params, const Session *from, std::string_view path) {
    const std::vector<Session *> &joined = sessions_.joined(group);
    if (joined.empty()) return;
    const EventLine line = event_line(group, params);
    PathRight right(model_, path);
    for (const Session *session : joined) {
        if (session != from && right.granted(session->viewer)) Sessions::receiver(*session, group).deliver(line);
    }
}

void Events::announce(uint32_t group, std::string params, std::chrono::milliseconds time) {
    publish(group, params);
    announcements_[group] = {std::move(params), std::chrono::steady_clock::now() + time};
}

void Events::joined(const Session &session, uint32_t group) {
    const auto found = announcements_.find(group);
    if (found == announcements_.end()) return;
    if (std::chrono::steady_clock::now() >= found->second.end) {
        announcements_.erase(found);
    } else {
        Sessions::receiver(session, group).deliver(event_line(group, found->second.params));
    }
}

void Events::keep(uint32_t group, const std::string &path, std::string params) {
    changes_.push_back({group, path, std::move(params)});
    if (changes_.size() == 1) wake_();
}

void Events::keep_instance(std::string_view action, const std::string &path, uint32_t number) {
    if (sessions_.joined(instances_group).empty()) return;
    std::string params = R"({"Action":")";
    params.append(action).append(R"(","Path":)");
    append_json_string(params, path);
    params += R"(,"InstanceNumber":)";
    append_json_integer(params, number);
    params += '}';
    keep(instances_group, path, std::move(params));
}

void Events::value_changed(const std::string &path, const std::string &value) {
    if (sessions_.joined(values_group).empty()) return;
    std::string params = R"({"Path":)";
    append_json_string(params, path);
    params.append(R"(,"Value":)").append(value).append("}");
    keep(values_group, path, std::move(params));
}

void Events::instance_added(const std::string &path, uint32_t number) {
    keep_instance("Add", path, number);
}

void Events::instance_deleted(const std::string &path, uint32_t number) {
    keep_instance("Delete", path + std::to_string(number) + ".", number);
}

void Events::deliver_changes() {
    for (const Change &change : std::exchange(changes_, {})) {
        publish(change.group, change.params, nullptr, change.path);
    }
}

}  // namespace ravd
