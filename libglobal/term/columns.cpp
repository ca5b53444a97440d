// Lists in columns.
#include <algorithm>
#include <string_view>
#include <vector>

#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wchar.h>

#include "rv/rl.h"

namespace {

constexpr int gap = 2;

const char *text_at(const json_t *list, size_t index) {
    const char *text = json_string_value(json_array_get(list, index));
    return text ? text : "";
}

// Columns that a UTF-8 text takes: one a character, which is what names of a data model are made of.
int columns_of(const char *text) {
    return static_cast<int>(std::count_if(text, text + strlen(text), [](char c) { return (c & 0xc0) != 0x80; }));
}

int terminal_width() {
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

void show_columns(const json_t *list, int width) {
    const int count = static_cast<int>(json_array_size(list));
    int longest = 0;
    for (int i = 0; i < count; i++) longest = std::max(longest, columns_of(text_at(list, static_cast<size_t>(i))));
    const int columns = std::max(1, (width + gap - 1) / (longest + gap));
    const int rows = (count + columns - 1) / columns;
    for (int row = 0; row < rows; row++) {
        for (int i = row; i < count; i += rows) {
            const char *text = text_at(list, static_cast<size_t>(i));
            const int padding = i + rows < count ? longest + gap - columns_of(text) : 0;
            printf("%s%*s", text, padding, "");
        }
        putchar('\n');
    }
}

}  // namespace

void rv_rl_show_list(const json_t *list) {
    if (isatty(STDOUT_FILENO)) {
        show_columns(list, terminal_width());
    } else {
        for (size_t i = 0; i < json_array_size(list); i++) puts(text_at(list, i));
    }
}

void rv_qsort_json(json_t *list, int ascending) {
    std::vector<json_t *> items;
    size_t i;
    json_t *item;
    json_array_foreach(list, i, item) items.push_back(json_incref(item));
    std::stable_sort(items.begin(), items.end(), [ascending](const json_t *a, const json_t *b) {
        const std::string_view x = json_string_value(a) ? json_string_value(a) : "";
        const std::string_view y = json_string_value(b) ? json_string_value(b) : "";
        return ascending ? x < y : y < x;
    });
    for (i = 0; i < items.size(); i++) json_array_set_new(list, i, items[i]);
}
