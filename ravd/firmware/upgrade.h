// Firmware upgrades: the conversation from the download of an image to the restart, one at a time. An image belongs to
// the session and the user that had it fetched, and goes with that session.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <event2/event.h>

#include "ravd/firmware/image.h"
#include "ravd/firmware/saved_images.h"
#include "ravd/firmware/signing_key.h"
#include "ravd/firmware/slots.h"
#include "ravd/limits.h"
#include "ravd/methods.h"
#include "ravd/transfer/fetch.h"
#include "ravd/workers.h"

namespace ravd {

struct Session;

class Upgrades {
 public:
    // What upgrades need of the daemon; all borrowed.
    struct Surroundings {
        event_base *base;
        Sessions &sessions;
        Events &events;
        Restart &restart;
        Programs &programs;
        const ClientLimits &limits;
    };

    explicit Upgrades(const Surroundings &surroundings);
    // Ends what is being done as a power cut would.
    ~Upgrades();
    Upgrades(const Upgrades &) = delete;
    Upgrades &operator=(const Upgrades &) = delete;

    // Opens the slots of the state folder, finds out how the last upgrade has ended, and which firmware runs. key_file:
    // the public key that images must be signed with; empty: none. False with an error when one of them can't be used.
    bool open(const std::string &state_folder, const std::string &key_file, std::string &error);

    // Whether an image could be taken now from this session; size: its bytes, where they are known.
    Fault check(const Session &session, std::optional<uint64_t> size) const;
    // Fetches and verifies an image and keeps it for the session. The call is answered later.
    void fetch(const Call &call, FetchOrder order);
    // Writes the image of that transaction, and then restarts the device. Returns when the writing has begun.
    Fault apply(const Call &call, std::string_view transaction);
    // Deletes the image of that transaction.
    Fault cancel(const Session &session, std::string_view transaction);

    bool is_applying() const { return state_ == State::applying; }

 private:
    enum class State { idle, fetching, verifying, saved, applying };
    struct Image;

    ImageRules rules() const;
    bool is_busy_for(const Session &session) const;
    bool owns(const Session &session, std::string_view transaction) const;
    bool is_being_applied(const FetchOrder &order) const;
    void fetched(const Fault &fault);
    void verify();
    void verified(const Fault &fault);
    void fail(const Fault &fault);
    void answer_saved();
    void write();
    void run_program();
    void written(const Fault &fault);
    void session_ended(const Session &session);
    void give_up();
    void expire();
    void drop();

    Surroundings around_;
    SigningKey key_;
    Slots slots_;
    SavedImages saved_;
    State state_ = State::idle;
    std::shared_ptr<Image> image_;  // not while idle
    std::unique_ptr<Fetch> fetch_;  // while fetching
    event *expiry_;                 // of a saved image
    std::atomic<bool> stop_ = false;
    std::unique_ptr<Workers> worker_;  // one thread: what it does takes as long as the disk does
};

}  // namespace ravd
