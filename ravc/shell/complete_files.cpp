// Candidates from the file system: files of a folder, and programs of PATH. Nothing here waits but for the disk; a
// SIGINT that comes meanwhile ends the reading and stays pending for the shell.
#include <string>
#include <string_view>
#include <unordered_set>

#include <dirent.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ravc/shell/complete.h"
#include "rv/rl.h"

namespace {

enum { ENTRIES_MAX = 100000, ENTRIES_A_CHECK = 256, NAME_ROOM = 4095 };

// What is looked for, and what has been found.
struct Search {
    std::string prefix;
    int access;  // that a candidate must grant
    json_t *out;
    size_t enough;
    int entries_read;
    std::unordered_set<std::string> found;
};

bool is_interrupted() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGINT);
}

bool is_over(const Search &search) {
    if (json_array_size(search.out) >= search.enough || search.entries_read >= ENTRIES_MAX) return true;
    return search.entries_read % ENTRIES_A_CHECK == 0 && is_interrupted();
}

// Whether a name would steer the terminal that it is shown on: C0, DEL, and C1 in UTF-8.
bool has_control_characters(std::string_view name) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(name[i]); };
    for (size_t i = 0; i < name.size(); i++) {
        if (byte(i) < 0x20 || byte(i) == 0x7f) return true;
        if (byte(i) == 0xc2 && i + 1 < name.size() && byte(i + 1) >= 0x80 && byte(i + 1) < 0xa0) return true;
    }
    return false;
}

bool is_folder(const std::string &file, unsigned char type) {
    if (type != DT_UNKNOWN && type != DT_LNK) return type == DT_DIR;
    struct stat status;
    return stat(file.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void take_entry(Search *search, const std::string &folder, const dirent *entry) {
    const std::string_view name(entry->d_name);
    if (name == "." || name == ".." || !name.starts_with(search->prefix) || has_control_characters(name)) return;
    // No more than this much of a name is taken: a bound kept as it is.
    const std::string file = folder + "/" + std::string(name.substr(0, NAME_ROOM - name.size()));
    if (access(file.c_str(), search->access) != 0) return;
    std::string candidate(name);
    if (is_folder(file, entry->d_type)) candidate += '/';
    // What is no UTF-8 becomes no JSON text, and is passed over.
    if (search->found.insert(candidate).second) json_array_append_new(search->out, json_string(candidate.c_str()));
}

void search_folder(Search *search, const std::string &folder) {
    DIR *dir = opendir(folder.c_str());
    if (!dir) return;
    while (!is_over(*search)) {
        const dirent *entry = readdir(dir);
        if (!entry) break;
        search->entries_read++;
        take_entry(search, folder, entry);
    }
    closedir(dir);
}

// Of a list as in PATH; a single folder is one too.
void search_folders(Search *search, std::string folders) {
    char *rest = nullptr;
    for (const char *folder = strtok_r(folders.data(), ":", &rest); folder; folder = strtok_r(nullptr, ":", &rest))
        search_folder(search, folder);
}

std::string working_folder() {
    char folder[PATH_MAX];
    return getcwd(folder, sizeof folder) ? folder : "";
}

}  // namespace

void complete_files(size_t index, const json_t *words, json_t *out, bool files_only, size_t enough) {
    const char *typed = json_string_value(json_array_get(words, index));
    const std::string word = typed ? typed : "";
    Search search = {word, files_only ? F_OK : X_OK, out, enough, 0, {}};
    if (!files_only && index < 2) {
        const char *path = getenv("PATH");
        search_folders(&search, path ? path : "");
    } else if (const size_t slash = word.rfind('/'); slash != word.npos) {
        search.prefix = word.substr(slash + 1);
        search_folders(&search, word.substr(0, slash + 1));
    } else {
        search_folders(&search, working_folder());
    }
    rv_qsort_json(out, 1);
}
