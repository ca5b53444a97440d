// The arithmetic of completion. A word runs from the last blank outside of quotes to the cursor; candidates may replace
// it from its beginning, or from behind any of its separators.
#include "libglobal/term/complete.h"

#include <algorithm>

namespace {

// Of ASCII alone, whatever the locale: names of the data model are.
char fold(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool same(char a, char b, bool ignore_case) {
    return ignore_case ? fold(a) == fold(b) : a == b;
}

size_t common_length(std::string_view a, std::string_view b, bool ignore_case) {
    const auto end = std::mismatch(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(std::min(a.size(), b.size())),
                                   b.begin(), [&](char x, char y) { return same(x, y, ignore_case); });
    return static_cast<size_t>(end.first - a.begin());
}

size_t word_start(std::string_view line) {
    size_t start = 0;
    char quote = 0;
    for (size_t i = 0; i < line.size(); i++) {
        const char c = line[i];
        if (quote) {
            if (c == quote) quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == ' ' || c == '\t') {
            start = i + 1;
        }
    }
    return start;
}

// Where a replacement may start, from left to right; the last one comes from the last separator.
std::vector<size_t> possible_starts(std::string_view line) {
    std::vector<size_t> starts = {word_start(line)};
    for (size_t i = starts[0]; i < line.size(); i++) {
        if (line[i] != '.' && line[i] != '/' && line[i] != '=') continue;
        const bool is_quoted = line[i] == '=' && i + 1 < line.size() && line[i + 1] == '"';
        starts.push_back(i + (is_quoted ? 2 : 1));
    }
    const size_t slash = line.rfind('/');
    if (slash != std::string_view::npos && slash >= starts[0])
        std::erase_if(starts, [&](size_t s) { return s > slash + 1; });
    return starts;
}

// The leftmost start from which the line fits every candidate and is short of it; one that is typed in full, as an
// object with its dot is, may instead stand before the children that are asked for, so the last separator comes next.
bool find_start(std::string_view line, const std::vector<size_t> &starts,
                const std::vector<std::string_view> &candidates, bool ignore_case, size_t *start) {
    const auto fits = [&](size_t at, size_t longer) {
        const std::string_view typed = line.substr(at);
        return std::all_of(candidates.begin(), candidates.end(), [&](std::string_view candidate) {
            return candidate.size() >= typed.size() + longer &&
                   common_length(typed, candidate, ignore_case) == typed.size();
        });
    };
    for (const size_t at : starts)
        if (fits(at, 1)) return *start = at, true;
    if (fits(starts.back(), 0)) return *start = starts.back(), true;
    for (const size_t at : starts)
        if (fits(at, 0)) return *start = at, true;
    return false;
}

std::string common_beginning(const std::vector<std::string_view> &candidates, bool ignore_case) {
    std::string_view common = candidates[0];
    for (const std::string_view candidate : candidates)
        common = common.substr(0, common_length(common, candidate, ignore_case));
    const auto splits_character = [&] {
        return common.size() < candidates[0].size() && (candidates[0][common.size()] & 0xc0) == 0x80;
    };
    while (!common.empty() && splits_character()) common.remove_suffix(1);
    return std::string(common);
}

}  // namespace

rv::Completion rv::complete(std::string_view line, size_t cursor, const std::vector<std::string_view> &candidates,
                            bool ignore_case, const char *delimiters) {
    Completion result;
    line = line.substr(0, cursor);
    const std::vector<size_t> starts =
        delimiters ? std::vector<size_t>{line.find_last_of(delimiters) + 1} : possible_starts(line);
    if (candidates.empty() || !find_start(line, starts, candidates, ignore_case, &result.start)) return result;
    const std::string_view typed = line.substr(result.start);
    result.text = common_beginning(candidates, ignore_case);
    const bool is_single = candidates.size() == 1;
    result.is_whole = is_single && result.text == typed;
    result.replaces = result.text.size() > typed.size() || (is_single && !result.is_whole);
    return result;
}
