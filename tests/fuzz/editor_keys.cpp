// What is typed, before readline has it: bytes become keys, keys a line, and the line is completed.
#include <algorithm>
#include <string>

#include <stdint.h>
#include <stdlib.h>

#include "libglobal/term/complete.h"
#include "libglobal/term/keys.h"
#include "libglobal/term/prompt_rows.h"
#include "libglobal/term/text.h"

namespace {

void need(bool holds) {
    if (!holds) abort();
}

void check_completion(const std::string &line, size_t cursor, const std::vector<std::string_view> &candidates) {
    for (const bool ignore_case : {false, true}) {
        const rv::Completion c = rv::complete(line, cursor, candidates, ignore_case);
        need(!c.replaces || (c.start <= cursor && !c.text.empty()));
        need(!(c.replaces && c.is_whole));
        if (!c.replaces) continue;
        for (const std::string_view candidate : candidates) need(candidate.size() >= c.text.size());
        need(candidates[0].starts_with(c.text));
    }
}

void check_layout(const std::string &line, int columns) {
    const rv::Place end = rv::layout(line, columns);
    need(end.row >= 0 && end.column >= 0 && end.column < columns);
    const rv::PromptRows rows = rv::split_prompt(line, columns);
    need(rows.head_rows == end.row && rows.head.size() + rows.tail.size() <= line.size());
    need(!rv::has_control(rv::printable(line)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    rv::Keys keys;
    std::string line;
    for (size_t i = 0; i < size; i++) {
        const std::string key = keys.add(data[i]);
        need(key.empty() || key.size() == rv::first_character(key).bytes || key[0] == '\033');
        line += key;
    }
    std::vector<std::string_view> candidates;
    for (std::string_view rest = line; !rest.empty();) {
        const std::string_view candidate = rest.substr(0, rest.find(' '));
        if (!candidate.empty()) candidates.push_back(candidate);
        rest.remove_prefix(std::min(rest.size(), candidate.size() + 1));
    }
    check_completion(line, line.size() / 2, candidates);
    if (!candidates.empty()) check_completion(line, line.size(), {candidates.back()});
    for (const int columns : {2, 3, 20, 80}) check_layout(line, columns);
    return 0;
}
