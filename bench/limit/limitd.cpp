// limitd: the server that does only what cannot be avoided: one epoll loop, one JSON-RPC message a line, each parsed
// and answered with one pair through jansson. What ravd takes is measured against it.
//
// usage: limitd SOCKET
#include <memory>
#include <string>
#include <unordered_map>

#include <errno.h>
#include <jansson.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

struct Connection {
    std::string in;
    std::string out;
};

std::unordered_map<int, std::unique_ptr<Connection>> connections;
int poller;

void watch(int fd, uint32_t events, int operation) {
    epoll_event event = {};
    event.events = events;
    event.data.fd = fd;
    epoll_ctl(poller, operation, fd, &event);
}

void answer(std::string &out, const char *line, size_t length) {
    json_t *request = json_loadb(line, length, 0, nullptr);
    json_t *id = json_object_get(request, "id");
    const json_t *names = json_object_get(json_object_get(request, "params"), "ParameterNames");
    const char *name = json_string_value(json_array_get(names, 0));
    if (id) {
        json_t *reply = json_pack("{s:s,s:O,s:{s:[{s:s,s:s}]}}", "jsonrpc", "2.0", "id", id, "result", "ParameterList",
                                  "Name", name ? name : "", "Value", "value-1-X");
        char *text = json_dumps(reply, JSON_COMPACT);
        out += text;
        out += '\n';
        free(text);
        json_decref(reply);
    }
    json_decref(request);
}

void take_lines(Connection &connection) {
    size_t begin = 0;
    for (size_t end; (end = connection.in.find('\n', begin)) != connection.in.npos; begin = end + 1)
        answer(connection.out, connection.in.data() + begin, end - begin);
    connection.in.erase(0, begin);
}

// Returns false when the connection is done for.
bool serve(int fd, Connection &connection) {
    static char buffer[65536];
    const ssize_t got = read(fd, buffer, sizeof buffer);
    if (got == 0 || (got < 0 && errno != EAGAIN)) return false;
    if (got > 0) connection.in.append(buffer, static_cast<size_t>(got));
    take_lines(connection);
    while (!connection.out.empty()) {
        const ssize_t written = write(fd, connection.out.data(), connection.out.size());
        if (written < 0 && errno != EAGAIN) return false;
        if (written < 0) break;
        connection.out.erase(0, static_cast<size_t>(written));
    }
    if (!connection.out.empty()) watch(fd, EPOLLIN | EPOLLOUT, EPOLL_CTL_MOD);
    return true;
}

void accept_all(int listener) {
    for (int fd; (fd = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0;) {
        connections[fd] = std::make_unique<Connection>();
        watch(fd, EPOLLIN, EPOLL_CTL_ADD);
    }
}

int listen_on(const char *path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 || listen(fd, 4096) != 0) {
        perror("limitd");
        exit(1);
    }
    return fd;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        fputs("usage: limitd SOCKET\n", stderr);
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    poller = epoll_create1(EPOLL_CLOEXEC);
    const int listener = listen_on(argv[1]);
    watch(listener, EPOLLIN, EPOLL_CTL_ADD);
    epoll_event events[64];
    for (;;) {
        const int ready = epoll_wait(poller, events, 64, -1);
        for (int i = 0; i < ready; i++) {
            const int fd = events[i].data.fd;
            if (fd == listener) {
                accept_all(listener);
            } else if (!serve(fd, *connections[fd])) {
                close(fd);
                connections.erase(fd);
            }
        }
    }
}
