// Ranges as ls shows them.
#include "ravc/commands/format_range.h"

#include <stdint.h>

namespace {

std::string bound(const json_t *value) {
    return value ? std::to_string(static_cast<int32_t>(json_integer_value(value))) : "";
}

}  // namespace

void format_range(RangeKind kind, const json_t *low, const json_t *high, std::string *text) {
    if (!low && !high) return;
    if (kind == RANGE_VALUE) {
        *text += "[" + bound(low) + ":" + bound(high) + "]";
    } else {
        // No colon beside a single length, so that a lower and an upper bound look alike: intended.
        *text += "(" + bound(low) + (low && high ? ":" : "") + bound(high) + ")";
    }
}
