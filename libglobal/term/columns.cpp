// Lists in columns.
#include "libglobal/term/columns.h"

#include <algorithm>

#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "libglobal/base/colors.h"
#include "libglobal/term/text.h"
#include "rv/rl.h"

namespace {

constexpr int gap = 2;

size_t rows_of(size_t count, size_t columns) {
    return (count + columns - 1) / columns;
}

std::vector<std::string_view> texts_of(const json_t *list) {
    std::vector<std::string_view> texts;
    texts.reserve(json_array_size(list));
    for (size_t i = 0; i < json_array_size(list); i++) {
        const json_t *item = json_array_get(list, i);
        texts.emplace_back(json_string_value(item) ? json_string_value(item) : "", json_string_length(item));
    }
    return texts;
}

}  // namespace

std::string rv::columns(const std::vector<std::string_view> &texts, int width, std::string_view color,
                        size_t most_rows) {
    int widest = 0;
    for (const std::string_view text : texts) widest = std::max(widest, text_width(text));
    const size_t per_row = static_cast<size_t>(std::max(1, (width + gap - 1) / (widest + gap)));
    size_t count = texts.size();
    if (most_rows > 0 && rows_of(count, per_row) > most_rows) count = most_rows * per_row;
    const size_t rows = rows_of(count, per_row);
    std::string result;
    for (size_t row = 0; row < rows; row++) {
        result += color;
        for (size_t i = row; i < count; i += rows) {
            const std::string text = printable(texts[i]);
            result += text;
            if (i + rows < count) result.append(static_cast<size_t>(widest + gap - text_width(text)), ' ');
        }
        if (!color.empty()) result += color_end;
        result += '\n';
    }
    if (count < texts.size()) result += "... and " + std::to_string(texts.size() - count) + " more\n";
    return result;
}

rv::TerminalSize rv::terminal_size() {
    winsize size = {};
    const bool told = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0;
    return told ? TerminalSize{.rows = size.ws_row, .columns = size.ws_col} : TerminalSize{.rows = 24, .columns = 80};
}

void rv_rl_show_list(const json_t *list) {
    const std::vector<std::string_view> texts = texts_of(list);
    if (isatty(STDOUT_FILENO)) {
        fputs(rv::columns(texts, rv::terminal_size().columns, "", 0).c_str(), stdout);
    } else {
        for (const std::string_view text : texts) printf("%.*s\n", static_cast<int>(text.size()), text.data());
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
