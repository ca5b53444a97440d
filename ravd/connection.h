// One client's connection: bytes to messages to replies, with its limits, its turns and its queue of events.
#pragma once

#include <cstddef>
#include <memory>

#include <event2/bufferevent.h>
#include <event2/event.h>
#include <openssl/ssl.h>

#include "ravd/events.h"
#include "ravd/frame.h"
#include "ravd/methods.h"
#include "ravd/rpc.h"
#include "ravd/session.h"

namespace ravd {

class Connection;

// What a connection needs of the server that keeps it.
class ConnectionHost {
 public:
    virtual event_base *base() = 0;
    virtual Services &services() = 0;
    virtual SSL_CTX *tls() = 0;  // null: no TLS
    // Asks for pump() and turn() in the loop's next round, after whatever can be written by then has been written.
    virtual void schedule(Connection &connection) = 0;
    // Asks for a new count of the connection: it may have become a guest of the network, or ceased to be one.
    virtual void recount(Connection &connection) = 0;
    // The connection is finished; the host deletes it, but not before the present callback has returned.
    virtual void retire(Connection &connection) = 0;

 protected:
    ~ConnectionHost() = default;
};

class Connection : public Member {
 public:
    // Takes fd, a non-blocking socket, and opens the connection's session. Nothing but an event on the first byte is
    // set up before that byte comes.
    Connection(ConnectionHost &host, int fd, const Peer &peer);
    ~Connection() override;

    // Sends events that are queued, as far as there is room.
    void pump();
    // Goes on with the requests of the client.
    void turn();

    void deliver(const EventLine &event) override;
    void session_changed() override;
    void resume() override;
    bool is_closed() const { return state_ == State::closed; }
    // Replies wait for the client to take them.
    bool has_unsent() const { return stream_ != nullptr && !is_closed() && unsent() > 0; }

    // For the host: where it keeps this connection, whether it is on the list for the next round, and whether it counts
    // as a guest of the network.
    size_t slot = 0;
    bool scheduled = false;
    bool counts_as_guest = false;

 private:
    enum class State : uint8_t { silent, handshake, open, ending, closed };
    enum class Timer : uint8_t { none, login, partial, linger };

    void first_byte();
    void begin(bool secure);
    void serve();
    bool serve_one();
    void send(std::string text);
    void refuse(FrameReader::Result reason);
    void end_output();
    void close();
    void let_go();

    void on_drained();
    void on_event(short what);
    void update_reading();
    void update_timer();
    void start_timer(Timer kind, uint64_t milliseconds);
    void stop_timer();
    void on_timer();
    void forget_silent();

    bool is_done() const;
    bool has_hung_up() const;
    size_t unsent() const;
    const ClientLimits &limits() const { return host_.services().limits; }
    FrameLimits frame_limits() const;

    ConnectionHost &host_;
    bufferevent *stream_ = nullptr;
    event *first_byte_ = nullptr;  // while silent
    event *timer_ = nullptr;       // while one runs
    std::unique_ptr<Exchange> exchange_;
    std::unique_ptr<EventQueue> events_;
    FrameReader frames_;
    int fd_;
    State state_ = State::silent;
    Timer timer_kind_ = Timer::none;
    bool paused_ = false;      // too many replies are not taken: no request is read
    bool unfinished_ = false;  // the turn ended before the requests did
    bool waiting_ = false;     // the reply to a request was deferred
    bool at_end_ = false;      // the client sends no more
};

}  // namespace ravd
