// Images between their download and their use: files in the state folder's folder firmware, nameless until they are
// verified. None outlives a start of the daemon.
#pragma once

#include <string>

#include "ravd/descriptor.h"

namespace ravd {

class SavedImages {
 public:
    // Makes the folder where it is missing, and empties it. Returns an empty text, or why it can't be used.
    std::string open(const std::string &state_folder);

    // A new file without a name, to be read and written; none where problem is set.
    Descriptor create(std::string &problem) const;
    // Brings the file to the disk and gives it a name, which path is set to. Returns an empty text, or why it can't.
    // May run on any thread.
    std::string save(int fd, std::string &path) const;

 private:
    std::string path_;  // absolute
    Descriptor folder_;
};

}  // namespace ravd
