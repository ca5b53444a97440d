// A scripted peer for tests of the client: it listens on a socket of its own, runs a script in a thread for each
// connection it accepts, and records every line it was sent. Nothing in here waits longer than wait_limit.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <jansson.h>

namespace test {

inline constexpr std::chrono::seconds wait_limit{20};

// A condition that one thread waits for and another one fulfils.
class Gate {
 public:
    void open();
    bool wait();  // false when nobody opened it within wait_limit

 private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = false;
};

// A folder that lives as long as the object.
class TempDir {
 public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    const std::string &path() const { return path_; }

 private:
    std::string path_;
};

// Parts of a line that holds a JSON-RPC message; "" where it has none. id and params are JSON texts, compact.
std::string method_of(const std::string &line);
std::string id_of(const std::string &line);
std::string params_of(const std::string &line);

// Lines of the wire, closed with a line feed. id, result and params are JSON texts.
std::string result_line(const std::string &id, const std::string &result);
std::string error_line(const std::string &id, int code, const std::string &message);
std::string event_line(unsigned group, const std::string &params);

class FakeDaemon;

// The daemon's end of one connection, as a script sees it.
class Peer {
 public:
    Peer(FakeDaemon &daemon, int fd, int number) : daemon_(daemon), fd_(fd), number_(number) {}

    // The next line, without its line feed; none when the client has closed. Recorded.
    std::optional<std::string> line();
    // The next line that is no Hello.
    std::optional<std::string> request();
    // The next n bytes as they come, fewer when the client closes first. Not recorded.
    std::string bytes(size_t n);
    void send(std::string_view text);  // all of it; a client that has gone is no error
    void reply(const std::string &request, const std::string &result) { send(result_line(id_of(request), result)); }
    void fail(const std::string &request, int code, const std::string &message) {
        send(error_line(id_of(request), code, message));
    }
    void close();        // both ways, also with unread bytes
    void await_close();  // reads and drops until the client has closed
    int fd() const { return fd_; }
    int number() const { return number_; }  // 1 for the first connection accepted, and so on

 private:
    bool fill();
    FakeDaemon &daemon_;
    int fd_;
    int number_;
    std::string unread_;
};

using Script = std::function<void(Peer &)>;

// A script that answers every request until the client closes: with the result (JSON text) that results has for its
// method, else with {}.
Script answer_all(std::map<std::string, std::string> results = {});

class FakeDaemon {
 public:
    enum class Over { unix_socket, tcp, tcp6 };
    explicit FakeDaemon(Script script, Over over = Over::unix_socket);
    ~FakeDaemon();
    FakeDaemon(const FakeDaemon &) = delete;
    FakeDaemon &operator=(const FakeDaemon &) = delete;

    // What a client passes as its destination.
    const std::string &destination() const { return destination_; }
    // Ends every connection and stops listening; start() listens again at the same destination.
    void stop();
    void start();

    std::vector<std::string> lines();     // every line received so far, of all connections
    std::vector<std::string> requests();  // those that are no Hello
    bool await_lines(size_t n);           // false when fewer than n came within wait_limit
    int accepted() const { return accepted_; }

 private:
    friend class Peer;
    struct Served {
        int fd = -1;
        std::thread thread;
    };
    void listen_unix();
    void listen_tcp();
    void listen_tcp6();
    void accept_all();
    void record(const std::string &line);

    Script script_;
    Over over_;
    TempDir dir_;
    std::string destination_;
    unsigned short port_ = 0;
    int listener_ = -1;
    std::atomic<int> accepted_{0};
    std::thread acceptor_;
    std::mutex mutex_;
    std::condition_variable recorded_;
    std::vector<std::string> lines_;
    std::vector<std::unique_ptr<Served>> served_;
};

}  // namespace test
