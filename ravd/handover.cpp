// The environment variable RAVD_HANDOVER names the process and its descriptors: "PID lock=3 local=4 tcp0=5 tcp1=6". The
// process's number keeps a child that inherits the variable from believing it.
#include "ravd/handover.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string_view>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ravd/log.h"

namespace ravd {

namespace {

constexpr char variable[] = "RAVD_HANDOVER";

template <typename Number>
bool read_number(std::string_view text, Number &number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

bool set_close_on_exec(int fd, bool closed) {
    const int flags = fcntl(fd, F_GETFD);
    return flags >= 0 && fcntl(fd, F_SETFD, closed ? flags | FD_CLOEXEC : flags & ~FD_CLOEXEC) == 0;
}

bool is_listening(int fd, bool local) {
    int listens = 0, domain = 0;
    socklen_t size = sizeof listens;
    if (getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) != 0 || listens == 0) return false;
    size = sizeof domain;
    return getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && (domain == AF_UNIX) == local;
}

bool is_file(int fd) {
    struct stat file = {};
    return fstat(fd, &file) == 0 && S_ISREG(file.st_mode);
}

bool take(Handover &handover, std::string_view name, int fd) {
    size_t index = 0;
    if (name == "lock" && is_file(fd)) {
        handover.lock = fd;
    } else if (name == "local" && is_listening(fd, true)) {
        handover.local = fd;
    } else if (name.starts_with("tcp") && read_number(name.substr(3), index) && is_listening(fd, false)) {
        handover.tcp.emplace_back(index, fd);
    } else {
        return false;
    }
    return true;
}

std::vector<int> descriptors(const Handover &handover) {
    std::vector<int> all;
    for (const int fd : {handover.lock, handover.local})
        if (fd >= 0) all.push_back(fd);
    for (const auto &[index, fd] : handover.tcp) all.push_back(fd);
    return all;
}

std::string description(const Handover &handover) {
    std::string text = std::to_string(getpid());
    if (handover.lock >= 0) text += " lock=" + std::to_string(handover.lock);
    if (handover.local >= 0) text += " local=" + std::to_string(handover.local);
    for (const auto &[index, fd] : handover.tcp) text += " tcp" + std::to_string(index) + "=" + std::to_string(fd);
    return text;
}

}  // namespace

std::string own_program() {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return length > 0 && static_cast<size_t>(length) < sizeof path ? std::string(path, static_cast<size_t>(length))
                                                                   : "";
}

Handover take_handover() {
    Handover handover;
    const char *text = getenv(variable);
    if (text == nullptr) return handover;
    std::istringstream words{text};
    unsetenv(variable);
    pid_t process = 0;
    if (!(words >> process) || process != getpid()) return handover;
    for (std::string word; words >> word;) {
        const size_t equals = word.find('=');
        int fd = -1;
        if (equals == word.npos || !read_number(std::string_view(word).substr(equals + 1), fd) || fd <= STDERR_FILENO)
            continue;
        if (!set_close_on_exec(fd, true) || take(handover, std::string_view(word).substr(0, equals), fd)) continue;
        log_warning("descriptor %d is not what it was handed over as", fd);
        close(fd);
    }
    return handover;
}

std::string start_anew(const std::string &program, char **argv, const Handover &handover) {
    if (program.empty()) return "the program's path is not known";
    const std::vector<int> kept = descriptors(handover);
    setenv(variable, description(handover).c_str(), 1);
    for (const int fd : kept) set_close_on_exec(fd, false);
    execv(program.c_str(), argv);
    const int reason = errno;
    for (const int fd : kept) set_close_on_exec(fd, true);
    unsetenv(variable);
    return program + ": " + strerror(reason);
}

}  // namespace ravd
