// What may stand where: a table of commands and argument positions with the candidates for each.
#include "ravc/shell/complete.h"

#include <algorithm>
#include <string>

#include <string.h>

#include "ravc/commands.h"
#include "ravc/commands/list_children.h"
#include "ravc/commands/split_line.h"
#include "rv/rl.h"

namespace {

// The line that is typed, up to the cursor, and where its candidates go.
struct Typed {
    const json_t *words;
    size_t index;  // of the word under the cursor; the number of words for a new one
    const char *word;
    json_t *out;
    size_t enough;

    bool is_enough() const { return json_array_size(out) >= enough; }
};

struct Position {
    const char *command;
    size_t first, last;  // argument positions, the first is 1
    void (*offer)(const Typed &typed, const Position &position);
    int flags;             // LIST_*, of paths
    const char *words[4];  // fixed words, in the order they are offered
};

bool begins_with(const char *text, const char *typed) {
    return strncmp(text, typed, strlen(typed)) == 0;
}

void offer(const Typed &typed, const char *text) {
    if (begins_with(text, typed.word) && !typed.is_enough()) json_array_append_new(typed.out, json_string(text));
}

void offer_paths(const Typed &typed, const Position &position) {
    complete_path(typed.word, typed.out, position.flags, typed.enough);
}

void offer_input(const Typed &typed, const Position &position) {
    const char *method = json_string_value(json_array_get(typed.words, 1));
    complete_input(typed.word, typed.out, method, position.flags, typed.enough);
}

void offer_words(const Typed &typed, const Position &position) {
    for (const char *word : position.words)
        if (word) offer(typed, word);
}

void offer_files(const Typed &typed, const Position &) {
    complete_files(typed.index, typed.words, typed.out, true, typed.enough);
}

void offer_programs(const Typed &typed, const Position &) {
    complete_files(typed.index, typed.words, typed.out, false, typed.enough);
}

void offer_modes_of(const Typed &typed, const json_t *modes) {
    size_t i;
    json_t *mode;
    json_array_foreach(modes, i, mode) {
        const char *text = json_string_value(mode);
        if (text && *text) offer(typed, text);
    }
    rv_qsort_json(typed.out, 1);
}

void offer_modes(const Typed &typed, const Position &) {
    json_auto_t *modes = device_modes();
    offer_modes_of(typed, modes);
}

bool holds(const json_t *list, const json_t *wanted) {
    size_t i;
    json_t *element;
    json_array_foreach(list, i, element) if (json_equal(element, wanted)) return true;
    return false;
}

// "-f" and one device mode, in any order, each until it has been given.
void offer_reboot(const Typed &typed, const Position &) {
    json_auto_t *modes = device_modes();
    bool has_force = false, has_mode = false;
    for (size_t i = 1; i < json_array_size(typed.words); i++) {
        const json_t *word = json_array_get(typed.words, i);
        if (!has_force && strcmp(json_string_value(word), "-f") == 0) {
            has_force = true;
        } else {
            has_mode = has_mode || holds(modes, word);
        }
    }
    if (!has_force) offer(typed, "-f");
    if (!has_mode) offer_modes_of(typed, modes);
}

constexpr size_t ANY = SIZE_MAX;

// A position may stand in several rows: their candidates are offered together.
constexpr Position positions[] = {
    {"add", 1, ANY, offer_paths, LIST_OBJECTS, {}},
    {"touch", 1, ANY, offer_paths, LIST_OBJECTS, {}},
    {"take", 1, ANY, offer_paths, LIST_OBJECTS, {}},
    {"cd", 1, ANY, offer_paths, LIST_OBJECTS, {}},
    {"tree", 1, ANY, offer_paths, LIST_OBJECTS, {}},
    {"set", 1, ANY, offer_paths, LIST_WRITABLE, {}},
    {"cat", 1, ANY, offer_paths, 0, {}},
    {"get", 1, ANY, offer_paths, 0, {}},
    {"catree", 1, ANY, offer_paths, 0, {}},
    {"del", 1, ANY, offer_paths, 0, {}},
    {"rm", 1, ANY, offer_paths, 0, {}},
    {"attr", 1, ANY, offer_paths, 0, {}},
    {"info", 1, ANY, offer_paths, 0, {}},
    {"ls", 1, ANY, offer_paths, 0, {}},
    {"select", 1, ANY, offer_paths, 0, {}},
    {"order", 1, 1, offer_paths, 0, {}},
    {"execute", 1, 1, offer_paths, 0, {}},
    {"execute", 2, ANY, offer_input, 0, {}},
    {"color", 1, 1, offer_words, 0, {"autocomplete", "hint", "prompt", "root-prompt"}},
    {"debug", 1, 1, offer_words, 0, {"disabled", "permanent", "temporary"}},
    {"download", 1, 1, offer_words, 0, {"config", "file", "firmware"}},
    {"download", 2, 2, offer_files, 0, {}},
    {"upload", 1, 1, offer_words, 0, {"config"}},
    {"upload", 2, 2, offer_files, 0, {}},
    {"record", 1, 1, offer_words, 0, {"abort"}},
    {"record", 1, 1, offer_files, 0, {}},
    {"luarecord", 1, 1, offer_words, 0, {"abort"}},
    {"luarecord", 1, 1, offer_files, 0, {}},
    {"opt", 1, 1, offer_words, 0, {"autocomplete", "hint"}},
    {"opt", 2, 2, offer_words, 0, {"off", "on"}},
    {"reset", 1, 1, offer_modes, 0, {}},
    {"reboot", 1, ANY, offer_reboot, 0, {}},
    {"upgrade", 1, ANY, offer_files, 0, {}},
    {"sh", 1, ANY, offer_programs, 0, {}},
};

void offer_commands(const Typed &typed) {
    for (const command_row &row : command_table()) offer(typed, row.name);
}

void offer_arguments(const Typed &typed) {
    const command_row *row = command_lookup(json_string_value(json_array_get(typed.words, 0)));
    if (!row) return;
    for (const Position &position : positions) {
        if (typed.is_enough()) return;
        if (typed.index < position.first || typed.index > position.last) continue;
        if (strcmp(position.command, row->name) == 0) position.offer(typed, position);
    }
}

}  // namespace

void complete_line_upto(const char *line, size_t cursor, json_t *out, size_t enough) {
    const std::string left(line, std::min(cursor, strlen(line)));
    int words_before = 0;
    json_auto_t *words = split_line(left.c_str(), static_cast<int>(left.size()), &words_before);
    const auto index = static_cast<size_t>(words_before);
    const char *word = json_string_value(json_array_get(words, index));
    const Typed typed = {words, index, word ? word : "", out, enough};
    if (index == 0) {
        offer_commands(typed);
    } else {
        offer_arguments(typed);
    }
}

void complete_line(const char *line, size_t cursor, json_t *out) {
    complete_line_upto(line, cursor, out, SIZE_MAX);
}
