// What a key costs in process: the hint after each key of a line that names the last one of very many siblings, with
// everything fetched already. The names differ late, so that most keys leave many candidates.
#include "ravc/shell/complete.h"

#include <algorithm>
#include <string>
#include <vector>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "ravc/cache/node_cache.h"

namespace {

double now_us() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) / 1e3;
}

// A table of so many instances, and as many parameters beside them.
void fill_cache(int siblings) {
    json_t *table = json_pack("{s:{s:s, s:b}, s:b, s:{s:{s:s}}}", "#attr", "type", "object", "multi", 1, "#fetched", 1,
                              "#template", "#attr", "type", "object");
    json_t *wide = json_pack("{s:{s:s}, s:b}", "#attr", "type", "object", "#fetched", 1);
    for (int i = 1; i <= siblings; i++) {
        json_object_set_new(table, std::to_string(i).c_str(),
                            json_pack("{s:{s:s}, s:b, s:{s:{s:s}}}", "#attr", "type", "object", "#fetched", 1, "Name",
                                      "#attr", "type", "string"));
        char name[16];
        snprintf(name, sizeof name, "Host%06d", i);
        json_object_set_new(wide, name, json_pack("{s:{s:s}}", "#attr", "type", "string"));
    }
    node_cache_release();
    node_cache_root = json_pack("{s:b, s:{s:{s:s}, s:b, s:o, s:o}}", "#fetched", 1, "Device", "#attr", "type", "object",
                                "#fetched", 1, "Table", table, "Wide", wide);
    cdpath_reset(&current_path);
}

// Microseconds of each key of line.
std::vector<double> type(const std::string &line) {
    std::vector<double> keys;
    for (size_t length = 1; length <= line.size(); length++) {
        const std::string typed = line.substr(0, length);
        const double begin = now_us();
        free(hint_line(typed.c_str()));
        keys.push_back(now_us() - begin);
    }
    return keys;
}

void report(const char *what, int siblings, const std::string &line) {
    std::vector<double> worst;
    for (int round = 0; round < 20; round++) {
        fill_cache(siblings);
        std::vector<double> keys = type(line);
        std::sort(keys.begin(), keys.end());
        if (worst.empty() || keys.back() < worst.back()) worst = keys;
    }
    printf("%-22s %7d siblings: %7.1f us the worst key, %5.1f the next, %5.1f the median\n", what, siblings,
           worst.back(), worst[worst.size() - 2], worst[worst.size() / 2]);
}

}  // namespace

int main() {
    for (const int siblings : {10000, 100000}) {
        char name[16];
        snprintf(name, sizeof name, "Host%06d", siblings);
        report("a parameter's name", siblings, std::string("cat Device.Wide.") + name);
        report("an instance's number", siblings, "cat Device.Table." + std::to_string(siblings - 1) + ".Name");
    }
    cdpath_release(&current_path);
    node_cache_release();
    return 0;
}
