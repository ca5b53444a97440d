#include "ravd/debug_mode.h"

#include "ravd/log.h"

namespace ravd {

namespace {

DebugMode present = DebugMode::disabled;

}  // namespace

DebugMode debug_mode() {
    return present;
}

void set_debug_mode(DebugMode mode) {
    present = mode;
    log_tell_all(mode != DebugMode::disabled);
}

}  // namespace ravd
