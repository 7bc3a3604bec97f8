// What a stop watch counts, and the machine's description.
#include "util/base/PlatInfo.h"
#include "util/base/StopWatch.h"

#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <thread>

namespace {

using namespace Quil;
using namespace std::chrono_literals;

TEST(StopWatch, CountsWhatItRanAndNothingElse) {
    CStopWatch watch;
    std::this_thread::sleep_for(20ms);
    watch.Pause();
    const CStopWatch::TIMES paused = watch.GetTimes();
    EXPECT_GE(paused.wall, 20'000'000);
    EXPECT_LT(paused.cpu, paused.wall) << "sleeping is no work";
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(watch.GetTimes(), paused);
    watch.Pause();
    EXPECT_EQ(watch.GetTimes(), paused) << "it was already";
    const CStopWatch::TIMES lap = watch.Lap();
    EXPECT_EQ(lap, paused);
    watch.Resume();
    volatile unsigned int work = 0;
    while (watch.GetTimes().cpu < paused.cpu + 5'000'000) {
        work = work + 1;
    }
    EXPECT_GE(watch.Lap().cpu, 5'000'000);
    EXPECT_EQ(watch.GetLaps().size(), 2U);
    EXPECT_LE(watch.GetLaps()[0].wall + watch.GetLaps()[1].wall, watch.GetTimes().wall);
    watch.Restart();
    EXPECT_TRUE(watch.GetLaps().empty());
    EXPECT_LT(watch.GetTimes().cpu, paused.cpu + 5'000'000);
}

TEST(PlatInfo, SaysWhatTheSystemSays) {
    const CPlatInfo& info = CPlatInfo::Get();
    std::string release;
    std::ifstream("/proc/sys/kernel/osrelease") >> release;
    EXPECT_EQ(release, info.GetSystemRelease());
    EXPECT_STREQ(info.GetSystemName(), "Linux");
    EXPECT_GT(info.GetMemorySize(), 1U << 20);
    EXPECT_EQ(info.GetMemorySize() % info.GetPageSize(), 0U);
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit before = limit;
    limit.rlim_cur -= 1;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(CPlatInfo::GetMostDescriptors(), limit.rlim_cur);
    setrlimit(RLIMIT_NOFILE, &before);
}

} // namespace
