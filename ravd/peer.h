// Who is at the other end of a connection, as the operating system tells it.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include <netinet/in.h>
#include <sys/types.h>

namespace ravd {

enum class Transport : uint8_t { local, tcp };

struct Peer {
    Transport transport = Transport::local;
    bool secured = false;                  // by TLS
    uid_t uid = static_cast<uid_t>(-1);    // local: the peer's user when it connected; else -1
    gid_t gid = static_cast<gid_t>(-1);    // likewise
    std::vector<gid_t> groups = {};        // local: the peer's further groups when it connected
    pid_t pid = -1;                        // local: its process then, which may have ended since; gives no right
    std::array<uint8_t, 16> address = {};  // TCP: what counts as one address, see address_key()
    in_addr_t reached_at = INADDR_ANY;     // TCP over IPv4: the address of this side that it has connected to
};

}  // namespace ravd
