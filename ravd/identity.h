// Who a peer is, and the rights that its session begins with.
#pragma once

#include <sys/types.h>

#include "ravd/model/access.h"
#include "ravd/peer.h"

namespace ravd {

// Fills uid from the socket's peer. Returns false when the system does not tell it.
bool identify_local(int fd, Peer &peer);

// The role of a local user on whose sessions nobody has logged in: root and the daemon's own user are admins,
// everybody else is a guest. This is where users of the device come in.
Role role_of_local_user(uid_t uid, uid_t own_uid);

// Who a session of this peer is before any login: guest over TCP, by user on the local socket.
Viewer viewer_of_peer(const Peer &peer, uid_t own_uid);

}  // namespace ravd
