// Writing order is what makes an upgrade whole or nothing: marker, payloads, manifest, their folder, and last the link;
// each on the disk before the next one begins.
#include "ravd/firmware/slots.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include "ravd/firmware/image_names.h"
#include "ravd/log.h"

namespace ravd {

namespace {

constexpr const char *slot_names[] = {"a", "b"};
constexpr char link_name[] = "active";
constexpr char new_link_name[] = "active.new";
constexpr char marker_name[] = "upgrading";
constexpr char elsewhere[] = "elsewhere";  // in the marker: the firmware is in no slot

std::string problem_of(const std::string &name) {
    return name + ": " + strerror(errno);
}

Descriptor open_at(int folder, const std::string &name, int flags) {
    return Descriptor(openat(folder, name.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, 0600));
}

std::string read_all(int fd, size_t most) {
    std::string text(most, '\0');
    const ssize_t got = read(fd, text.data(), text.size());
    text.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return text;
}

std::string read_at(int folder, const std::string &name, size_t most) {
    const Descriptor file = open_at(folder, name, O_RDONLY | O_NONBLOCK);
    return file ? read_all(file.get(), most) : std::string();
}

bool write_all(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t put = ::write(fd, bytes.data(), bytes.size());
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) return false;
        bytes.remove_prefix(static_cast<size_t>(put));
    }
    return true;
}

std::string write_file(int folder, const std::string &name, std::string_view text) {
    const Descriptor file = open_at(folder, name, O_WRONLY | O_CREAT | O_TRUNC);
    return file && write_all(file.get(), text) && fsync(file.get()) == 0 ? "" : problem_of(name);
}

std::string sync_folder(int folder, const std::string &name) {
    return fsync(folder) == 0 ? "" : problem_of(name);
}

// The files of a slot, as an image brings them.
class SlotWriter : public PayloadSink {
 public:
    SlotWriter(int folder, const Slots::Progress &progress, const std::atomic<bool> &stop)
        : folder_(folder), progress_(progress), stop_(stop) {}

    std::string open(const Payload &payload) override {
        name_ = payload.name;
        file_ = open_at(folder_, name_, O_WRONLY | O_CREAT | O_EXCL);
        return file_ ? "" : problem_of(name_);
    }
    std::string write(std::string_view bytes) override {
        if (stop_) return "stopped";
        if (!write_all(file_.get(), bytes)) return problem_of(name_);
        written_ += bytes.size();
        progress_(written_);
        return "";
    }
    std::string close() override {
        const std::string problem = fsync(file_.get()) == 0 ? "" : problem_of(name_);
        file_.reset();
        return problem;
    }

 private:
    const int folder_;
    const Slots::Progress &progress_;
    const std::atomic<bool> &stop_;
    std::string name_;
    Descriptor file_;
    uint64_t written_ = 0;
};

}  // namespace

std::string Slots::open(const std::string &state_folder) {
    path_ = state_folder + "/slots";
    if (mkdir(path_.c_str(), 0700) != 0 && errno != EEXIST) return problem_of(path_);
    folder_.reset(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
    if (!folder_) return problem_of(path_);
    const std::string marker = read_at(folder_.get(), marker_name, 16);
    struct stat file = {};
    last_ = LastUpgrade::none;
    if (fstatat(folder_.get(), marker_name, &file, AT_SYMLINK_NOFOLLOW) == 0) {
        last_ = marker == elsewhere || marker == active_name() ? LastUpgrade::finished : LastUpgrade::interrupted;
        for (const char *slot : slot_names)
            if (last_ == LastUpgrade::interrupted && slot != active_name()) clear(slot);
    }
    unlinkat(folder_.get(), new_link_name, 0);
    remove_marker();
    return "";
}

std::string Slots::active_name() const {
    char target[16];
    const ssize_t length = readlinkat(folder_.get(), link_name, target, sizeof target);
    const std::string_view name(target, length > 0 ? static_cast<size_t>(length) : 0);
    for (const char *slot : slot_names)
        if (name == slot) return slot;
    return "";
}

std::optional<Manifest> Slots::active() const {
    const std::string slot = active_name();
    if (slot.empty()) return std::nullopt;
    Manifest manifest;
    const std::string name = slot + "/" + std::string(manifest_name);
    const std::string problem = parse_manifest(read_at(folder_.get(), name, manifest_limit + 1), manifest);
    if (problem.empty()) return manifest;
    log_warning("%s/%s: %s", path_.c_str(), name.c_str(), problem.c_str());
    return std::nullopt;
}

uint64_t Slots::room() const {
    struct statvfs system = {};
    if (fstatvfs(folder_.get(), &system) != 0) return 0;
    uint64_t room = uint64_t{system.f_bavail} * system.f_frsize;
    const std::string slot = path_ + "/" + (active_name() == slot_names[0] ? slot_names[1] : slot_names[0]);
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator(slot, ignored)) {
        const auto size = entry.file_size(ignored);
        if (!ignored) room += size;
    }
    return room;
}

void Slots::clear(const std::string &slot) const {
    std::error_code failure;
    std::filesystem::remove_all(path_ + "/" + slot, failure);
    if (failure) log_warning("%s/%s: %s", path_.c_str(), slot.c_str(), failure.message().c_str());
}

std::string Slots::write_marker(const std::string &slot) const {
    std::string problem = write_file(folder_.get(), marker_name, slot);
    if (problem.empty()) problem = sync_folder(folder_.get(), path_);
    return problem;
}

void Slots::remove_marker() const {
    if (unlinkat(folder_.get(), marker_name, 0) == 0) sync_folder(folder_.get(), path_);
}

std::string Slots::flip(const std::string &slot) const {
    unlinkat(folder_.get(), new_link_name, 0);
    if (symlinkat(slot.c_str(), folder_.get(), new_link_name) != 0) return problem_of(new_link_name);
    if (renameat(folder_.get(), new_link_name, folder_.get(), link_name) != 0) return problem_of(link_name);
    if (const std::string problem = sync_folder(folder_.get(), path_); !problem.empty())
        log_error("%s; the new firmware may be lost when the power fails", problem.c_str());
    return "";
}

Fault Slots::write(int fd, const ImageRules &rules, const Progress &progress, const std::atomic<bool> &stop) {
    const std::string slot = active_name() == slot_names[0] ? slot_names[1] : slot_names[0];
    std::string problem = write_marker(slot);
    Manifest manifest;
    Fault fault;
    if (problem.empty()) {
        clear(slot);
        if (mkdirat(folder_.get(), slot.c_str(), 0700) != 0) problem = problem_of(slot);
    }
    if (problem.empty()) {
        const Descriptor target = open_at(folder_.get(), slot, O_RDONLY | O_DIRECTORY);
        SlotWriter writer(target.get(), progress, stop);
        fault = read_image(fd, rules, manifest, writer);
        if (stop) return {9002, "stopped", {}};
        if (!fault) problem = write_file(target.get(), std::string(manifest_name), manifest.text);
        if (!fault && problem.empty()) problem = sync_folder(target.get(), slot);
        if (!fault && problem.empty()) problem = sync_folder(folder_.get(), path_);
    }
    if (!fault && problem.empty()) problem = flip(slot);
    if (!fault && problem.empty()) return {};
    clear(slot);
    remove_marker();
    return fault ? fault : Fault{9002, problem, {}};
}

std::string Slots::note_finished() {
    return write_marker(elsewhere);
}

}  // namespace ravd
