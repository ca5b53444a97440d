// Who writes down what requests have changed. Changes that providers see on the machine are not among them.
#pragma once

#include <string>
#include <string_view>

#include "ravd/model/schema.h"
#include "ravd/model/value.h"

namespace ravd {

struct RecordedChange {
    enum class Kind { set, add, remove, move } kind;
    std::string_view path;      // full name: of the parameter, or of the instance, closed
    std::string before, after;  // of set and move: compact JSON, "***" for secrets
};

class ChangeRecorder {
 public:
    virtual ~ChangeRecorder() = default;
    // Called for each change after it was made, in their order. An instance is told without what goes or comes with it;
    // a move without those that shift by it.
    virtual void changed(const RecordedChange &change) = 0;
};

// A value as records have it.
std::string recorded_value(const SchemaNode &parameter, const Value &value);

}  // namespace ravd
