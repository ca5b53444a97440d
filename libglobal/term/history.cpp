// The history. The list is readline's own, so that its keys walk through what stands here; the file is ours, because
// readline's forms lose entries of several lines.
#include "rv/history.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <readline/history.h>
#include <stdio.h>
#include <string.h>

#include "libglobal/base/safe_file.h"

namespace {

constexpr int most_entries = 10000;

void add(const char *line) {
    if (!history_is_stifled()) stifle_history(most_entries);
    add_history(line);
    using_history();  // readline's keys walk from the end again
}

// Where the last most_entries lines of text begin: what readline would only drop again is not added.
size_t last_lines(std::string_view text) {
    size_t at = text.size();
    if (at > 0 && text.back() == '\n') at--;
    for (int lines = 0; at > 0; at--)
        if (text[at - 1] == '\n' && ++lines == most_entries) return at;
    return 0;
}

}  // namespace

void rv_history_add(const char *line) {
    if (line) add(line);
}

void rv_history_clear(void) {
    clear_history();
}

int rv_history_count(void) {
    return history_length;
}

int rv_history_load(const char *path) {
    std::string text;
    if (rv::safe_file_read(path, &text) < 0) return -1;
    std::replace(text.begin(), text.end(), '\0', ' ');
    for (size_t at = last_lines(text), end; at < text.size(); at = end + 1) {
        end = std::min(text.find('\n', at), text.size());
        std::string line = text.substr(at, end - at);
        std::replace(line.begin(), line.end(), '\r', '\n');
        add(line.c_str());
    }
    return 0;
}

int rv_history_dump(const char *path, int count) {
    std::string text;
    const int first = count < 0 ? 0 : std::max(history_length - count, 0);
    for (int i = first; i < history_length; i++) {
        const size_t at = text.size();
        text += history_list()[i]->line;
        std::replace(text.begin() + static_cast<std::ptrdiff_t>(at), text.end(), '\n', '\r');
        text += '\n';
    }
    return rv::safe_file_write(path, text);
}
