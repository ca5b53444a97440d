// The folder that keeps what outlives the daemon, for one daemon at a time.
#pragma once

#include <string>

namespace ravd {

class StateFolder {
 public:
    StateFolder() = default;
    ~StateFolder();
    StateFolder(const StateFolder &) = delete;
    StateFolder &operator=(const StateFolder &) = delete;

    // Makes the folder, open to its owner only, where it is missing, and locks it until the object goes; the system
    // lets the lock go when the process ends in any way. Returns false and sets error when it can't be made, opened or
    // another process has it.
    bool open(const std::string &path, std::string &error);

 private:
    int lock_ = -1;
};

}  // namespace ravd
