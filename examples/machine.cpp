// Describes the machine, and measures what something costs on it.

#include "util/base/PlatInfo.h"
#include "util/base/StopWatch.h"

#include <iostream>
#include <numeric>
#include <vector>

using namespace Quil;

int main() {
    const CPlatInfo& machine = CPlatInfo::Get();
    std::cout << machine.GetSystemName() << ", " << (machine.IsBigEndian() ? "high" : "low")
              << " bytes first\n"
              << (machine.GetMemorySize() / machine.GetPageSize() > 1000 ? "some" : "few")
              << " pages of memory, " << (machine.GetOnlineCpuCount() > 0 ? "a processor" : "none")
              << "\n";

    CStopWatch watch;
    std::vector<unsigned long> numbers(1'000'000);
    std::iota(numbers.begin(), numbers.end(), 1UL);
    const CStopWatch::TIMES made = watch.Lap();
    const unsigned long sum = std::accumulate(numbers.begin(), numbers.end(), 0UL);
    const CStopWatch::TIMES added = watch.Lap();
    std::cout << sum << ", in two laps that took "
              << (made.wall + added.wall <= watch.GetTimes().wall ? "no more than all" : "too long")
              << "\n";
    return 0;
}
