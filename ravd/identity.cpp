// Peers of the local socket, and what their user entitles them to.
#include "ravd/identity.h"

#include <sys/socket.h>

namespace ravd {

bool identify_local(int fd, Peer &peer) {
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return false;
    peer.uid = credentials.uid;
    return true;
}

Role role_of_local_user(uid_t uid, uid_t own_uid) {
    return uid == 0 || uid == own_uid ? Role::admin : Role::guest;
}

Viewer viewer_of_peer(const Peer &peer, uid_t own_uid) {
    if (peer.transport != Transport::local) return {Role::guest, {}};
    return {role_of_local_user(peer.uid, own_uid), {}};
}

}  // namespace ravd
