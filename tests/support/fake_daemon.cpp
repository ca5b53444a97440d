// The scripted peer: its listener, the threads that run scripts, and the lines it has seen.
#include "tests/support/fake_daemon.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace test {

namespace {

using JsonText = std::unique_ptr<char, decltype(&free)>;

std::string member_of(const std::string &line, const char *key) {
    json_auto_t *message = json_loadb(line.data(), line.size(), 0, nullptr);
    const json_t *member = json_object_get(message, key);
    if (!member) return "";
    const JsonText text(json_dumps(member, JSON_COMPACT | JSON_ENCODE_ANY), &free);
    return text ? text.get() : "";
}

void must(bool good, const char *what) {
    if (!good) throw std::runtime_error(std::string(what) + ": " + strerror(errno));
}

}  // namespace

void Gate::open() {
    const std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
}

bool Gate::wait() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, wait_limit, [this] { return open_; });
}

TempDir::TempDir() : path_(std::filesystem::temp_directory_path() / "rv-test-XXXXXX") {
    must(mkdtemp(path_.data()) != nullptr, "mkdtemp");
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string method_of(const std::string &line) {
    json_auto_t *message = json_loadb(line.data(), line.size(), 0, nullptr);
    const char *method = json_string_value(json_object_get(message, "method"));
    return method ? method : "";
}

std::string id_of(const std::string &line) {
    return member_of(line, "id");
}
std::string params_of(const std::string &line) {
    return member_of(line, "params");
}

std::string result_line(const std::string &id, const std::string &result) {
    return R"({"jsonrpc":"2.0","result":)" + result + R"(,"id":)" + id + "}\n";
}

std::string error_line(const std::string &id, int code, const std::string &message) {
    return R"({"jsonrpc":"2.0","error":{"code":)" + std::to_string(code) + R"(,"message":")" + message + R"("},"id":)" +
           id + "}\n";
}

std::string event_line(unsigned group, const std::string &params) {
    return R"({"jsonrpc":"2.0","method":"Event","params":{"Group":)" + std::to_string(group) + R"(,"Params":)" +
           params + "}}\n";
}

bool Peer::fill() {
    char chunk[4096];
    const ssize_t got = recv(fd_, chunk, sizeof chunk, 0);
    if (got > 0) unread_.append(chunk, static_cast<size_t>(got));
    return got > 0;
}

std::optional<std::string> Peer::line() {
    size_t end;
    while ((end = unread_.find('\n')) == std::string::npos)
        if (!fill()) return std::nullopt;
    std::string line = unread_.substr(0, end);
    unread_.erase(0, end + 1);
    daemon_.record(line);
    return line;
}

std::optional<std::string> Peer::request() {
    auto next = line();
    while (next && method_of(*next) == "Hello") next = line();
    return next;
}

std::string Peer::bytes(size_t n) {
    while (unread_.size() < n && fill()) continue;
    std::string taken = unread_.substr(0, n);
    unread_.erase(0, taken.size());
    return taken;
}

void Peer::send(std::string_view text) {
    while (!text.empty()) {
        const ssize_t sent = ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent <= 0) return;
        text.remove_prefix(static_cast<size_t>(sent));
    }
}

void Peer::close() {
    shutdown(fd_, SHUT_RDWR);
}

void Peer::await_close() {
    while (fill()) unread_.clear();
}

Script answer_all(std::map<std::string, std::string> results) {
    return [results = std::move(results)](Peer &peer) {
        while (const auto line = peer.line()) {
            if (id_of(*line).empty()) continue;
            const auto found = results.find(method_of(*line));
            peer.reply(*line, found == results.end() ? "{}" : found->second);
        }
    };
}

FakeDaemon::FakeDaemon(Script script, Over over) : script_(std::move(script)), over_(over) {
    start();
}

FakeDaemon::~FakeDaemon() {
    stop();
}

void FakeDaemon::listen_unix() {
    destination_ = dir_.path() + "/sock";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    destination_.copy(address.sun_path, sizeof address.sun_path - 1);
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    must(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0, "bind");
}

namespace {

// Binds a new TCP socket to address and stores there what it is bound to.
template <typename Address>
int bound_socket(Address *address) {
    const int listener = socket(reinterpret_cast<sockaddr *>(address)->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    must(bind(listener, reinterpret_cast<sockaddr *>(address), sizeof *address) == 0, "bind");
    socklen_t size = sizeof *address;
    getsockname(listener, reinterpret_cast<sockaddr *>(address), &size);
    return listener;
}

}  // namespace

void FakeDaemon::listen_tcp() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port_);
    listener_ = bound_socket(&address);
    port_ = ntohs(address.sin_port);
    destination_ = "tcp://127.0.0.1:" + std::to_string(port_);
}

void FakeDaemon::listen_tcp6() {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    address.sin6_port = htons(port_);
    listener_ = bound_socket(&address);
    port_ = ntohs(address.sin6_port);
    destination_ = "tcp://[::1]:" + std::to_string(port_);
}

void FakeDaemon::start() {
    if (over_ == Over::unix_socket) listen_unix();
    if (over_ == Over::tcp) listen_tcp();
    if (over_ == Over::tcp6) listen_tcp6();
    must(listen(listener_, 16) == 0, "listen");
    acceptor_ = std::thread([this] { accept_all(); });
}

void FakeDaemon::accept_all() {
    for (;;) {
        const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) return;
        const std::lock_guard lock(mutex_);
        const int number = ++accepted_;
        auto served = std::make_unique<Served>();
        served->fd = fd;
        served->thread = std::thread([this, fd, number] {
            Peer peer(*this, fd, number);
            script_(peer);
            peer.close();
        });
        served_.push_back(std::move(served));
    }
}

void FakeDaemon::stop() {
    if (listener_ < 0) return;
    shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    close(listener_);
    listener_ = -1;
    if (over_ == Over::unix_socket) unlink(destination_.c_str());
    for (const auto &served : served_) shutdown(served->fd, SHUT_RDWR);
    for (const auto &served : served_) {
        served->thread.join();
        close(served->fd);
    }
    served_.clear();
}

void FakeDaemon::record(const std::string &line) {
    const std::lock_guard lock(mutex_);
    lines_.push_back(line);
    recorded_.notify_all();
}

std::vector<std::string> FakeDaemon::lines() {
    const std::lock_guard lock(mutex_);
    return lines_;
}

std::vector<std::string> FakeDaemon::requests() {
    std::vector<std::string> all = lines();
    std::erase_if(all, [](const std::string &line) { return method_of(line) == "Hello"; });
    return all;
}

bool FakeDaemon::await_lines(size_t n) {
    std::unique_lock lock(mutex_);
    return recorded_.wait_for(lock, wait_limit, [&] { return lines_.size() >= n; });
}

}  // namespace test
