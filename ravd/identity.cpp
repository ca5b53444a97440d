// Peers of the local socket, and what their user entitles them to.
#include "ravd/identity.h"

#include <cerrno>
#include <cstdio>
#include <memory>

#include <arpa/inet.h>
#include <pwd.h>
#include <sys/socket.h>

namespace ravd {

namespace {

constexpr uid_t no_uid = static_cast<uid_t>(-1);
constexpr uid_t unmapped_uid = 65534;  // whoever has no number in the daemon's user namespace

}  // namespace

bool identify_local(int fd, Peer &peer) {
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return false;
    socklen_t room = 0;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, nullptr, &room) != 0 && errno != ERANGE) return false;
    peer.groups.resize(room / sizeof(gid_t));
    if (room > 0 && getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, peer.groups.data(), &room) != 0) return false;
    peer.uid = credentials.uid;
    peer.gid = credentials.gid;
    peer.pid = credentials.pid;
    return true;
}

const char *role_name(Role role) {
    constexpr const char *names[] = {"admin", "user", "guest"};
    return names[static_cast<size_t>(role)];
}

bool is_privileged(uid_t uid, uid_t own_uid) {
    return uid == 0 || uid == own_uid;
}

Viewer viewer_of_peer(const Peer &peer, uid_t own_uid) {
    const bool admin = peer.transport == Transport::local && is_privileged(peer.uid, own_uid);
    return {admin ? Role::admin : Role::guest, {}};
}

std::string name_of_local_user(uid_t uid, const char *password_file) {
    if (uid == no_uid || uid == unmapped_uid) return {};
    const std::unique_ptr<FILE, int (*)(FILE *)> file(fopen(password_file, "re"), fclose);
    if (!file) return {};
    passwd entry;
    passwd *found = nullptr;
    char buffer[4096];
    while (fgetpwent_r(file.get(), &entry, buffer, sizeof buffer, &found) == 0) {
        if (entry.pw_uid == uid) return entry.pw_name;
    }
    return {};
}

std::string peer_name(const Peer &peer) {
    if (peer.transport == Transport::local) return "uid " + std::to_string(peer.uid);
    char text[INET6_ADDRSTRLEN] = "";
    std::array<uint8_t, 16> address = peer.address;
    if (address.back() == 4) return inet_ntop(AF_INET, address.data(), text, sizeof text);
    address.back() = 0;
    return std::string(inet_ntop(AF_INET6, address.data(), text, sizeof text)) + "/64";
}

}  // namespace ravd
