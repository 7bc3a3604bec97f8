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

/// Processors that this process may run on, as the scheduler has it: a number from the system's
/// configuration would be read from a file, at the start of every program.
unsigned int AllowedCpus() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) == 0 && CPU_COUNT(&allowed) > 0) {
        return static_cast<unsigned int>(CPU_COUNT(&allowed));
    }
    return static_cast<unsigned int>(SystemValue(_SC_NPROCESSORS_ONLN));
}

} // namespace

CPlatInfo::CPlatInfo() noexcept
    : __onlineCpuCount(AllowedCpus()), __pageSize(SystemValue(_SC_PAGESIZE)) {}

unsigned int CPlatInfo::GetCpuCount() const noexcept {
    static const auto count = static_cast<unsigned int>(SystemValue(_SC_NPROCESSORS_CONF));
    return count;
}

const CPlatInfo& CPlatInfo::Get() noexcept {
    static const CPlatInfo info;
    return info;
}

} // namespace Quil
