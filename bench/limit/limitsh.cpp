// limitsh: the shell that does only what cannot be avoided: connect, ask the daemon once, put the terminal into raw
// mode, and for each key draw the line with one write(), a hint from its cache behind it. What ravc's interactive shell
// takes is measured against it.
//
// usage: limitsh SOCKET CHILDREN     CHILDREN: how many the cache has below Device.Wide.
// Ctrl-U drops the line, Ctrl-D or "q" ends.
#include <string>

#include <jansson.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr char prompt[] = "limit> ";

int connect_to(const char *path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        perror("limitsh: connect");
        exit(1);
    }
    return fd;
}

// One request and its reply, which is read and parsed.
void ask(int fd) {
    constexpr char request[] =
        R"({"jsonrpc":"2.0","id":1,"method":"GetParameterValues","params":{"ParameterNames":["Device.X"]}})"
        "\n";
    char reply[4096];
    if (write(fd, request, sizeof request - 1) < 0) exit(1);
    const ssize_t got = read(fd, reply, sizeof reply);
    json_decref(json_loadb(reply, static_cast<size_t>(got > 0 ? got : 0), 0, nullptr));
}

json_t *make_cache(int children) {
    json_t *wide = json_object();
    for (int i = 0; i < children; i++) {
        char name[32];
        snprintf(name, sizeof name, "Host%06d", i);
        json_object_set_new_nocheck(wide, name, json_object());
    }
    return json_pack("{s:{s:o}}", "Device", "Wide", wide);
}

// What would finish the last word of line; empty when there is no one way.
std::string hint(const json_t *node, const std::string &line) {
    const size_t blank = line.rfind(' ');
    const char *word = line.c_str() + (blank == line.npos ? 0 : blank + 1);
    while (const char *dot = strchr(word, '.')) {
        node = json_object_get(node, std::string(word, dot).c_str());
        word = dot + 1;
    }
    const size_t length = strlen(word);
    const char *rest = nullptr;
    const char *name;
    json_t *child;
    json_object_foreach(const_cast<json_t *>(node), name, child) {
        if (strncasecmp(name, word, length) != 0) continue;
        if (rest) return "";
        rest = name + length;
    }
    return rest ? rest : "";
}

void put(const std::string &text) {
    if (write(STDOUT_FILENO, text.data(), text.size()) < 0) exit(1);
}

void draw(const json_t *cache, const std::string &line) {
    std::string text = "\r" + (prompt + line) + "\033[K";
    const std::string rest = hint(cache, line);
    if (!rest.empty()) text += "\033[90m" + rest + "\033[0m\033[" + std::to_string(rest.size()) + "D";
    put(text);
}

// Applies a key. Returns false to end.
bool take(char key, const json_t *cache, std::string *line) {
    constexpr char ctrl_d = 4, ctrl_u = 21;
    if (key == ctrl_d) return false;
    if (key == '\r' || key == '\n') {
        if (*line == "q") return false;
        line->clear();
        put(std::string("\n") + prompt);
        return true;
    }
    if (key == ctrl_u) {
        line->clear();
    } else {
        *line += key;
    }
    draw(cache, *line);
    return true;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        fputs("usage: limitsh SOCKET CHILDREN\n", stderr);
        return 2;
    }
    const int requests = connect_to(argv[1]), events = connect_to(argv[1]);
    ask(requests);
    json_t *cache = make_cache(atoi(argv[2]));
    termios own, raw;
    tcgetattr(STDIN_FILENO, &own);
    raw = own;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    put(prompt);
    std::string line;
    for (char key; read(STDIN_FILENO, &key, 1) == 1 && take(key, cache, &line);) {
    }
    tcsetattr(STDIN_FILENO, TCSANOW, &own);
    json_decref(cache);
    close(events);
    close(requests);
    return 0;
}
