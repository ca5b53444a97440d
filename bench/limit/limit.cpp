// limit: the client that does only what cannot be avoided: connect, send a request a line, parse the reply with
// jansson, print "name = 'value'". What ravc takes is measured against it.
//
// usage: limit SOCKET get NAME            one value, over one of two connections, as ravc opens two
//        limit SOCKET script < LINES      "get NAME" a line, one request after another
#include <string>

#include <jansson.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

int connect_to(const char *path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        perror("limit: connect");
        exit(1);
    }
    return fd;
}

class Connection {
 public:
    explicit Connection(const char *path) : fd_(connect_to(path)) {}

    bool send(const char *text, size_t length) {
        while (length > 0) {
            const ssize_t written = write(fd_, text, length);
            if (written <= 0) return false;
            text += written;
            length -= static_cast<size_t>(written);
        }
        return true;
    }

    // The next line without its line feed, lent until the next call; null at the end.
    const char *line(size_t *length) {
        buffer_.erase(0, used_);
        used_ = 0;
        for (size_t scanned = 0;;) {
            const size_t end = buffer_.find('\n', scanned);
            if (end != buffer_.npos) {
                used_ = end + 1;
                *length = end;
                return buffer_.data();
            }
            scanned = buffer_.size();
            if (!fill()) return nullptr;
        }
    }

 private:
    bool fill() {
        const size_t size = buffer_.size();
        buffer_.resize(size + 32768);
        const ssize_t got = read(fd_, buffer_.data() + size, 32768);
        buffer_.resize(size + static_cast<size_t>(got > 0 ? got : 0));
        return got > 0;
    }

    int fd_;
    std::string buffer_;
    size_t used_ = 0;
};

void print_reply(const json_t *reply, const char *name) {
    const json_t *list = json_object_get(json_object_get(reply, "result"), "ParameterList");
    const int prefix = static_cast<int>(strlen(name));
    int width = 0;
    size_t i;
    json_t *pair;
    json_array_foreach(list, i, pair) {
        const int length = static_cast<int>(json_string_length(json_object_get(pair, "Name"))) - prefix;
        if (length > width) width = length;
    }
    json_array_foreach(list, i, pair) {
        const char *text = json_string_value(json_object_get(pair, "Name"));
        const json_t *value = json_object_get(pair, "Value");
        printf("%-*s = ", width, text ? text + prefix : "");
        if (json_is_string(value)) {
            printf("'%s'\n", json_string_value(value));
        } else {
            printf("%lld\n", json_integer_value(value));
        }
    }
}

bool get(Connection &connection, const char *name, json_int_t id) {
    json_t *request = json_pack("{s:s,s:s,s:{s:[s]},s:I}", "jsonrpc", "2.0", "method", "GetParameterValues", "params",
                                "ParameterNames", name, "id", id);
    char *text = json_dumps(request, JSON_COMPACT);
    json_decref(request);
    const size_t length = strlen(text);
    text[length] = '\n';  // the terminator's place
    const bool sent = connection.send(text, length + 1);
    free(text);
    size_t size = 0;
    const char *line = sent ? connection.line(&size) : nullptr;
    json_t *reply = line ? json_loadb(line, size, 0, nullptr) : nullptr;
    if (!reply) return false;
    print_reply(reply, name);
    json_decref(reply);
    return true;
}

int run_script(Connection &connection) {
    char *line = nullptr;
    size_t capacity = 0;
    json_int_t id = 0;
    for (ssize_t length; (length = getline(&line, &capacity, stdin)) > 0;) {
        if (line[length - 1] == '\n') line[length - 1] = '\0';
        const char *blank = strchr(line, ' ');
        if (blank && !get(connection, blank + 1, ++id)) return 1;
    }
    free(line);
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc == 4 && strcmp(argv[2], "get") == 0) {
        Connection connection(argv[1]);
        const int events = connect_to(argv[1]);
        const bool good = get(connection, argv[3], 1);
        close(events);
        return good ? 0 : 1;
    }
    if (argc == 3 && strcmp(argv[2], "script") == 0) {
        Connection connection(argv[1]);
        return run_script(connection);
    }
    fputs("usage: limit SOCKET get NAME | limit SOCKET script\n", stderr);
    return 2;
}
