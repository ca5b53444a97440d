// Transfers that clients have asked for: files onto the device and off it. Each is answered when it is done, ends with
// its client, and is told of in an event of the group for what has ended.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "ravd/methods.h"
#include "ravd/transfer/file_folder.h"

namespace ravd {

class Transfers {
 public:
    explicit Transfers(const ClientLimits &limits)
        : folder_(std::make_shared<FileFolder>(limits.files, limits.files_count)) {}

    // Opens the folder for files. Returns an empty text, or why it can't be used.
    std::string open(const std::string &state_folder) { return folder_->open(state_folder); }

    // Both serve one Download of an admin. They return a fault, or defer the reply.
    Fault download_file(const Call &call);
    Fault download_configuration(const Call &call);
    // Serves one Upload of an admin: content goes to the URL, or into the folder that it names where there is a
    // TargetFileName. Returns a fault, or defers the reply.
    Fault upload(const Call &call, std::string content);

 private:
    struct Job;

    Fault begin(const Call &call, uint64_t most, void (*use)(const std::shared_ptr<Job> &job));

    std::shared_ptr<FileFolder> folder_;
    std::shared_ptr<size_t> running_ = std::make_shared<size_t>(0);
};

}  // namespace ravd
