// Questions to the kernel's routing socket.
#include "ravd/providers/netlink.h"

#include <algorithm>
#include <memory>

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace ravd {

namespace {

constexpr size_t buffer_size = 32768;  // the kernel fills dumps up to this

struct CloseSocket {
    void operator()(mnl_socket *socket) const { mnl_socket_close(socket); }
};
using Socket = std::unique_ptr<mnl_socket, CloseSocket>;

// The kernel answers at once; the limit is for the case that it loses the answer.
Socket open_socket() {
    Socket socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC));
    if (!socket || mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) < 0) return nullptr;
    const timeval limit = {1, 0};
    if (setsockopt(mnl_socket_get_fd(socket.get()), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) return nullptr;
    return socket;
}

bool ask(mnl_socket *socket, uint16_t type, unsigned sequence) {
    char buffer[256] = {};
    nlmsghdr *question = mnl_nlmsg_put_header(buffer);
    question->nlmsg_type = type;
    question->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    question->nlmsg_seq = sequence;
    mnl_nlmsg_put_extra_header(question, type == RTM_GETLINK ? sizeof(ifinfomsg) : sizeof(rtmsg));
    return mnl_socket_sendto(socket, question, question->nlmsg_len) >= 0;
}

template <typename Record>
struct Collector {
    std::optional<Record> (*parse)(const nlmsghdr *);
    std::vector<Record> records;

    static int take(const nlmsghdr *message, void *self) {
        auto *collector = static_cast<Collector *>(self);
        if (auto record = collector->parse(message)) collector->records.push_back(std::move(*record));
        return MNL_CB_OK;
    }
};

// All records of one kind. A table that changed while it was told (EINTR) is asked for again, a few times.
template <typename Record>
std::vector<Record> dump(uint16_t type, std::optional<Record> (*parse)(const nlmsghdr *)) {
    const auto buffer = std::make_unique<char[]>(buffer_size);
    for (unsigned attempt = 1; attempt <= 3; attempt++) {
        const Socket socket = open_socket();
        if (!socket || !ask(socket.get(), type, attempt)) return {};
        Collector<Record> collector{parse, {}};
        int result = MNL_CB_OK;
        while (result == MNL_CB_OK) {
            const ssize_t got = mnl_socket_recvfrom(socket.get(), buffer.get(), buffer_size);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) return {};
            result = mnl_cb_run(buffer.get(), static_cast<size_t>(got), attempt, mnl_socket_get_portid(socket.get()),
                                Collector<Record>::take, &collector);
        }
        if (result == MNL_CB_STOP) return std::move(collector.records);
        if (errno != EINTR) return {};
    }
    return {};
}

bool is_in_main_table(const Route &route) {
    return route.table == RT_TABLE_MAIN && route.type != RTN_MULTICAST;
}

}  // namespace

std::vector<Link> dump_links() {
    return dump<Link>(RTM_GETLINK, parse_link);
}

std::vector<Address> dump_addresses() {
    return dump<Address>(RTM_GETADDR, parse_address);
}

std::vector<Route> dump_routes() {
    std::vector<Route> routes = dump<Route>(RTM_GETROUTE, parse_route);
    std::erase_if(routes, [](const Route &route) { return !is_in_main_table(route); });
    return routes;
}

std::vector<Neighbour> dump_neighbours() {
    return dump<Neighbour>(RTM_GETNEIGH, parse_neighbour);
}

std::string link_name(const std::vector<Link> &links, int index) {
    const auto found = std::ranges::find(links, index, &Link::index);
    return found == links.end() ? "" : found->name;
}

}  // namespace ravd
