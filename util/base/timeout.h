// How the library's waits measure time: one rule for time-outs, and the sums of clock and offset.
#pragma once

#include <ctime>

namespace Quil::IMPL {

/// For any wait in milliseconds: for as long as it takes.
constexpr unsigned long NO_LIMIT = static_cast<unsigned long>(-1);

/// Milliseconds from which on a limit is none: those that are negative as a 32-bit or a longer
/// signed number, and the largest 32-bit one.
constexpr bool IsUnlimited(unsigned long milliseconds) {
    constexpr unsigned long LONGEST_LIMIT = 2147483646;
    return milliseconds > LONGEST_LIMIT;
}

timespec ToTimespec(unsigned long milliseconds);
timespec Now(clockid_t clock);

/// The time `offset` after another, in the normal form that the system's waits take. An offset may
/// be negative and in any form; a sum beyond the clock's range ends at its last or first second.
timespec After(const timespec& time, const timespec& offset);
/// The same after the present reading of `clock`.
inline timespec AfterNow(clockid_t clock, const timespec& offset) {
    return After(Now(clock), offset);
}

/// What is left of a wait of `milliseconds` that began at `start` on the monotonic clock; an
/// unlimited wait stays unlimited.
unsigned long Remaining(const timespec& start, unsigned long milliseconds);

/// Sleeps in full whatever signals arrive.
void SleepFor(unsigned long milliseconds);

} // namespace Quil::IMPL
