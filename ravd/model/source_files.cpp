// Reading and parsing schema files, and messages that name a place in them.
#include "ravd/model/source_files.h"

#include <algorithm>
#include <filesystem>
#include <memory>

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "ravd/model/locate.h"

namespace ravd {

namespace {

// The whole text of a file; false with errno set when it can't be read.
bool read_text(const std::string &path, std::string &text) {
    const std::unique_ptr<FILE, int (*)(FILE *)> file(fopen(path.c_str(), "re"), fclose);
    if (!file) return false;
    char block[16384];
    while (const size_t size = fread(block, 1, sizeof block, file.get())) text.append(block, size);
    return ferror(file.get()) == 0;
}

// The keys that lead to the node in a file, from the outermost object.
std::vector<std::string> keys_of(const SchemaNode &node) {
    std::vector<std::string> keys;
    for (const SchemaNode *at = &node; at->parent; at = at->parent) keys.push_back(at->name);
    std::ranges::reverse(keys);
    return keys;
}

}  // namespace

bool SourceFiles::read(const std::string &folder, std::string &error) {
    std::error_code code;
    std::vector<std::string> paths;
    for (std::filesystem::directory_iterator it(folder, code), end; !code && it != end; it.increment(code))
        if (it->path().extension() == ".json") paths.push_back(it->path().string());
    if (code) {
        error = folder + ": " + code.message();
        return false;
    }
    if (paths.empty()) {
        error = folder + ": no schema files (*.json)";
        return false;
    }
    std::ranges::sort(paths);
    return std::ranges::all_of(paths, [&](const std::string &path) { return read_file(path, error); });
}

bool SourceFiles::read_file(const std::string &path, std::string &error) {
    SourceFile &file = files_.emplace_back();
    file.path = path;
    if (!read_text(path, file.text)) {
        error = path + ":1: " + strerror(errno);
        return false;
    }
    json_error_t parse_error;
    file.json.reset(json_loadb(file.text.data(), file.text.size(), JSON_REJECT_DUPLICATES, &parse_error));
    if (!file.json) {
        error = path + ":" + std::to_string(std::max(parse_error.line, 1)) + ": " + parse_error.text;
        return false;
    }
    if (!json_is_object(file.json.get())) {
        error = path + ":1: the outermost value must be an object";
        return false;
    }
    return true;
}

std::string SourceFiles::complaint(const SourceFile &file, const SchemaNode &node, std::span<const std::string> members,
                                   const std::string &reason) const {
    std::vector<std::string> keys = keys_of(node);
    keys.insert(keys.end(), members.begin(), members.end());
    const std::string name = node.parent ? node.full_name() : ".";
    return file.path + ":" + std::to_string(locate_line(file.text, keys)) + ": '" + name + "': " + reason;
}

}  // namespace ravd
