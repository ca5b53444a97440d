// Who a peer is, and the rights that its session begins with.
#pragma once

#include <string>

#include <sys/types.h>

#include "ravd/model/access.h"
#include "ravd/peer.h"

namespace ravd {

// Fills user, groups and process from the socket's peer. Returns false when the system does not tell it.
bool identify_local(int fd, Peer &peer);

// "admin", "user" or "guest".
const char *role_name(Role role);

// Root and the daemon's own user may do everything.
bool is_privileged(uid_t uid, uid_t own_uid);

// Who a session of this peer is before any login, as far as the peer alone tells it: an admin where a privileged user
// is on the local socket, else a guest.
Viewer viewer_of_peer(const Peer &peer, uid_t own_uid);

// A user of the local socket, with the rights that the user of the device by that name has.
struct LocalUser {
    std::string name;  // empty: it has none
    Role role = Role::guest;
};

// The name that a password file has for a uid; empty where it has none, and for the uid that stands for users whom this
// system does not know. Only the file is read: no name service is asked, which could hold up the loop.
std::string name_of_local_user(uid_t uid, const char *password_file = "/etc/passwd");

// For the log: "uid 1000", "192.0.2.7", "2001:db8::/64".
std::string peer_name(const Peer &peer);

}  // namespace ravd
