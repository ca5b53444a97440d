// What a daemon that starts itself anew keeps open: its listening sockets, so that whoever connects meanwhile waits in
// their queues, and the lock of the state folder, so that no other daemon takes it.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace ravd {

struct Handover {
    int lock = -1;                            // the lock file of the state folder
    int local = -1;                           // the listening UNIX socket
    std::vector<std::pair<size_t, int>> tcp;  // listening sockets, each with the index of its --listen option
};

// The path of the running program, for start_anew(); empty when the system does not tell. To be asked at the start: a
// program that is replaced on the disk meanwhile has its old path still.
std::string own_program();

// Takes what the program that was this process before has left, closed on exec from here on, and removes the mark of
// it from the environment. Empty after an ordinary start; what is not as it is named is closed and left out.
Handover take_handover();

// Puts the program in this process's place, with the arguments and environment it was started with and those
// descriptors open, the others being closed on exec. Does not return, unless it fails: then it gives the reason, and
// the descriptors are as before.
std::string start_anew(const std::string &program, char **argv, const Handover &handover);

}  // namespace ravd
