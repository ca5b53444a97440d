// Files that a peer of the local socket names, read and written with its rights: by a process that has taken the peer's
// user and groups, at the other end of a socket. What a file system does there holds up only that process.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "ravd/descriptor.h"
#include "ravd/model/fault.h"
#include "ravd/peer.h"

namespace ravd {

class PeerFile {
 public:
    PeerFile() = default;
    // Ends the process, which may then leave what it was doing half done.
    ~PeerFile();
    PeerFile(const PeerFile &) = delete;
    PeerFile &operator=(const PeerFile &) = delete;

    // Both are called once, and return our end of the socket, non-blocking; none where no process can be had. What is
    // at path must be a regular file, and no link to one.
    Descriptor read(const Peer &peer, const std::string &path);
    // Writes content beside path, brings it to the disk and gives it that name, which is free or that of a file of the
    // peer's own.
    Descriptor write(const Peer &peer, const std::string &path, std::string_view content);

    // What comes over the socket is given to take(), which keeps the process's report, the first of it, and returns
    // what follows: the bytes of a file that is read.
    std::string_view take(std::string_view bytes);
    // Once the socket has ended, with that problem, 0 or an error number: none, or 9016 with what has kept the process
    // from its work.
    Fault fault(int problem) const;
    uint64_t size() const;  // of the file, where there is no fault

 private:
    struct Task;
    Descriptor start(const Task &task);

    pid_t pid_ = -1;
    std::string head_;  // the report, until it is whole
};

}  // namespace ravd
