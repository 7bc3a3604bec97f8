#include "util/base/StopWatch.h"

namespace Quil {

namespace {

constexpr std::int64_t A_SECOND = 1'000'000'000;

std::int64_t Read(clockid_t clock) {
    timespec time = {};
    ::clock_gettime(clock, &time);
    return std::int64_t{time.tv_sec} * A_SECOND + time.tv_nsec;
}

CStopWatch::TIMES operator+(const CStopWatch::TIMES& a, const CStopWatch::TIMES& b) {
    return {a.wall + b.wall, a.cpu + b.cpu};
}

CStopWatch::TIMES operator-(const CStopWatch::TIMES& a, const CStopWatch::TIMES& b) {
    return {a.wall - b.wall, a.cpu - b.cpu};
}

} // namespace

CStopWatch::TIMES CStopWatch::__Now() {
    return {Read(CLOCK_MONOTONIC), Read(CLOCK_PROCESS_CPUTIME_ID)};
}

void CStopWatch::Restart() {
    __before = __lapEnd = {};
    __laps.clear();
    __isPaused = false;
    __start = __Now();
}

void CStopWatch::Pause() {
    __before = GetTimes();
    __isPaused = true;
}

void CStopWatch::Resume() {
    if (__isPaused) {
        __isPaused = false;
        __start = __Now();
    }
}

CStopWatch::TIMES CStopWatch::GetTimes() const {
    return __isPaused ? __before : __before + (__Now() - __start);
}

CStopWatch::TIMES CStopWatch::Lap() {
    const TIMES now = GetTimes();
    const TIMES lap = now - __lapEnd;
    __lapEnd = now;
    __laps.push_back(lap);
    return lap;
}

} // namespace Quil
