// Reads the machine's description from the system's configuration values.
#include "util/base/PlatInfo.h"

#include <sched.h>
#include <unistd.h>

namespace Quil {

namespace {

/// A configuration value, or 1 where the system has none.
unsigned long SystemValue(int name) {
    const long value = sysconf(name);
    return value > 0 ? static_cast<unsigned long>(value) : 1;
}

} // namespace

CPlatInfo::CPlatInfo() noexcept
    : __cpuCount(static_cast<unsigned int>(SystemValue(_SC_NPROCESSORS_CONF))),
      __onlineCpuCount(static_cast<unsigned int>(SystemValue(_SC_NPROCESSORS_ONLN))),
      __pageSize(SystemValue(_SC_PAGESIZE)) {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) == 0 && CPU_COUNT(&allowed) > 0) {
        __onlineCpuCount = static_cast<unsigned int>(CPU_COUNT(&allowed));
    }
}

const CPlatInfo& CPlatInfo::Get() noexcept {
    static const CPlatInfo info;
    return info;
}

} // namespace Quil
