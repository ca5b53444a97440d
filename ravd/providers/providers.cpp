// Every provider of this program.
#include "ravd/providers/providers.h"

namespace ravd {

std::span<const Provider> all_providers() {
    static const Provider providers[] = {
        deviceinfo_provider(), memory_provider(), processes_provider(), processors_provider(),
        interfaces_provider(), routes_provider(), dns_provider(),       hosts_provider(),
        time_provider(),       users_provider(),  system_provider(),
    };
    return providers;
}

}  // namespace ravd
