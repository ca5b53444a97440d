// Name lists as a daemon may send them: the tree made of them, and what the client asks of it.
#include <initializer_list>

#include <jansson.h>
#include <stddef.h>
#include <stdint.h>

#include "ravc/cache/node_cache.h"
#include "rv/tr.h"

namespace {

// No key of the tree may be one that the cache keeps for itself, and no path in it may be too deep.
void check(const json_t *node, int depth) {
    if (depth > 129) __builtin_trap();
    const char *key;
    json_t *child;
    json_object_foreach(const_cast<json_t *>(node), key, child) {
        const bool reserved = key[0] == '#' && key[1] != 't' && key[1] != 'i' && key[1] != 'o';
        if (reserved || !*key) __builtin_trap();
        if (key[0] != '#' || key[1] != 'i' || key[3] != 'f') check(child, depth + 1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    json_auto_t *list = json_loadb(reinterpret_cast<const char *>(data), size, 0, nullptr);
    for (const char *prefix : {".", "Device.", "Device.IP.Interface"}) {
        json_auto_t *tree = rv_tr_names_to_config(list, prefix);
        check(tree, 0);
        node_cache_absorb_info(tree, tree);
        rv_tr_node_find(tree, "IP.Interface.1.Enable", nullptr);
        rv_tr_dm_node_get_base(tree);
    }
    return 0;
}
