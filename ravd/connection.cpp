// A connection's life: silent until its first byte, perhaps a TLS handshake, open, and ended by the peer, by an error
// or by a limit. Writes never block, and what a client does not take only ever stops that client.
#include "ravd/connection.h"

#include <chrono>

#include <event2/bufferevent_ssl.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "ravd/log.h"

namespace ravd {

namespace {

constexpr unsigned char tls_record = 0x16;  // the first byte of a TLS handshake, and of no message
constexpr size_t read_size = 64 * kib;      // at once
constexpr size_t write_size = 256 * kib;    // at once
constexpr size_t waiting_room = 64 * kib;   // read while a reply is waited for: enough to see the client's end
constexpr size_t worth_lending = 16 * kib;  // replies from here are sent from where they are, not copied

using Clock = std::chrono::steady_clock;

Fault limit_fault(FrameReader::Result reason) {
    constexpr int invalid_request = -32600;
    switch (reason) {
        case FrameReader::Result::too_large:
            return {invalid_request, "message too large", {}};
        case FrameReader::Result::too_deep:
            return {invalid_request, "message nested too deeply", {}};
        default:
            return {invalid_request, "message of too many values", {}};
    }
}

void append_text(evbuffer *output, std::string text) {
    if (text.size() < worth_lending) {
        evbuffer_add(output, text.data(), text.size());
        return;
    }
    auto *lent = new std::string(std::move(text));
    evbuffer_add_reference(
        output, lent->data(), lent->size(),
        [](const void *, size_t, void *owner) { delete static_cast<std::string *>(owner); }, lent);
}

}  // namespace

Connection::Connection(ConnectionHost &host, int fd, const Peer &peer) : Member(peer), host_(host), fd_(fd) {
    host_.services().sessions.open(*this);
    first_byte_ = event_new(
        host_.base(), fd_, EV_READ,
        [](evutil_socket_t, short, void *self) { static_cast<Connection *>(self)->first_byte(); }, this);
    event_add(first_byte_, nullptr);
    if (peer_.transport == Transport::tcp) start_timer(Timer::login, limits().login_ms);
}

Connection::~Connection() {
    let_go();
    if (stream_ != nullptr) bufferevent_free(stream_);
}

void Connection::forget_silent() {
    if (first_byte_ != nullptr) event_free(first_byte_);
    first_byte_ = nullptr;
}

void Connection::first_byte() {
    unsigned char byte = 0;
    const ssize_t got = recv(fd_, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        event_add(first_byte_, nullptr);
        return;
    }
    if (got <= 0) return close();
    const bool secure = host_.tls() != nullptr && (peer_.transport == Transport::tcp || byte == tls_record);
    begin(secure);
}

void Connection::begin(bool secure) {
    forget_silent();
    if (secure) {
        SSL *ssl = SSL_new(host_.tls());
        if (ssl == nullptr) return close();
        stream_ =
            bufferevent_openssl_socket_new(host_.base(), fd_, ssl, BUFFEREVENT_SSL_ACCEPTING, BEV_OPT_CLOSE_ON_FREE);
        if (stream_ == nullptr) SSL_free(ssl);
    } else {
        stream_ = bufferevent_socket_new(host_.base(), fd_, BEV_OPT_CLOSE_ON_FREE);
    }
    if (stream_ == nullptr) return close();
    fd_ = -1;
    peer_.secured = secure;
    state_ = secure ? State::handshake : State::open;
    if (secure) bufferevent_openssl_set_allow_dirty_shutdown(stream_, 1);
    if (secure && timer_kind_ == Timer::none) start_timer(Timer::login, limits().login_ms);
    bufferevent_setcb(
        stream_, [](bufferevent *, void *self) { static_cast<Connection *>(self)->serve(); },
        [](bufferevent *, void *self) { static_cast<Connection *>(self)->on_drained(); },
        [](bufferevent *, short what, void *self) { static_cast<Connection *>(self)->on_event(what); }, this);
    bufferevent_setwatermark(stream_, EV_WRITE, limits().unsent_low, 0);
    bufferevent_set_max_single_read(stream_, read_size);
    bufferevent_set_max_single_write(stream_, write_size);
    bufferevent_enable(stream_, EV_READ);  // writing is enabled, and is asked for when there is something to write
}

size_t Connection::unsent() const {
    return evbuffer_get_length(bufferevent_get_output(stream_));
}

FrameLimits Connection::frame_limits() const {
    return {is_network_guest() ? limits().message_guest : limits().message, limits().nesting, limits().values};
}

// Requests until none is left, the client stops taking replies, or it is the others' turn.
void Connection::serve() {
    evbuffer *input = bufferevent_get_input(stream_);
    if (state_ == State::ending) evbuffer_drain(input, evbuffer_get_length(input));
    if (state_ != State::open || waiting_) return;
    const auto turn_end = Clock::now() + std::chrono::milliseconds(limits().turn_ms);
    unfinished_ = false;
    for (uint64_t served = 0; !paused_; ++served) {
        if (served == limits().turn_requests || (served > 0 && Clock::now() >= turn_end)) {
            unfinished_ = true;
            host_.schedule(*this);
            break;
        }
        if (!serve_one()) break;
    }
    if (state_ != State::open) return;
    update_reading();
    update_timer();
    if (at_end_ && is_done()) close();
}

bool Connection::is_done() const {
    if (peer_.secured) return !unfinished_;  // after the peer's end nothing goes out over TLS
    return !unfinished_ && !waiting_ && !paused_ && unsent() == 0;
}

// The peer neither sends nor receives any more. Over TCP that shows only once something is sent.
bool Connection::has_hung_up() const {
    pollfd end = {bufferevent_getfd(stream_), 0, 0};
    return poll(&end, 1, 0) > 0 && (end.revents & (POLLHUP | POLLERR)) != 0;
}

// Returns false when there is no request, or no more connection to serve.
bool Connection::serve_one() {
    if (!exchange_) {
        evbuffer *input = bufferevent_get_input(stream_);
        const FrameReader::Result result = frames_.next(input, frame_limits());
        if (result == FrameReader::Result::incomplete) return false;
        if (result != FrameReader::Result::message) {
            refuse(result);
            return false;
        }
        exchange_ = std::make_unique<Exchange>(frames_.message(input), limits());
        frames_.take(input);
        if (timer_kind_ == Timer::partial) stop_timer();
    }
    const Exchange::Step step = exchange_->step(host_.services(), *this);
    waiting_ = step == Exchange::Step::waiting;
    if (step != Exchange::Step::done) return step == Exchange::Step::more;
    std::string reply = exchange_->take_reply();
    exchange_.reset();
    if (!reply.empty()) send(std::move(reply));
    return true;
}

void Connection::send(std::string text) {
    text += '\n';
    append_text(bufferevent_get_output(stream_), std::move(text));
    if (unsent() > limits().unsent_high) paused_ = true;
}

// One last reply, and then only the peer's own end is waited for: closing at once could take the reply away from it.
void Connection::refuse(FrameReader::Result reason) {
    const Fault fault = limit_fault(reason);
    log_info("a connection is ended: %s", fault.detail.c_str());
    std::string reply;
    append_error_reply(reply, nullptr, fault);
    send(std::move(reply));
    state_ = State::ending;
    evbuffer *input = bufferevent_get_input(stream_);
    evbuffer_drain(input, evbuffer_get_length(input));
    bufferevent_enable(stream_, EV_READ);
    start_timer(Timer::linger, limits().linger_ms);
}

void Connection::end_output() {
    if (SSL *ssl = bufferevent_openssl_get_ssl(stream_)) SSL_shutdown(ssl);
    shutdown(bufferevent_getfd(stream_), SHUT_WR);
    if (at_end_) close();
}

void Connection::on_drained() {
    if (state_ == State::ending && unsent() == 0) return end_output();
    if (state_ != State::open) return;
    if (paused_) {
        paused_ = false;
        unfinished_ = true;
    }
    if (unfinished_ || events_) host_.schedule(*this);
    if (at_end_ && is_done()) close();
}

void Connection::on_event(short what) {
    if ((what & BEV_EVENT_CONNECTED) != 0) {
        state_ = State::open;
        if (session().is_settled()) stop_timer();
        return;
    }
    if (state_ == State::closed) return;
    if ((what & BEV_EVENT_EOF) != 0 && state_ != State::handshake) {  // the last bytes may still be to come
        at_end_ = true;
        if (state_ == State::open && waiting_ && (peer_.secured || has_hung_up())) return close();
        if (state_ == State::open && !paused_) {
            unfinished_ = true;
            host_.schedule(*this);
        }
        if (state_ == State::open ? !(paused_ && peer_.secured) : unsent() > 0) return;
        return close();
    }
    for (unsigned long error; (error = bufferevent_get_openssl_error(stream_)) != 0;) {
        char text[256];
        ERR_error_string_n(error, text, sizeof text);
        log_debug("a TLS connection failed: %s", text);
    }
    close();
}

void Connection::turn() {
    if (unfinished_ && state_ == State::open) serve();
}

void Connection::pump() {
    if (state_ != State::open) return;
    while (events_ && unsent() < limits().event_room) {
        const EventLine line = events_->pop();
        if (line) evbuffer_add(bufferevent_get_output(stream_), line->data(), line->size());
        if (events_->empty()) events_.reset();
    }
}

void Connection::deliver(const EventLine &event) {
    if (state_ == State::ending || state_ == State::closed) return;
    if (!events_) events_ = std::make_unique<EventQueue>();
    events_->push(event, limits().event_queue);
    host_.schedule(*this);
}

// Who was settled and is not any more has as much time as who comes anew.
void Connection::session_changed() {
    host_.recount(*this);
    if (state_ != State::open) return;
    const bool settled = session().is_settled();
    if (settled && timer_kind_ == Timer::login) stop_timer();
    if (!settled && timer_kind_ != Timer::login) start_timer(Timer::login, limits().login_ms);
}

// At once, so that the reply leaves before events of the changes that it reports.
void Connection::resume() {
    if (!waiting_) return;
    waiting_ = false;
    serve();
}

void Connection::update_reading() {
    bufferevent_setwatermark(stream_, EV_READ, 0, waiting_ ? waiting_room : 0);
    const bool wanted = !paused_ && !unfinished_ && !at_end_;
    const bool reading = (bufferevent_get_enabled(stream_) & EV_READ) != 0;
    if (wanted && !reading) bufferevent_enable(stream_, EV_READ);
    if (!wanted && reading) bufferevent_disable(stream_, EV_READ);
}

// A message begun must be ended in time, unless it is we who do not read, or an earlier end is set.
void Connection::update_timer() {
    const bool waiting = frames_.partial() && !waiting_ && !paused_ && !unfinished_;
    if (timer_kind_ == Timer::none && waiting) start_timer(Timer::partial, limits().partial_ms);
    if (timer_kind_ == Timer::partial && !waiting) stop_timer();
}

void Connection::start_timer(Timer kind, uint64_t milliseconds) {
    if (timer_ == nullptr) {
        timer_ = event_new(
            host_.base(), -1, 0,
            [](evutil_socket_t, short, void *self) { static_cast<Connection *>(self)->on_timer(); }, this);
    }
    const timeval span = {static_cast<time_t>(milliseconds / 1000),
                          static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
    event_add(timer_, &span);
    timer_kind_ = kind;
}

void Connection::stop_timer() {
    if (timer_ != nullptr) event_free(timer_);
    timer_ = nullptr;
    timer_kind_ = Timer::none;
}

void Connection::on_timer() {
    if (timer_kind_ == Timer::login && waiting_) return start_timer(Timer::login, limits().login_ms);  // it is our time
    constexpr const char *reasons[] = {"", "no login in time", "a message not ended in time", "it lingers"};
    log_debug("a connection is ended: %s", reasons[static_cast<size_t>(timer_kind_)]);
    close();
}

// May run inside any callback of the stream, which therefore stays until the connection is deleted.
void Connection::close() {
    if (state_ == State::closed) return;
    let_go();
    host_.retire(*this);
}

void Connection::let_go() {
    if (state_ == State::closed) return;
    state_ = State::closed;
    forget_silent();
    stop_timer();
    host_.services().sessions.close(*this);
    exchange_.reset();
    events_.reset();
    if (stream_ != nullptr) bufferevent_disable(stream_, EV_READ | EV_WRITE);
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

}  // namespace ravd
