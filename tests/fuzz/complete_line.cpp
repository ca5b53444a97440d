// Fuzzes completion and hints over a small node cache without a daemon, and the events that change it. The first byte
// chooses: even, the rest is a line, completed at its end and, by the second byte, somewhere in it; odd, the rest is an
// event's parameters as JSON.
#include <cstdint>
#include <cstdlib>
#include <string>

#include <string.h>

#include "ravc/cache/instance_events.h"
#include "ravc/cache/node_cache.h"
#include "ravc/daemon/connections.h"
#include "ravc/shell/complete.h"

namespace {

constexpr char model[] = R"({"#fetched":true,"Device":{"#fetched":true,"#attr":{"type":"object"},
  "Mode":{"#attr":{"type":"enumeration","access":"readWrite","enum":["a","B",7,"ab"]}},
  "Link":{"#attr":{"type":"pathRef"}},"On":{"#attr":{"type":"boolean"}},
  "Fixed":{"#attr":{"type":"string","access":"readOnly"}},
  "Reset":{"#fetched":true,"#attr":{"type":"method"},
    "#input":{"#fetched":true,"#attr":{"type":"object"},"Delay":{"#attr":{"type":"int"}}}},
  "Row":{"#fetched":true,"#attr":{"type":"object","multi":true},
    "#template":{"#fetched":true,"#attr":{"type":"object"},"On":{"#attr":{"type":"flag"}}},
    "1":{"#fetched":true,"#attr":{"type":"object"},"On":{"#attr":{"type":"flag"}}},
    "3":{"#fetched":true,"#attr":{"type":"object"},"On":{"#attr":{"type":"flag"}}}}}})";

void must(bool good) {
    if (!good) abort();
}

void reset() {
    instance_events_clear();
    node_cache_release();
    node_cache_root = json_loads(model, 0, nullptr);
    must(node_cache_root != nullptr);
    cdpath_reset(&current_path);
    cdpath_reset(&previous_path);
    cdpath_resolve(&previous_path, "Device.Row");
}

json_t *candidates(const std::string &line, size_t cursor) {
    json_t *list = json_array();
    complete_line(line.c_str(), cursor, list);
    size_t i;
    json_t *candidate;
    json_array_foreach(list, i, candidate) must(json_is_string(candidate));
    return list;
}

void complete(const std::string &line, size_t cursor) {
    if (line.find('/') != line.npos) return;  // the machine's folders are none of this
    json_decref(candidates(line, cursor));
    reset();
    json_t *list = candidates(line, line.size());
    reset();
    char *hint = hint_line(line.c_str());
    must((hint != nullptr) == (!line.empty() && json_array_size(list) == 1));
    free(hint);
    json_decref(list);
    must(*current_path.path == '\0' && current_path.node == node_cache_root);
}

// A deleted instance has gone afterwards; what has been added can't come without a daemon.
void take_event(const std::string &text) {
    json_t *params = json_loadb(text.data(), text.size(), 0, nullptr);
    instance_events_note(params);
    instance_events_apply();
    json_decref(params);
    json_t *row = json_object_get(json_object_get(node_cache_root, "Device"), "Row");
    must(json_object_size(row) <= 5 && json_object_get(row, "#template") != nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool ready = (setenv("PATH", "", 1), connections_init(), true);
    if (!ready || size < 2) return 0;
    reset();
    std::string text(reinterpret_cast<const char *>(data) + 2, size - 2);
    text = text.c_str();
    if (data[0] % 2 == 0) {
        complete(text, data[1]);
    } else {
        take_event(text);
    }
    return 0;
}
