// Device.DeviceInfo.MemoryStatus: main memory, in KiB.
#include <algorithm>

#include <sys/sysinfo.h>

#include "ravd/providers/providers.h"

namespace ravd {

namespace {

// An amount of memory as an unsignedInt, which ends at 4 TiB. Unset when the kernel does not tell.
template <auto amount>
std::optional<Value> in_kib(const Viewer &) {
    struct sysinfo info = {};
    if (sysinfo(&info) != 0) return Value();
    const uint64_t bytes = uint64_t{info.*amount} * info.mem_unit;
    return static_cast<int64_t>(std::min<uint64_t>(bytes / 1024, UINT32_MAX));
}

constexpr LiveParameter parameters[] = {
    {"Device.DeviceInfo.MemoryStatus.Total", in_kib<&sysinfo::totalram>},
    {"Device.DeviceInfo.MemoryStatus.Free", in_kib<&sysinfo::freeram>},
};

}  // namespace

Provider memory_provider() {
    return {"memory", parameters, {}};
}

}  // namespace ravd
