// Sorted names, of the levels that were last asked for.
#include "ravc/cache/level_names.h"

#include <algorithm>
#include <array>
#include <vector>

#include <string.h>
#include <strings.h>

namespace {

enum { LEVELS_KEPT = 8, START = sizeof(uint64_t) };

struct Level {
    json_t *node;  // a counted reference, or null
    std::vector<LevelName> names;
};

using Levels = std::array<Level, LEVELS_KEPT>;  // the last one asked for first

Levels &levels() {
    static auto *kept = new Levels{};
    return *kept;
}

// ASCII alone, as strcasecmp() has it in the locale that the program runs in.
unsigned char fold(char c) {
    return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

uint64_t start_of(const char *name) {
    uint64_t start = 0;
    for (int i = 0; i < START; i++) start = start << 8 | (*name ? fold(*name++) : 0U);
    return start;
}

bool comes_before(const LevelName &a, const LevelName &b) {
    return a.start != b.start ? a.start < b.start : strcasecmp(a.name, b.name) < 0;
}

std::vector<LevelName> sorted_names(json_t *node) {
    std::vector<LevelName> names;
    names.reserve(json_object_size(node));
    const char *name;
    json_t *child;
    json_object_foreach(node, name, child) if (*name != '#') names.push_back({start_of(name), name, child});
    // A model often has them in order.
    if (!std::is_sorted(names.begin(), names.end(), comes_before)) std::sort(names.begin(), names.end(), comes_before);
    return names;
}

void forget(Level *level) {
    json_decref(level->node);
    *level = {};
}

const std::vector<LevelName> &names_of(json_t *node) {
    Levels &kept = levels();
    const auto found =
        std::find_if(kept.begin(), kept.end(), [node](const Level &level) { return level.node == node; });
    std::rotate(kept.begin(), found == kept.end() ? found - 1 : found, found == kept.end() ? found : found + 1);
    if (kept[0].node != node) {
        forget(&kept[0]);
        kept[0] = {json_incref(node), sorted_names(node)};
    }
    return kept[0].names;
}

}  // namespace

std::span<const LevelName> level_names(json_t *level, const char *prefix) {
    if (!level) return {};
    const std::vector<LevelName> &names = names_of(level);
    const LevelName wanted = {start_of(prefix), prefix, nullptr};
    const size_t length = strlen(prefix);
    const auto first = std::lower_bound(names.begin(), names.end(), wanted, comes_before);
    const auto last = std::partition_point(
        first, names.end(), [&](const LevelName &name) { return strncasecmp(name.name, prefix, length) == 0; });
    return {first, last};
}

void level_names_forget(const json_t *level) {
    for (Level &kept : levels())
        if (!level || kept.node == level) forget(&kept);
}
