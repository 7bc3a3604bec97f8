#include "util/sys/Process.h"

#include "util/base/PipeSignal.h"
#include "util/sys/errhdl.h"
#include "util/sys/process/Starter.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>

namespace Quil {

namespace {

using CLOCK = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds INTERVAL(5);

/// Milliseconds up to a time, as poll takes them; -1 without one.
int LeftUntil(const std::optional<CLOCK::time_point>& end) {
    if (!end) {
        return -1;
    }
    const auto left = std::chrono::ceil<milliseconds>(*end - CLOCK::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 1'000'000'000));
}

std::optional<CLOCK::time_point> EndOf(const CProcess::LIMIT& limit) {
    return limit ? std::optional(CLOCK::now() + *limit) : std::nullopt;
}

std::chrono::microseconds TimeOf(const timeval& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
}

/// Reads what is there. False at the end.
bool ReadSome(int descriptor, stringEx& text) {
    char block[1 << 16];
    const ssize_t count = ::read(descriptor, block, sizeof block);
    if (count > 0) {
        text.append(stringEx(block, static_cast<unsigned int>(count)));
    }
    return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
}

/// Writes what there is room for. False if nobody reads it any more, or all is written.
bool WriteSome(int descriptor, const stringEx& text, unsigned int& done) {
    const ssize_t count = ::write(descriptor, text.data() + done, text.length() - done);
    if (count > 0) {
        done += static_cast<unsigned int>(count);
    }
    return done != text.length() && (count > 0 || errno == EINTR || errno == EAGAIN);
}

} // namespace

CProcess::CProcess(const PROCESS_START& start) : __hasGroup(start.hasGroup) {
    IMPL::CStarter starter(start);
    __id = starter.Start();
    __input = starter.TakeEnd(STDIN_FILENO);
    __output = starter.TakeEnd(STDOUT_FILENO);
    __errors = starter.TakeEnd(STDERR_FILENO);
#ifdef SYS_pidfd_open
    __watch = IMPL::CDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, __id, 0)));
#endif
}

CProcess::~CProcess() {
    if (!__end) {
        Signal(SIGKILL);
        __Reap(true);
    }
}

/// Takes how it ended. False if it didn't.
bool CProcess::__Reap(bool mayWait) {
    int status = 0;
    rusage usage = {};
    pid_t reaped = 0;
    do {
        reaped = ::wait4(__id, &status, mayWait ? 0 : WNOHANG, &usage);
    } while (reaped < 0 && errno == EINTR);
    if (reaped == 0) {
        return false;
    }
    PROCESS_END end;
    if (reaped == __id) { // else somebody else has asked for it
        end.code = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
        end.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        end.user = TimeOf(usage.ru_utime);
        end.system = TimeOf(usage.ru_stime);
        end.peakBytes = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
    }
    __end = end;
    return true;
}

const PROCESS_END* CProcess::Wait(const LIMIT& limit) {
    const std::optional<CLOCK::time_point> end = EndOf(limit);
    while (!__end && !__Reap(!limit)) {
        const int left = LeftUntil(end);
        if (left == 0) {
            break;
        }
        if (__watch.IsOpen()) {
            pollfd wait = {__watch.Get(), POLLIN, 0};
            ::poll(&wait, 1, left);
        } else {
            std::this_thread::sleep_for(std::min(milliseconds(left), INTERVAL));
        }
    }
    return GetEnd();
}

void CProcess::Signal(int signal) {
    if (!__end) {
        ::kill(__hasGroup ? -__id : __id, signal);
    }
}

const PROCESS_END* CProcess::Communicate(OUTPUTS& outputs, const stringEx& input,
                                         const LIMIT& limit) {
    const std::optional<CLOCK::time_point> end = EndOf(limit);
    const IMPL::CPipeSignalHold hold;
    unsigned int written = 0;
    if (__input.IsOpen()) {
        ::fcntl(__input.Get(), F_SETFL, O_NONBLOCK);
    }
    if (input.empty()) {
        __input.Close();
    }
    while (__input.IsOpen() || __output.IsOpen() || __errors.IsOpen()) {
        pollfd waits[] = {
            {__input.Get(), POLLOUT, 0}, {__output.Get(), POLLIN, 0}, {__errors.Get(), POLLIN, 0}};
        const int ready = ::poll(waits, std::size(waits), LeftUntil(end));
        if (ready == 0) {
            return nullptr;
        }
        if (ready < 0) {
            continue;
        }
        if (waits[0].revents != 0 && !WriteSome(__input.Get(), input, written)) {
            __input.Close();
        }
        if (waits[1].revents != 0 && !ReadSome(__output.Get(), outputs.out)) {
            __output.Close();
        }
        if (waits[2].revents != 0 && !ReadSome(__errors.Get(), outputs.err)) {
            __errors.Close();
        }
    }
    return Wait(end ? LIMIT(milliseconds(LeftUntil(end))) : std::nullopt);
}

} // namespace Quil
