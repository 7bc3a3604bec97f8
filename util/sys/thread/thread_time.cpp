// The parts of a thread object that deal in the library's times.
#include "util/sys/advSync.h"
#include "util/sys/thread.h"
#include "util/sys/thread_imp.h"
#include "util/sys/time.h"

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace Quil {

namespace {

/// Processor time of a thread of this process in clock ticks, as the system's description of it
/// says.
struct TICKS {
    unsigned long system = 0;
    unsigned long user = 0;
};

TICKS ReadTicks(pid_t systemId) {
    TICKS ticks;
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", static_cast<int>(systemId));
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path, "re"), std::fclose);
    char line[1024];
    if (file == nullptr || std::fgets(line, sizeof line, file.get()) == nullptr) {
        return ticks;
    }
    // The name in brackets may hold anything; the two numbers are the 12th and 13th behind it.
    const stringEx text(line, stringEx::NOT_OWNER());
    const unsigned int nameEnd = text.rfind(')');
    if (nameEnd == stringEx::npos ||
        std::sscanf(line + nameEnd + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu",
                    &ticks.user, &ticks.system) != 2) {
        return TICKS();
    }
    return ticks;
}

CTimeSpan ToSpan(unsigned long ticks) {
    constexpr long long MICROSECONDS = 1000000;
    return CTimeSpan(static_cast<long long>(ticks) * MICROSECONDS / sysconf(_SC_CLK_TCK));
}

} // namespace

void TThread::GetTimes(CTime* created, CTimeSpan* system, CTimeSpan* user) const {
    const CFastSessionLock lock(__record->lock);
    __LiveThread("GetTimes");
    if (created != nullptr) {
        *created = CTime(__record->created.load());
    }
    const TICKS ticks = ReadTicks(__record->systemId);
    if (system != nullptr) {
        *system = ToSpan(ticks.system);
    }
    if (user != nullptr) {
        *user = ToSpan(ticks.user);
    }
}

bool TThread::USleep(const CTimeSpan& span) {
    timespec time{};
    span.ToTimespec(time);
    return time.tv_sec < 0 || nanosleep(&time, nullptr) == 0;
}

} // namespace Quil
