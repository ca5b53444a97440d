// The loop gives every scheduled connection one turn a round: first the events that are due, then some requests. A
// round begins with a timer of no time, so that bytes that can be written or read are always dealt with in between:
// no client waits for another's whole queue, and an event leaves after the reply that it follows from.
#include "ravd/server.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <signal.h>
#include <unistd.h>

#include "libglobal/net/destination.h"
#include "ravd/log.h"
#include "ravd/model/configuration.h"
#include "ravd/model/parts.h"
#include "ravd/password.h"
#include "ravd/persist/database.h"

namespace ravd {

namespace {

constexpr size_t worker_threads = 2;
constexpr size_t worker_queue = 1000;
constexpr std::chrono::seconds boot_is_news(60);  // clients come back at their own pace

event_base *new_base() {
    event_set_log_callback([](int severity, const char *text) {
        if (severity >= EVENT_LOG_WARN) log_warning("event loop: %s", text);
    });
    // Changes of what is waited for are told to the kernel once a round, not one by one.
    event_config *config = event_config_new();
    event_config_set_flag(config, EVENT_BASE_FLAG_EPOLL_USE_CHANGELIST);
    event_base *base = event_base_new_with_config(config);
    event_config_free(config);
    if (base == nullptr) {
        log_error("no event loop can be had");
        abort();
    }
    return base;
}

LoginRules login_rules(const Options &options, const Accounts &accounts) {
    return {[&accounts](std::string_view name) { return accounts.find(name); },
            [](uid_t uid) { return name_of_local_user(uid); },
            verify_password,
            hash_password("nobody's password", options.hash_cost),
            geteuid(),
            options.allow_plain_login};
}

ProgramLimits program_limits(const ClientLimits &limits) {
    return {limits.programs,       limits.programs_waiting, limits.program_ms,
            limits.program_output, limits.program_memory,   limits.program_processes};
}

LocalUser find_local_user(const Accounts &accounts, uid_t uid) {
    LocalUser user = {name_of_local_user(uid), Role::guest};
    if (user.name.empty()) return user;
    if (const auto account = accounts.find(user.name)) user.role = account->role;
    return user;
}

bool is_same_file(const std::string &path, const struct stat &known) {
    struct stat file = {};
    return lstat(path.c_str(), &file) == 0 && file.st_ino == known.st_ino && file.st_dev == known.st_dev;
}

}  // namespace

Server::Server(const Options &options, Model &model, Database &database, SavedConfiguration &saved, Accounts &accounts,
               Tokens &tokens)
    : options_(options),
      model_(model),
      base_(new_base()),
      end_signals_(std::make_unique<EndSignals>(base_, [this] { stop(); })),
      admission_(options.limits, connection_limit(options.limits)),
      sessions_(geteuid(), options.limits.groups),
      events_(sessions_, model, [this] { wake(); }),
      workers_(std::make_unique<Workers>(base_, worker_threads, worker_queue)),
      logins_(std::make_unique<Logins>(base_, login_rules(options, accounts), sessions_, *workers_, options.limits)),
      programs_(std::make_unique<Programs>(base_, program_limits(options.limits))),
      redraws_(std::make_unique<Redraws>(base_, model, *programs_)),
      changes_(std::make_unique<Changes>(model, *programs_, *redraws_, options.limits.programs_waiting)),
      restart_(std::make_unique<Restart>(base_, *programs_, [this] { return all_sent(); })),
      upgrades_(std::make_unique<Upgrades>(
          Upgrades::Surroundings{base_, sessions_, events_, *restart_, *programs_, options.limits})),
      checkpoint_(std::make_unique<Checkpoint>(base_, [this](const std::string &document) { restore(document); })),
      transfers_(options.limits),
      services_{.base = base_,
                .model = model,
                .sessions = sessions_,
                .events = events_,
                .limits = options.limits,
                .workers = *workers_,
                .database = database,
                .accounts = accounts,
                .tokens = tokens,
                .audit = audit_,
                .hash_cost = options.hash_cost,
                .logins = *logins_,
                .programs = *programs_,
                .restart = *restart_,
                .upgrades = *upgrades_,
                .transfers = transfers_,
                .saved = saved,
                .checkpoint = *checkpoint_,
                .changes = *changes_} {
    sessions_.set_local_users([&accounts](uid_t uid) { return find_local_user(accounts, uid); });
    accounts.listen([this](const AccountChange &change) { sessions_.follow(change); });
    turn_ = event_new(
        base_, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<Server *>(self)->turn(); }, this);
    signal(SIGPIPE, SIG_IGN);
    model_.set_listener(&events_);
    model_.set_recorder(&audit_);
}

