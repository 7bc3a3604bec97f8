// What the fast locks share: the semaphore that they sleep on, made at the first collision, and the
// polling of their timed waits.
#pragma once

#include "util/base/timeout.h"
#include "util/base/visibility.h"

#include <atomic>

namespace QUIL_PUBLIC Quil {

class CSem;

namespace IMPL {

/// Sets the fast locks' processor flags, once, before `main`.
struct FAST_LOCK_START {
    static void Init();
};

/// A semaphore that is built on first use. Constant-initialised; owns what it built.
class CLazySem {
public:
    constexpr CLazySem() = default;
    CLazySem(const CLazySem&) = delete;
    CLazySem& operator=(const CLazySem&) = delete;
    ~CLazySem();

    /// Sleeps until a unit comes. Not to be cancelled: the lock's word counts the sleeper.
    void P();
    /// Wakes one sleeper. Touches nothing afterwards, since who wakes up may destroy the lock.
    void V();

private:
    CSem& __GetSemaphore();

    std::atomic<CSem*> __sem{nullptr};
};

/// Tries in one slice of a timed wait on a machine with several processors; also the tries after
/// which an endless spin lets others run.
constexpr unsigned int SPIN_TRIES = 1000;
/// Length of a slice in milliseconds.
constexpr unsigned long POLL_SLICE = 10;

/// Calls `tryOnce` until it answers true or the time is out, and sleeps between the slices. At
/// least one slice.
template <class Try>
bool PollFor(unsigned long milliseconds, bool isMultiProcessor, Try tryOnce) {
    long remaining = static_cast<long>(milliseconds < POLL_SLICE ? POLL_SLICE : milliseconds);
    for (; remaining > 0; remaining -= static_cast<long>(POLL_SLICE)) {
        for (unsigned int i = isMultiProcessor ? SPIN_TRIES : 1; i != 0; --i) {
            if (tryOnce()) {
                return true;
            }
        }
        SleepFor(POLL_SLICE);
    }
    return false;
}

} // namespace IMPL

} // namespace Quil
