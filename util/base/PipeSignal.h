// Writing to a pipe that nobody reads any more, as a failure of the call and not the process' end.
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>

namespace Quil::IMPL {

/// Keeps SIGPIPE from this thread as long as it stands, also one that has come meanwhile. For the
/// thread that made it.
class CPipeSignalHold {
public:
    CPipeSignalHold() {
        ::sigemptyset(&__pipe);
        ::sigaddset(&__pipe, SIGPIPE);
        sigset_t pending;
        ::sigpending(&pending);
        __wasPending = ::sigismember(&pending, SIGPIPE) == 1;
        ::pthread_sigmask(SIG_BLOCK, &__pipe, &__before);
    }
    CPipeSignalHold(const CPipeSignalHold&) = delete;
    CPipeSignalHold& operator=(const CPipeSignalHold&) = delete;
    ~CPipeSignalHold() {
        constexpr timespec AT_ONCE = {0, 0};
        if (!__wasPending) {
            while (::sigtimedwait(&__pipe, nullptr, &AT_ONCE) < 0 && errno == EINTR) {
            }
        }
        ::pthread_sigmask(SIG_SETMASK, &__before, nullptr);
    }

private:
    sigset_t __pipe = {};
    sigset_t __before = {};
    bool __wasPending = false;
};

} // namespace Quil::IMPL