Server::~Server() {
    model_.set_listener(nullptr);
    model_.set_recorder(nullptr);
    listeners_.clear();
    connections_.clear();
    retired_.clear();
    if (socket_file_.st_ino != 0 && is_same_file(options_.socket, socket_file_)) unlink(options_.socket.c_str());
    end_signals_.reset();
    event_free(turn_);
    upgrades_.reset();
    changes_.reset();
    redraws_.reset();
    programs_.reset();
    workers_.reset();
    logins_.reset();
    checkpoint_.reset();
    restart_.reset();
    event_base_loop(base_, EVLOOP_NONBLOCK);  // cancelled questions to name servers let go of what they hold here
    event_base_free(base_);
}

bool Server::open(Handover &kept, std::string &error) {
    if (!options_.tls_certificate.empty()) {
        tls_ = load_tls(options_.tls_certificate, options_.tls_key, error);
        if (!tls_) return false;
    }
    if (!options_.listen.empty() && !tls_ && options_.allow_plain_login) {
        log_warning("passwords are taken over TCP without TLS: whoever is on the way can read them");
    }
    if (!open_handlers(error)) return false;
    if (!upgrades_->open(options_.state, options_.firmware_key, error)) return false;
    if (!(error = transfers_.open(options_.state)).empty()) return false;
    for (size_t index = 0; index < options_.listen.size(); ++index) {
        if (!open_tcp(index, kept, error)) return false;
    }
    return open_local(std::exchange(kept.local, -1), error) && end_signals_->open(error);
}

// Handlers that can't be used fail only where they are needed: the rest of the device can be managed.
bool Server::open_handlers(std::string &error) {
    const bool wanted = !options_.handlers.empty();
    if (wanted && !programs_->open(options_.handlers, options_.handler_user, error)) return false;
    const std::vector<std::string> handlers = all_handlers(*model_.parts().schema);
    if (!wanted && !handlers.empty())
        log_warning("the schema has handlers, but there is no folder of programs (--handlers)");
    for (const std::string &name : handlers) {
        const std::string problem = wanted ? programs_->problem_of(name) : "";
        if (!problem.empty()) log_warning("handler %s: %s", name.c_str(), problem.c_str());
    }
    return true;
}

bool Server::open_local(int kept, std::string &error) {
    const int fd = kept >= 0 ? kept : open_local_socket(options_.socket, error);
    if (fd < 0) return false;
    lstat(options_.socket.c_str(), &socket_file_);
    listen_on(fd, Transport::local, 0);
    log_info("listening on %s", options_.socket.c_str());
    return true;
}

bool Server::open_tcp(size_t index, Handover &kept, std::string &error) {
    const std::string &destination = options_.listen[index];
    rv::Destination where;
    if (rv::parse_destination(destination, rv::PortZero::taken, &where) != 0 || where.kind != RV_SOCKET_TCP) {
        error = destination + ": not tcp://HOST:PORT";
        return false;
    }
    std::vector<int> sockets;
    for (auto &[kept_index, fd] : kept.tcp)
        if (kept_index == index) sockets.push_back(std::exchange(fd, -1));
    std::erase_if(kept.tcp, [](const auto &each) { return each.second < 0; });
    if (sockets.empty()) sockets = open_tcp_sockets(where.host, where.port, error);
    for (const int fd : sockets) {
        sockaddr_storage address = {};
        socklen_t size = sizeof address;
        getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size);
        log_info("listening on %s%s", tcp_name(address).c_str(), tls_ ? " with TLS" : "");
        listen_on(fd, Transport::tcp, index);
    }
    return !sockets.empty();
}

