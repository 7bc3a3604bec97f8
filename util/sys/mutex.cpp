#include "util/sys/mutex.h"

#include <ctime>

namespace Quil {

namespace {

constexpr unsigned long LONGEST_LIMIT = 2147483646;

timespec After(unsigned long milliseconds) {
    timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += static_cast<time_t>(milliseconds / 1000);
    until.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (until.tv_nsec >= 1000000000) {
        ++until.tv_sec;
        until.tv_nsec -= 1000000000;
    }
    return until;
}

} // namespace

bool CFastMutex::Lock(unsigned long milliseconds) {
    if (milliseconds == 0) {
        return pthread_mutex_trylock(&__mutex) == 0;
    }
    if (milliseconds > LONGEST_LIMIT) {
        return pthread_mutex_lock(&__mutex) == 0;
    }
    const timespec until = After(milliseconds);
    return pthread_mutex_timedlock(&__mutex, &until) == 0;
}

void CFastMutex::UnLock() {
    pthread_mutex_unlock(&__mutex);
}

} // namespace Quil
