// Rows of live tables.
#include "ravd/model/live.h"

namespace ravd {

// Not in the header: inlined at dozens of places, it grows the program and leads g++ 12 to warn of values that are set.
LiveRows::Row &LiveRows::Row::set(std::string_view name, Value value) {
    values.emplace_back(name, std::move(value));
    return *this;
}

}  // namespace ravd
