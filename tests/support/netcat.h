// A client that fetches what is served at a "netcat://" URL, from an address of its choice.
#pragma once

#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

namespace test {

inline sockaddr_in ipv4_address(const std::string &host, int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    return address;
}

class Netcat {
 public:
    // Connects from the address source, one of loopback. Connected or not: is_connected().
    explicit Netcat(const std::string &url, const char *source = "127.0.0.1")
        : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const std::string begin = "netcat://";
        const size_t colon = url.rfind(':');
        if (!url.starts_with(begin) || colon < begin.size()) return;
        const sockaddr_in from = ipv4_address(source, 0);
        const sockaddr_in to =
            ipv4_address(url.substr(begin.size(), colon - begin.size()), atoi(url.c_str() + colon + 1));
        connected_ = bind(fd_, reinterpret_cast<const sockaddr *>(&from), sizeof from) == 0 &&
                     connect(fd_, reinterpret_cast<const sockaddr *>(&to), sizeof to) == 0;
    }
    ~Netcat() { hang_up(); }
    Netcat(const Netcat &) = delete;
    Netcat &operator=(const Netcat &) = delete;

    bool is_connected() const { return connected_; }

    std::string receive(size_t most) {
        std::string text(most, '\0');
        const ssize_t got = recv(fd_, text.data(), most, 0);
        text.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return text;
    }
    std::string receive_all() {
        std::string all;
        for (std::string text; !(text = receive(size_t{1} << 16)).empty();) all += text;
        return all;
    }
    void hang_up() {
        if (fd_ >= 0) close(fd_);
        fd_ = -1;
    }

 private:
    int fd_;
    bool connected_ = false;
};

}  // namespace test
