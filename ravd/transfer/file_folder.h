// The folder of the files that clients have brought onto the device: plain files, directly in it.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "ravd/descriptor.h"
#include "ravd/model/fault.h"

namespace ravd {

class FileFolder {
 public:
    // bytes, count: what the folder may hold.
    FileFolder(uint64_t bytes, uint64_t count) : bytes_(bytes), count_(count) {}

    // Makes the folder "files" of the state folder where it is missing, and removes what an interrupted transfer has
    // left there. Returns an empty text, or why it can't be used.
    std::string open(const std::string &state_folder);

    // A new file without a name, to be read and written; none with errno where none can be had.
    Descriptor create() const;
    // Brings the file to the disk and gives it that name, which problem_of_name() must know nothing against. What has
    // it is replaced where it is a plain file, and stays as it is on a fault: 9016 where it is none, 9004 where the
    // folder would hold too much, 9002. May run on any thread.
    Fault keep(int fd, const std::string &name);

 private:
    Fault check(int fd, const std::string &name) const;

    uint64_t bytes_, count_;
    std::mutex mutex_;  // of what is given a name
    std::string path_;
    Descriptor folder_;
};

}  // namespace ravd
