// Loaded in front of the C library into a command under test: lets one call of it go wrong, or have
// a signal arrive in the middle of it, which no test can arrange from outside without a race.
//
// TSUB_TEST_FAULT is a list of "CALL N WHAT" with commas between: in the N-th call of that name
// (from 1) WHAT happens: the number of an error that it fails with, minus the number of a signal
// that comes before it is done, 0 for half of what was asked, or 1000 plus the tenths of a second
// that it takes. Of `read`, `write` and `pwrite` only calls to regular files count. The file
// TSUB_TEST_FAULT_HIT is made when it happens.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int NONE = 1 << 20;
constexpr int HALF = 0;
constexpr int SLOW = 1000;

using COUNT = std::atomic<int>;

void TellHit() {
    if (const char* const path = std::getenv("TSUB_TEST_FAULT_HIT")) {
        syscall(SYS_close, syscall(SYS_openat, AT_FDCWD, path, O_CREAT | O_WRONLY, 0600));
    }
}

/// Counts a call and answers the fault that is due in it.
int Due(const char* call, COUNT& count) {
    const int now = ++count;
    const char* plan = std::getenv("TSUB_TEST_FAULT");
    while (plan != nullptr) {
        char name[32];
        int which = 0;
        int what = 0;
        if (std::sscanf(plan, "%31s %d %d", name, &which, &what) == 3 &&
            std::strcmp(name, call) == 0 && which == now) {
            TellHit();
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

bool IsRegular(int fd) {
    struct stat status = {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

/// A call that moves bytes, of which half may be moved.
template <class... More>
ssize_t Move(const char* name, COUNT& calls, const char* symbol, int fd, auto* bytes, size_t count,
             More... more) {
    if (IsRegular(fd)) {
        const int what = Due(name, calls);
        if (Fails(what)) {
            return -1;
        }
        count = what == HALF ? count / 2 : count;
    }
    return Next<ssize_t(int, decltype(bytes), size_t, More...)>(symbol)(fd, bytes, count, more...);
}

/// Any other call.
template <class Result, class... Arguments>
Result Call(const char* name, COUNT& calls, const char* symbol, Result failure,
            Arguments... arguments) {
    return Fails(Due(name, calls)) ? failure : Next<Result(Arguments...)>(symbol)(arguments...);
}

} // namespace

extern "C" {

ssize_t write(int fd, const void* bytes, size_t count) {
    static COUNT calls;
    return Move("write", calls, "write", fd, bytes, count);
}

ssize_t pwrite64(int fd, const void* bytes, size_t count, off64_t place) {
    static COUNT calls;
    return Move("pwrite", calls, "pwrite64", fd, bytes, count, place);
}

ssize_t read(int fd, void* bytes, size_t count) {
    static COUNT calls;
    return Move("read", calls, "read", fd, bytes, count);
}

int open64(const char* path, int flags, ...) {
    static COUNT calls;
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return Fails(Due("open", calls))
               ? -1
               : Next<int(const char*, int, ...)>("open64")(path, flags, mode);
}

int openat64(int folder, const char* path, int flags, ...) {
    static COUNT calls;
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return Fails(Due("openat", calls))
               ? -1
               : Next<int(int, const char*, int, ...)>("openat64")(folder, path, flags, mode);
}

int fstat64(int fd, struct stat64* status) {
    static COUNT calls;
    return Call("fstat", calls, "fstat64", -1, fd, status);
}

/// The descriptor is closed all the same, as it is where a device tells of a write that failed.
int close(int fd) {
    static COUNT calls;
    const bool fails = Fails(Due("close", calls));
    const int code = errno;
    const int result = Next<int(int)>("close")(fd);
    errno = fails ? code : errno;
    return fails ? -1 : result;
}

int fsync(int fd) {
    static COUNT calls;
    return Call("fsync", calls, "fsync", -1, fd);
}

int ftruncate64(int fd, off64_t size) noexcept {
    static COUNT calls;
    return Call("ftruncate", calls, "ftruncate64", -1, fd, size);
}

int fallocate64(int fd, int mode, off64_t offset, off64_t length) {
    static COUNT calls;
    return Call("fallocate", calls, "fallocate64", -1, fd, mode, offset, length);
}

ssize_t copy_file_range(int from, off64_t* fromPlace, int to, off64_t* toPlace, size_t count,
                        unsigned int flags) {
    static COUNT calls;
    return Call("copy_file_range", calls, "copy_file_range", ssize_t{-1}, from, fromPlace, to,
                toPlace, count, flags);
}

int rename(const char* from, const char* to) noexcept {
    static COUNT calls;
    return Call("rename", calls, "rename", -1, from, to);
}

int mkdir(const char* path, mode_t mode) noexcept {
    static COUNT calls;
    return Call("mkdir", calls, "mkdir", -1, path, mode);
}

int unlink(const char* path) noexcept {
    static COUNT calls;
    return Call("unlink", calls, "unlink", -1, path);
}

void* mmap64(void* at, size_t length, int protection, int flags, int fd, off64_t place) noexcept {
    static COUNT calls;
    return Call("mmap", calls, "mmap64", MAP_FAILED, at, length, protection, flags, fd, place);
}

void* iconv_open(const char* to, const char* from) {
    static COUNT calls;
    return Call("iconv_open", calls, "iconv_open", reinterpret_cast<void*>(-1), to, from);
}

#ifndef WITHOUT_MALLOC
void* __libc_malloc(size_t size);

void* malloc(size_t size) {
    static COUNT calls;
    return Fails(Due("malloc", calls)) ? nullptr : __libc_malloc(size);
}
#endif

} // extern "C"
