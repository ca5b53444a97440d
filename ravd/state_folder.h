// The folder that keeps what outlives the daemon, for one daemon at a time.
#pragma once

#include <string>
#include <utility>

namespace ravd {

class StateFolder {
 public:
    StateFolder() = default;
    ~StateFolder();
    StateFolder(const StateFolder &) = delete;
    StateFolder &operator=(const StateFolder &) = delete;

    // Makes the folder, open to its owner only, where it is missing, and locks it until the object goes; the system
    // lets the lock go when the process ends in any way. Returns false and sets error when it can't be made, opened or
    // another process has it. kept: the descriptor that release() gave before a restart, which is taken; -1 for none.
    bool open(const std::string &path, std::string &error, int kept = -1);

    // Gives the locked file away, still locked, for the one who comes after a restart; -1 when nothing is open.
    int release() { return std::exchange(lock_, -1); }

 private:
    int lock_ = -1;
};

}  // namespace ravd
