// Echo requests and their answers. Routers' complaints come through the socket's error queue, with the head of the
// request that they are about.
#include "ravd/probes/echo_socket.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include <arpa/inet.h>
#include <linux/errqueue.h>
#include <netdb.h>
#include <netinet/icmp6.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/ip_icmp.h>
#include <sys/random.h>
#include <unistd.h>

namespace ravd {

namespace {

constexpr size_t header_size = 8;  // of an echo request, in both versions
constexpr size_t largest_packet = 65536;

// The fields of an echo message that both versions of ICMP have in the same places.
struct EchoHeader {
    uint8_t type, code;
    uint16_t checksum, identifier, sequence;
};
static_assert(sizeof(EchoHeader) == header_size);

uint16_t internet_checksum(const std::vector<uint8_t> &packet) {
    uint32_t sum = 0;
    for (size_t i = 0; i < packet.size(); i += 2)
        sum += static_cast<uint32_t>(packet[i] << 8) | (i + 1 < packet.size() ? packet[i + 1] : 0U);
    while (sum >> 16) sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<uint16_t>(~sum);
}

bool set_option(int fd, int level, int name, int value) {
    return setsockopt(fd, level, name, &value, sizeof value) == 0;
}

bool read_header(std::string_view packet, EchoHeader &header) {
    if (packet.size() < header_size) return false;
    memcpy(&header, packet.data(), header_size);
    return true;
}

// Raw IPv4 packets come with the header of IP before them.
std::string_view without_ip_header(std::string_view packet) {
    const size_t size = packet.empty() ? 0 : static_cast<size_t>(packet[0] & 0x0f) * 4;
    return packet.substr(std::min(size, packet.size()));
}

bool same_host(const SocketAddress &a, const SocketAddress &b) {
    return a.storage.ss_family == b.storage.ss_family && a.text() == b.text();
}

}  // namespace

std::string SocketAddress::text() const {
    char host[NI_MAXHOST] = "";
    getnameinfo(reinterpret_cast<const sockaddr *>(&storage), size, host, sizeof host, nullptr, 0, NI_NUMERICHOST);
    return std::string(host).substr(0, strcspn(host, "%"));
}

EchoSocket::~EchoSocket() {
    if (fd_ >= 0) close(fd_);
}

bool EchoSocket::open(const SocketAddress &destination) {
    destination_ = destination;
    const bool v6 = destination.is_v6();
    const int protocol = v6 ? static_cast<int>(IPPROTO_ICMPV6) : static_cast<int>(IPPROTO_ICMP);
    for (const int kind : {SOCK_DGRAM, SOCK_RAW}) {
        fd_ = socket(v6 ? AF_INET6 : AF_INET, kind | SOCK_CLOEXEC | SOCK_NONBLOCK, protocol);
        raw_ = kind == SOCK_RAW;
        if (fd_ >= 0) break;
    }
    if (fd_ < 0) return false;
    if (getrandom(&identifier_, sizeof identifier_, 0) != sizeof identifier_) return false;
    return v6 ? set_option(fd_, IPPROTO_IPV6, IPV6_RECVERR, 1) : set_option(fd_, IPPROTO_IP, IP_RECVERR, 1);
}

bool EchoSocket::set_hops(int hops) {
    return destination_.is_v6() ? set_option(fd_, IPPROTO_IPV6, IPV6_UNICAST_HOPS, hops)
                                : set_option(fd_, IPPROTO_IP, IP_TTL, hops);
}

bool EchoSocket::set_traffic_class(int value) {
    return destination_.is_v6() ? set_option(fd_, IPPROTO_IPV6, IPV6_TCLASS, value)
                                : set_option(fd_, IPPROTO_IP, IP_TOS, value);
}

// The system fills in the identifier of unprivileged requests, and every checksum but that of raw IPv4 ones.
bool EchoSocket::send(uint16_t sequence, size_t size) {
    std::vector<uint8_t> packet(header_size + size);
    EchoHeader header = {};
    header.type = destination_.is_v6() ? ICMP6_ECHO_REQUEST : ICMP_ECHO;
    header.identifier = htons(identifier_);
    header.sequence = htons(sequence);
    memcpy(packet.data(), &header, header_size);
    for (size_t i = header_size; i < packet.size(); i++) packet[i] = static_cast<uint8_t>(i);
    header.checksum = htons(internet_checksum(packet));
    memcpy(packet.data(), &header, header_size);
    const auto *to = reinterpret_cast<const sockaddr *>(&destination_.storage);
    return sendto(fd_, packet.data(), packet.size(), 0, to, destination_.size) >= 0;
}

std::optional<EchoSocket::Answer> EchoSocket::receive() {
    for (bool more = true; more;) {
        if (auto answer = receive_error(more)) return answer;
    }
    for (bool more = true; more;) {
        if (auto answer = receive_reply(more)) return answer;
    }
    return std::nullopt;
}

std::optional<EchoSocket::Answer> EchoSocket::receive_reply(bool &more) {
    static char buffer[largest_packet];
    Answer answer = {Answer::Kind::reply, 0, {}};
    answer.from.size = sizeof answer.from.storage;
    const ssize_t got = recvfrom(fd_, buffer, sizeof buffer, MSG_DONTWAIT,
                                 reinterpret_cast<sockaddr *>(&answer.from.storage), &answer.from.size);
    more = got >= 0 || (errno != EAGAIN && errno != EBADF);
    if (got < 0) return std::nullopt;
    std::string_view packet(buffer, static_cast<size_t>(got));
    if (raw_ && !destination_.is_v6()) packet = without_ip_header(packet);
    EchoHeader header;
    if (!read_header(packet, header)) return std::nullopt;
    if (header.type != (destination_.is_v6() ? ICMP6_ECHO_REPLY : ICMP_ECHOREPLY)) return std::nullopt;
    if (raw_ && (header.identifier != htons(identifier_) || !same_host(answer.from, destination_))) return std::nullopt;
    answer.sequence = ntohs(header.sequence);
    return answer;
}

std::optional<EchoSocket::Answer> EchoSocket::receive_error(bool &more) {
    char buffer[512];
    alignas(cmsghdr) char control[512];
    iovec part = {buffer, sizeof buffer};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t got = recvmsg(fd_, &message, MSG_ERRQUEUE | MSG_DONTWAIT);
    more = got >= 0;
    if (got < 0) return std::nullopt;
    std::string_view request(buffer, static_cast<size_t>(got));
    if (raw_ && !destination_.is_v6()) request = without_ip_header(request);
    EchoHeader header;
    if (!read_header(request, header) || (raw_ && header.identifier != htons(identifier_))) return std::nullopt;
    for (cmsghdr *each = CMSG_FIRSTHDR(&message); each; each = CMSG_NXTHDR(&message, each)) {
        if (each->cmsg_type != IP_RECVERR && each->cmsg_type != IPV6_RECVERR) continue;
        sock_extended_err error;
        memcpy(&error, CMSG_DATA(each), sizeof error);
        Answer answer = {Answer::Kind::unreachable, ntohs(header.sequence), destination_};
        if (error.ee_origin == SO_EE_ORIGIN_ICMP && error.ee_type == ICMP_TIME_EXCEEDED)
            answer.kind = Answer::Kind::time_exceeded;
        if (error.ee_origin == SO_EE_ORIGIN_ICMP6 && error.ee_type == ICMP6_TIME_EXCEEDED)
            answer.kind = Answer::Kind::time_exceeded;
        answer.from.size = destination_.size;
        memcpy(&answer.from.storage, CMSG_DATA(each) + sizeof error, answer.from.size);
        return answer;
    }
    return std::nullopt;
}

}  // namespace ravd
