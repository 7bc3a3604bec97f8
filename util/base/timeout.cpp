// Sums of clock and offset that neither overflow nor leave the form which the system's waits
// demand.
#include "util/base/timeout.h"

#include <cerrno>
#include <limits>

namespace Quil::IMPL {

namespace {

constexpr long NANOSECONDS = 1000000000;
constexpr long NANOSECONDS_PER_MILLISECOND = 1000000;
constexpr long MILLISECONDS = 1000;

} // namespace

timespec ToTimespec(unsigned long milliseconds) {
    return {static_cast<time_t>(milliseconds / MILLISECONDS),
            static_cast<long>(milliseconds % MILLISECONDS) * NANOSECONDS_PER_MILLISECOND};
}

timespec Now(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now;
}

timespec After(const timespec& time, const timespec& offset) {
    // Both parts of the fraction are below a second in size, so neither sum can overflow.
    long fraction = time.tv_nsec + offset.tv_nsec % NANOSECONDS;
    time_t carry = offset.tv_nsec / NANOSECONDS;
    if (fraction >= NANOSECONDS) {
        fraction -= NANOSECONDS;
        ++carry;
    } else if (fraction < 0) {
        fraction += NANOSECONDS;
        --carry;
    }
    time_t seconds = 0;
    if (__builtin_add_overflow(time.tv_sec + carry, offset.tv_sec, &seconds)) {
        seconds = offset.tv_sec > 0 ? std::numeric_limits<time_t>::max() : 0;
    }
    return {seconds < 0 ? 0 : seconds, fraction};
}

unsigned long Remaining(const timespec& start, unsigned long milliseconds) {
    if (IsUnlimited(milliseconds)) {
        return milliseconds;
    }
    const timespec now = Now(CLOCK_MONOTONIC);
    const long gone = (now.tv_sec - start.tv_sec) * MILLISECONDS +
                      (now.tv_nsec - start.tv_nsec) / NANOSECONDS_PER_MILLISECOND;
    const long left = static_cast<long>(milliseconds) - gone;
    return left > 0 ? static_cast<unsigned long>(left) : 0;
}

void SleepFor(unsigned long milliseconds) {
    timespec left = ToTimespec(milliseconds);
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

} // namespace Quil::IMPL
