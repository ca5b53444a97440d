// Events: who gets which, and the bounded queue in front of each connection.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ravd/model/model.h"
#include "ravd/session.h"

namespace ravd {

// Groups below this belong to the daemon: only admins may send to them.
constexpr uint32_t first_client_group = 16;
// What happens to the device as a whole, {"Event": name, ...}.
constexpr uint32_t system_group = 2;
// What was begun by a request and has ended, {"TransactionID", "FaultCode", "FaultString"}.
constexpr uint32_t ended_group = 3;

// Events waiting for one connection: a bounded queue that loses its oldest.
class EventQueue {
 public:
    // Adds an event. What does not fit into limit bytes goes, the oldest first, and is counted.
    void push(EventLine event, uint64_t limit);
    // The next line to send: once after a loss the line that tells how many were lost, then the events in order.
    // Null when there is none.
    EventLine pop();
    bool empty() const { return lines_.empty() && dropped_ == 0; }

 private:
    std::deque<EventLine> lines_;
    uint64_t bytes_ = 0;
    uint64_t dropped_ = 0;
};

class Events : public ModelListener {
 public:
    // wake is called when deliver_changes() has something to do.
    Events(Sessions &sessions, Model &model, std::function<void()> wake)
        : sessions_(sessions), model_(model), wake_(std::move(wake)) {}

    // Queues an event for every session that has joined the group: once each, but not for from (null: for all), and
    // where path is not empty only for those that may read it. params: JSON text, empty for none.
    void publish(uint32_t group, std::string_view params, const Session *from = nullptr, std::string_view path = {});

    // Publishes an event, also to every session that joins the group within that time. One for each group: another
    // takes its place.
    void announce(uint32_t group, std::string params, std::chrono::milliseconds time);
    // A session has joined the group: it gets what was announced lately.
    void joined(const Session &session, uint32_t group);

    // The model tells of changes in the middle of its work, when it can't be asked who may read what: they are kept.
    void value_changed(const std::string &path, const std::string &value) override;
    void instance_added(const std::string &path, uint32_t number) override;
    void instance_deleted(const std::string &path, uint32_t number) override;

    // Publishes the changes kept so far.
    void deliver_changes();

 private:
    struct Change {
        uint32_t group;
        std::string path, params;
    };
    void keep(uint32_t group, const std::string &path, std::string params);
    void keep_instance(std::string_view action, const std::string &path, uint32_t number);

    struct Announcement {
        std::string params;
        std::chrono::steady_clock::time_point end;
    };

    Sessions &sessions_;
    Model &model_;
    std::function<void()> wake_;
    std::unordered_map<uint32_t, Announcement> announcements_;
    std::vector<Change> changes_;
};

}  // namespace ravd
