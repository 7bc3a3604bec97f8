// Loaded in front of the C library into a command under test: lets one call of it go wrong, or have
// a signal arrive in the middle of it, which no test can arrange from outside without a race.
//
// TSUB_TEST_FAULT is "CALL N WHAT": in the N-th call of that name (from 1) WHAT happens: the number
// of an error that it fails with, or minus the number of a signal that comes before it is done. Of
// `write` only calls to regular files count.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// The fault that is due in this call, 0 if none is.
int Due(const char* call) {
    static const char* const plan = std::getenv("TSUB_TEST_FAULT");
    static int count = 0;
    char name[32];
    int which = 0;
    int what = 0;
    if (plan == nullptr || std::sscanf(plan, "%31s %d %d", name, &which, &what) != 3 ||
        std::strcmp(name, call) != 0) {
        return 0;
    }
    return ++count == which ? what : 0;
}

/// Makes the fault happen. False if the call is to go on.
bool Fails(const char* call) {
    const int what = Due(call);
    if (what < 0) {
        kill(getpid(), -what);
    } else if (what > 0) {
        errno = what;
    }
    return what > 0;
}

template <class Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" ssize_t write(int fd, const void* bytes, size_t count) {
    struct stat status = {};
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && Fails("write")) {
        return -1;
    }
    return Next<ssize_t(int, const void*, size_t)>("write")(fd, bytes, count);
}

extern "C" int ftruncate64(int fd, off64_t size) {
    return Fails("ftruncate") ? -1 : Next<int(int, off64_t)>("ftruncate64")(fd, size);
}
