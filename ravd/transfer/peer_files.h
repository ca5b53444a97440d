// Files that a peer of the local socket names, read and written with its rights: by a process that has taken the peer's
// user and groups, at the other end of a socket. What a file system does there holds up only that process.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "ravd/descriptor.h"
#include "ravd/peer.h"

namespace ravd {

class PeerFile {
 public:
    PeerFile() = default;
    // Ends the process, which may then leave what it was doing half done.
    ~PeerFile();
    PeerFile(const PeerFile &) = delete;
    PeerFile &operator=(const PeerFile &) = delete;

    // What the process tells over the socket, as it stands in memory; a reader's is followed by size bytes.
    struct Report {
        int64_t error;  // 0 or an error number
        uint64_t size;
    };

    // Both are called once, and return our end of the socket, non-blocking; none where no process can be had. What is
    // at path must be a regular file, and no link to one.
    Descriptor read(const Peer &peer, const std::string &path);
    // Writes content beside path, brings it to the disk and gives it that name, which is free or that of a file of the
    // peer's own.
    Descriptor write(const Peer &peer, const std::string &path, std::string_view content);

 private:
    struct Task;
    Descriptor start(const Task &task);

    pid_t pid_ = -1;
};

}  // namespace ravd
