// The files that a schema is read from, and who wrote which node: what a message about a node needs.
#pragma once

#include <deque>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "ravd/model/schema.h"
#include "ravd/model/value.h"

namespace ravd {

struct SourceFile {
    std::string path;
    std::string text;
    Json json;
};

class SourceFiles {
 public:
    // Where a node came from: the first file that names it, and the one with its "#attr" (null: none yet).
    struct Origin {
        const SourceFile *file = nullptr;
        const SourceFile *attr_file = nullptr;
        json_t *attr = nullptr;  // borrowed from attr_file
    };

    // Reads and parses every *.json file of the folder. False with an error as load_schema() gives it.
    bool read(const std::string &folder, std::string &error);

    const std::deque<SourceFile> &files() const { return files_; }
    Origin &origin(const SchemaNode &node) { return origins_[&node]; }

    // "<file>:<line>: '<node>': <reason>", for the node's member key in that file; without a key, for the node itself.
    std::string complaint(const SourceFile &file, const SchemaNode &node, std::span<const std::string> members,
                          const std::string &reason) const;

 private:
    bool read_file(const std::string &path, std::string &error);

    std::deque<SourceFile> files_;
    std::unordered_map<const SchemaNode *, Origin> origins_;
};

}  // namespace ravd