void Server::listen_on(int fd, Transport transport, size_t index) {
    const auto accepted = [this](int each, const Peer &peer) { accept(each, peer); };
    listeners_.push_back({std::make_unique<Listener>(base_, fd, transport, accepted), transport, index});
}

// A checkpoint was not confirmed.
void Server::restore(const std::string &document) {
    log_warning("the checkpoint was not confirmed: its configuration comes back");
    const auto make = [this, document](std::string &result) -> Fault {
        if (!checkpoint_->is_restoring()) return {9001, "it was forgotten", {}};
        ConfigurationImport import(model_);
        Fault fault = import.read(document);
        if (fault || !import.is_admitted()) return fault;
        import.make();
        result = "{}";
        return fault;
    };
    services_.changes.make_own(make, [this](const Fault &fault) {
        if (!checkpoint_->is_restoring()) return;
        checkpoint_->restored();
        if (!fault) return events_.publish(system_group, R"({"Event":"CheckpointRestored"})");
        log_error("the checkpoint can't be restored: %s",
                  fault.parameters.empty() ? fault.detail.c_str() : fault.parameters.front().second.c_str());
        events_.publish(system_group, R"({"Event":"CheckpointLost"})");
    });
}

bool Server::run() {
    const char *boot =
        services_.database.is_copy() ? R"({"Event":"Boot","Configuration":"LastGoodCopy"})" : R"({"Event":"Boot"})";
    events_.announce(system_group, boot, boot_is_news);
    log_info("ready");
    event_base_dispatch(base_);
    if (!stopped_ && restart_->is_due()) return true;
    log_info("ending");
    return false;
}

void Server::stop() {
    stopped_ = true;
    event_base_loopbreak(base_);
}

void Server::release(Handover &kept) {
    for (const Listening &each : listeners_) {
        const int fd = each.listener->release();
        if (each.transport == Transport::tcp) {
            kept.tcp.emplace_back(each.index, fd);
        } else {
            kept.local = fd;
        }
    }
    listeners_.clear();
    socket_file_ = {};
}

bool Server::all_sent() const {
    return std::ranges::none_of(connections_, [](const auto &each) { return each->has_unsent(); });
}

void Server::accept(int fd, const Peer &peer) {
    if (const char *reason = admission_.admit(peer)) {
        if (!std::exchange(refusing_, true)) log_warning("connections are refused: %s", reason);
        close(fd);
        return;
    }
    refusing_ = false;
    ConnectionHost &host = *this;
    connections_.push_back(std::make_unique<Connection>(host, fd, peer));
    connections_.back()->slot = connections_.size() - 1;
    connections_.back()->counts_as_guest = peer.transport == Transport::tcp;
}

void Server::wake() {
    constexpr timeval now = {0, 0};
    event_add(turn_, &now);
}

void Server::schedule(Connection &connection) {
    if (std::exchange(connection.scheduled, true)) return;
    scheduled_.push_back(&connection);
    wake();
}

void Server::recount(Connection &connection) {
    const bool guest = connection.is_network_guest();
    if (guest == std::exchange(connection.counts_as_guest, guest)) return;
    if (guest) {
        admission_.count_guest(connection.peer());
    } else {
        admission_.discount_guest(connection.peer());
    }
}

void Server::retire(Connection &connection) {
    admission_.release(connection.peer(), connection.counts_as_guest);
    const size_t slot = connection.slot;
    std::swap(connections_[slot], connections_.back());
    connections_[slot]->slot = slot;
    retired_.push_back(std::move(connections_.back()));
    connections_.pop_back();
    wake();
}

void Server::turn() {
    events_.deliver_changes();
    const std::vector<Connection *> round = std::exchange(scheduled_, {});
    for (Connection *connection : round) {
        connection->scheduled = false;
        connection->pump();
    }
    for (Connection *connection : round) connection->turn();
    // Those scheduled again meanwhile may have been retired as well.
    std::erase_if(scheduled_, [](const Connection *each) { return each->is_closed(); });
    retired_.clear();
}

}  // namespace ravd
