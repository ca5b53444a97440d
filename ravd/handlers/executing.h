// Methods of the data model that handlers carry out.
#pragma once

#include "ravd/methods.h"
#include "ravd/model/operation.h"

namespace ravd {

// Whether the schema names a handler for the method.
bool has_handler(const Operation &operation);

// Starts the handler of a method whose arguments have been read, and defers the call until it has ended; it is killed
// when the client goes. Its outputs are checked: 9002 for one that the method does not have or that can't be its value.
Fault execute_handler(const Call &call, Operation operation);

}  // namespace ravd
