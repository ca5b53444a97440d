// What the node cache costs: microseconds and bytes a node, for caches of 10,000 and 100,000 nodes.
//
// The reply is shaped like a real one: the instances of a table, ten parameters each with attributes of their own, in
// one list, as the daemon gives it for a multi-instance object. Parsing the reply is not counted: building the tree
// from it and absorbing it is, and what stays allocated once the reply is gone.
#include <string>

#include <malloc.h>
#include <stdint.h>
#include <stdio.h>
#include <time.h>

#include "ravc/cache/node_cache.h"
#include "rv/tr.h"

namespace {

constexpr const char *parameters[] = {"Enable", "Status", "Name",        "Alias",      "Address",
                                      "Mask",   "Port",   "Description", "LastChange", "Priority"};
constexpr int nodes_an_instance = 1 + static_cast<int>(std::size(parameters));

std::string reply_of(int nodes) {
    std::string text = "[";
    for (int i = 1; i <= nodes / nodes_an_instance; i++) {
        const std::string instance = "Device.Bench.Table." + std::to_string(i) + ".";
        text += R"({"Name":")" + instance + R"(","Attributes":{"type":"object","perms":"rwrw--"}},)";
        for (const char *name : parameters)
            text += R"({"Name":")" + instance + name +
                    R"(","Attributes":{"type":"string","access":"readWrite","perms":"rwrw--","default":"",)"
                    R"("maxLength":64,"description":"What )" +
                    name + R"( means here"}},)";
    }
    text.back() = ']';
    return text;
}

double now_us() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) / 1e3;
}

void measure(int nodes) {
    json_t *list = json_loads(reply_of(nodes).c_str(), 0, nullptr);
    const int count = static_cast<int>(json_array_size(list));
    const double begin = now_us();
    json_t *tree = rv_tr_names_to_config(list, "Device.Bench.Table.");
    node_cache_absorb_info(tree, nullptr);
    const double taken = now_us() - begin;
    json_decref(list);
    const size_t with_tree = mallinfo2().uordblks;
    json_decref(tree);
    const size_t without = mallinfo2().uordblks;
    printf("%7d nodes: %6.2f us and %5zu bytes a node\n", count, taken / count,
           (with_tree - without) / static_cast<size_t>(count));
}

}  // namespace

int main() {
    for (const int nodes : {10000, 100000}) measure(nodes);
    return 0;
}
