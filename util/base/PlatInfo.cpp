// Reads the machine's description from the system's configuration values.
#include "util/base/PlatInfo.h"

#include <sched.h>
#include <sys/resource.h>
#include <sys/utsname.h>
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

const utsname& SystemNames() {
    static const utsname names = [] {
        utsname read = {};
        ::uname(&read);
        return read;
    }();
    return names;
}

std::uint64_t LimitOf(__rlimit_resource_t resource) {
    rlimit limit = {RLIM_INFINITY, RLIM_INFINITY};
    ::getrlimit(resource, &limit);
    return limit.rlim_cur;
}

} // namespace

CPlatInfo::CPlatInfo() noexcept
    : __onlineCpuCount(AllowedCpus()), __pageSize(SystemValue(_SC_PAGESIZE)) {}

unsigned int CPlatInfo::GetCpuCount() const noexcept {
    static const auto count = static_cast<unsigned int>(SystemValue(_SC_NPROCESSORS_CONF));
    return count;
}

std::uint64_t CPlatInfo::GetMemorySize() const noexcept {
    const long pages = sysconf(_SC_PHYS_PAGES);
    return pages > 0 ? static_cast<std::uint64_t>(pages) * __pageSize : 0;
}

const char* CPlatInfo::GetSystemName() const noexcept {
    return SystemNames().sysname;
}

const char* CPlatInfo::GetSystemRelease() const noexcept {
    return SystemNames().release;
}

const char* CPlatInfo::GetMachineName() const noexcept {
    return SystemNames().machine;
}

std::uint64_t CPlatInfo::GetMostDescriptors() noexcept {
    return LimitOf(RLIMIT_NOFILE);
}

std::uint64_t CPlatInfo::GetMostAddresses() noexcept {
    return LimitOf(RLIMIT_AS);
}

const CPlatInfo& CPlatInfo::Get() noexcept {
    static const CPlatInfo info;
    return info;
}

} // namespace Quil
