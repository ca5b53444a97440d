// Handlers as clients.
#include "ravd/handlers/inside.h"

#include "ravd/handlers/programs.h"
#include "ravd/session.h"

namespace ravd {

bool is_inside_handler(const Services &services, const Member &caller) {
    return services.programs.contains(caller.peer().pid);
}

Fault inside_handler_fault() {
    return {9001, "a handler can't call a handler", {}};
}

}  // namespace ravd
