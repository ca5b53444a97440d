// A folder of a test's own, and what stands in it.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <stdlib.h>
#include <sys/stat.h>

class TemporaryFolder {
 public:
    TemporaryFolder() {
        std::string name = std::filesystem::temp_directory_path() / "rv_test_XXXXXX";
        path_ = mkdtemp(name.data());
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::string &path() const { return path_; }
    std::string operator/(const std::string &name) const { return path_ + "/" + name; }
    size_t entries() const {
        const std::filesystem::directory_iterator begin(path_);
        return static_cast<size_t>(std::distance(begin, std::filesystem::directory_iterator()));
    }

 private:
    std::string path_;
};

inline void put_file(const std::string &path, const std::string &text, mode_t mode = 0600) {
    std::ofstream(path, std::ios::binary) << text;
    chmod(path.c_str(), mode);
}

inline std::string file_text(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline mode_t mode_of(const std::string &path) {
    struct stat info = {};
    lstat(path.c_str(), &info);
    return info.st_mode;
}
