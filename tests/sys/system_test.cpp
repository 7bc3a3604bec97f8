// The small wrappers of the system: loaded libraries, files under /proc.
#include "tests/sys/message_of.h"
#include "util/base/timeout.h"
#include "util/sys/dllloader.h"
#include "util/sys/errhdl.h"
#include "util/sys/misc.h"

#include <cstdlib>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string>

namespace {

using namespace Quil;
using TEST::MessageOf;

bool IsLoaded(const char* fileName) {
    void* const handle = dlopen(fileName, RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

TEST(DllLoader, FindsTheLibraryByItsParts) {
    // A library that comes with the system's own and that nothing here is linked with.
    constexpr char file[] = "libanl.so.1";
    const struct {
        const char* name;
        const char* version;
        const char* extension;
    } rows[] = {
        {"libanl", "1", "so"}, {"anl", "1", "so"}, {"libanl.so.1", "", ""}, {"anl.so", "1", ""}};
    for (const auto& row : rows) {
        ASSERT_FALSE(IsLoaded(file));
        {
            const CDllLoader library(stringEx(row.name), stringEx(row.version),
                                     stringEx(row.extension));
            EXPECT_TRUE(IsLoaded(file)) << row.name;
        }
        EXPECT_FALSE(IsLoaded(file)) << row.name;
        const CDllLoader wide(stringEx(row.name).to_wstr(), stringEx(row.version).to_wstr(),
                              stringEx(row.extension).to_wstr());
        EXPECT_TRUE(IsLoaded(file)) << row.name;
    }
}

TEST(DllLoader, GivesWhatTheLibraryHas) {
    const CDllLoader mathematics("m", "6", "so");
    const auto power = reinterpret_cast<double (*)(double, double)>(mathematics.GetProc("pow"));
    EXPECT_EQ(power(2, 10), 1024);
    EXPECT_EQ(MessageOf<dlllExp>([&] { mathematics.GetProc("no_such_function"); })
                  .find("CDllLoader::GetProc - error get the address of specific proc\n"
                        "  proc name      = no_such_function\n"
                        "  sys error desc = "),
              0U);
    const CDllLoader self("", "7", "so");
    EXPECT_EQ(self.GetProc("getpid"), dlsym(RTLD_DEFAULT, "getpid"));
}

TEST(DllLoader, TellsWhatItDidNotFind) {
    const struct {
        const char* name;
        const char* hex;
        const char* tried; ///< the file that was tried last
    } rows[] = {{"none", "6e6f6e65", "libnone.so.1: "},
                {"libnone", "6c69626e6f6e65", "libnone.so.1: "},
                {"/none", "2f6e6f6e65", "/none.so.1: "}};
    for (const auto& row : rows) {
        const std::string message =
            MessageOf<syssrvExp>([&] { CDllLoader library(stringEx(row.name), "1", "so"); });
        EXPECT_EQ(
            message.find(std::string("CDllLoader::CDllLoader - error loading dynamic library\n"
                                     "  dll path       = ") +
                         row.name + "\n  path hex code  = " + row.hex +
                         "\n  sys error desc = " + row.tried),
            0U)
            << message;
    }
}

TEST(TimeOut, SumsKeepTheNormalForm) {
    constexpr time_t LAST = std::numeric_limits<time_t>::max();
    constexpr struct {
        timespec time, offset, sum;
    } rows[] = {
        {{10, 999999999}, {0, 1}, {11, 0}},
        {{10, 0}, {0, -1}, {9, 999999999}},
        {{10, 600000000}, {1, 1500000000}, {13, 100000000}},
        {{10, 400000000}, {0, -2500000000}, {7, 900000000}},
        {{10, 5}, {-20, 0}, {0, 5}},
        {{10, 5}, {LAST, 0}, {LAST, 5}},
    };
    for (const auto& row : rows) {
        const timespec sum = IMPL::After(row.time, row.offset);
        EXPECT_EQ(sum.tv_sec, row.sum.tv_sec) << row.offset.tv_sec << ' ' << row.offset.tv_nsec;
        EXPECT_EQ(sum.tv_nsec, row.sum.tv_nsec) << row.offset.tv_sec << ' ' << row.offset.tv_nsec;
    }
    timespec start = IMPL::Now(CLOCK_MONOTONIC);
    start.tv_sec -= 10;
    EXPECT_LE(IMPL::Remaining(start, 60000), 50000U) << "a limit counts from the start";
    EXPECT_GT(IMPL::Remaining(start, 60000), 30000U);
    EXPECT_EQ(IMPL::Remaining(start, 9000), 0U);
    EXPECT_EQ(IMPL::Remaining(start, IMPL::NO_LIMIT), IMPL::NO_LIMIT);
}

TEST(ProcFile, IsReadUpToTheLimit) {
    const stringEx path("/proc/self/status"); // of which the system tells no size
    const stringEx whole = IMPL::ReadProcFile(path, 1U << 20);
    EXPECT_TRUE(whole.begin_with("Name:"));
    EXPECT_GT(whole.length(), 100U);
    EXPECT_EQ(IMPL::ReadProcFile(path, 7), whole.substr(0, 7));
    EXPECT_EQ(IMPL::ReadProcFile(path, 0), "");
    EXPECT_THROW(IMPL::ReadProcFile("/proc/self/none", 7), sysfileExp);
}

TEST(Environment, AnUnsetVariableIsEmpty) {
    setenv("QUIL_TEST", "value", 1);
    EXPECT_EQ(GetEnvString("QUIL_TEST"), "value");
    unsetenv("QUIL_TEST");
    EXPECT_EQ(GetEnvString("QUIL_TEST"), "");
}

} // namespace
