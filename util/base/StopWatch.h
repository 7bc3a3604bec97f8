// A stop watch: how long something took, by the clock on the wall and by the processors' work.
#pragma once

#include "util/base/visibility.h"

#include <cstdint>
#include <ctime>
#include <vector>

namespace QUIL_PUBLIC Quil {

/// Measures in nanoseconds, by the monotonic clock, which nobody sets, and by the CPU time of all
/// threads of the process. It runs from its making on. For one thread.
class CStopWatch {
public:
    /// A stretch of time.
    struct TIMES {
        std::int64_t wall = 0;
        std::int64_t cpu = 0; ///< of all processors together: it may be more than `wall`

        friend bool operator==(const TIMES&, const TIMES&) = default;
    };

    CStopWatch() { Restart(); }

    /// Forgets all and runs from now on.
    void Restart();
    /// Stops until `Resume`: what is between doesn't count. No effect where it has that state.
    void Pause();
    void Resume();
    bool IsPaused() const { return __isPaused; }

    /// All the time that it ran.
    TIMES GetTimes() const;
    double GetSeconds() const { return static_cast<double>(GetTimes().wall) * 1e-9; }

    /// Ends a lap and begins the next one. Answers the time that it ran since the last one's end.
    TIMES Lap();
    const std::vector<TIMES>& GetLaps() const { return __laps; }

private:
    static TIMES __Now();

    TIMES __start;  ///< of the stretch that runs now
    TIMES __before; ///< of the stretches before that
    TIMES __lapEnd; ///< where the last lap ended
    bool __isPaused = false;
    std::vector<TIMES> __laps;
};

} // namespace Quil
