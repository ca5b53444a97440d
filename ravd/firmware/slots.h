// The two slots for firmware in the state folder:
//
//     slots/a/, slots/b/    a manifest.json and the payloads of one firmware each
//     slots/active          a symbolic link to the one that is to run: a or b
//     slots/upgrading       while the other one is written, and until the next start: its name
//
// What runs changes by the rename of slots/active and by nothing else; before it, everything that it leads to is on the
// disk. Whatever ends the writing, power cut included, leaves the old link or the new one.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>

#include "ravd/descriptor.h"
#include "ravd/firmware/image.h"

namespace ravd {

// How the upgrade ended that the start before this one has begun.
enum class LastUpgrade { none, finished, interrupted };

class Slots {
 public:
    // Makes the folder where it is missing, finds out how the last upgrade has ended, and removes what an interrupted
    // one has left. Returns an empty text, or why the slots can't be used.
    std::string open(const std::string &state_folder);
    LastUpgrade last_upgrade() const { return last_; }
    // What runs; nothing before the first upgrade, or where the slot is damaged, which is logged.
    std::optional<Manifest> active() const;

    // Bytes that writing an image may use: what is free, and what the slot that it goes to occupies now.
    uint64_t room() const;

    // Told of bytes of payload written so far.
    using Progress = std::function<void(uint64_t written)>;
    // Writes the image that fd holds into the slot that does not run, checking all of it once more, and makes that one
    // active. With a fault nothing has changed. Once stop is true it ends as if the power was cut: what it has written
    // stays for the next open(). May run on any thread, one at a time.
    Fault write(int fd, const ImageRules &rules, const Progress &progress, const std::atomic<bool> &stop);

    // Notes that firmware was written by other means, for the next start to find it finished.
    std::string note_finished();

 private:
    std::string active_name() const;
    void clear(const std::string &slot) const;
    std::string write_marker(const std::string &slot) const;
    void remove_marker() const;
    std::string flip(const std::string &slot) const;

    Descriptor folder_;
    std::string path_;
    LastUpgrade last_ = LastUpgrade::none;
};

}  // namespace ravd
