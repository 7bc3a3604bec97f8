// Loaded in front of the C library into a command under test: lets one call of it go wrong, or have
// a signal arrive in the middle of it, which no test can arrange from outside without a race.
//
// TSUB_TEST_FAULT is a list of "CALL N WHAT" with commas between: in the N-th call of that name
// (from 1) WHAT happens: the number of an error that it fails with, minus the number of a signal
// that comes before it is done, 0 for half of what was asked, or 1000 plus the tenths of a second
// that it takes. Of `read` and `write` only calls to regular files count.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int NONE = 1 << 20;
constexpr int HALF = 0;
constexpr int SLOW = 1000;

/// Counts a call and answers the fault that is due in it.
int Due(const char* call, int& count) {
    ++count;
    const char* plan = std::getenv("TSUB_TEST_FAULT");
    while (plan != nullptr) {
        char name[32];
        int which = 0;
        int what = 0;
        if (std::sscanf(plan, "%31s %d %d", name, &which, &what) == 3 &&
            std::strcmp(name, call) == 0 && which == count) {
            return what;
        }
        plan = std::strchr(plan, ',');
        plan += plan != nullptr ? 1 : 0;
    }
    return NONE;
}

/// Makes a signal or a failure happen. False if the call is to go on.
bool Fails(int what) {
    if (what < 0) {
        kill(getpid(), -what);
    } else if (what >= SLOW && what != NONE) {
        usleep(static_cast<useconds_t>(what - SLOW) * 100'000);
    } else if (what != HALF && what != NONE) {
        errno = what;
        return true;
    }
    return false;
}

template <class Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" ssize_t write(int fd, const void* bytes, size_t count) {
    static int calls = 0;
    struct stat status = {};
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
        const int what = Due("write", calls);
        if (Fails(what)) {
            return -1;
        }
        count = what == HALF ? count / 2 : count;
    }
    return Next<ssize_t(int, const void*, size_t)>("write")(fd, bytes, count);
}

extern "C" ssize_t read(int fd, void* bytes, size_t count) {
    static int calls = 0;
    struct stat status = {};
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && Fails(Due("read", calls))) {
        return -1;
    }
    return Next<ssize_t(int, void*, size_t)>("read")(fd, bytes, count);
}

extern "C" int ftruncate64(int fd, off64_t size) {
    static int calls = 0;
    return Fails(Due("ftruncate", calls)) ? -1 : Next<int(int, off64_t)>("ftruncate64")(fd, size);
}

extern "C" int fallocate64(int fd, int mode, off64_t offset, off64_t length) {
    static int calls = 0;
    return Fails(Due("fallocate", calls))
               ? -1
               : Next<int(int, int, off64_t, off64_t)>("fallocate64")(fd, mode, offset, length);
}

extern "C" ssize_t copy_file_range(int from, off64_t* fromPlace, int to, off64_t* toPlace,
                                   size_t count, unsigned int flags) {
    static int calls = 0;
    return Fails(Due("copy_file_range", calls))
               ? -1
               : Next<ssize_t(int, off64_t*, int, off64_t*, size_t, unsigned int)>(
                     "copy_file_range")(from, fromPlace, to, toPlace, count, flags);
}
