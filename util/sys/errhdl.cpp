// The net of last resort. Handlers run where almost nothing is safe: each of their steps is
// guarded, an alarm bounds them all, and a second entry ends the process at once.
#include "util/sys/errhdl.h"

#include "util/base/CancelHold.h"
#include "util/base/sanitizer.h"
#include "util/sys/error/SignalStack.h"
#include "util/sys/error/signal_code.h"
#include "util/sys/log.h"
#include "util/text/ConvStr.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <new>
#include <pthread.h>
#include <unistd.h>

namespace Quil {

namespace {

constexpr int FATAL_STATUS = -1;
constexpr char LOG_MODULE[] = "util.errhnd";
/// What a handler may take: it runs code that isn't safe there, and a hang must end as well.
constexpr unsigned int HANDLER_SECONDS = 5;

/// What logging may take when nothing else is left.
constexpr std::size_t RESERVE_BYTES = std::size_t{64} * 1024;

constinit std::atomic<void*> memoryReserve{nullptr};
constinit std::atomic<int> terminateEntries{0};
constinit std::atomic<int> isInSignalHandler{0};
static_assert(std::atomic<int>::is_always_lock_free);

/// Runs one step of a handler; whatever it throws is dropped, since the process is about to end.
template <class Step>
void Guarded(Step step) noexcept {
    const IMPL::CCancelHold hold;
    try {
        step();
    } catch (...) {
        return;
    }
}

void SetHandler(std::initializer_list<int> signals, const struct sigaction& action) {
    for (const int number : signals) {
        sigaction(number, &action, nullptr);
    }
}

void Ignore(std::initializer_list<int> signals) {
    struct sigaction action {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = SIG_IGN;
    SetHandler(signals, action);
}

extern "C" void EndOnAlarm(int) {
    _exit(FATAL_STATUS);
}

/// Ends the process in a few seconds even if the caller hangs.
void BoundHandlerTime() {
    struct sigaction action {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = EndOnAlarm;
    sigaction(SIGALRM, &action, nullptr);
    sigset_t alarmOnly;
    sigemptyset(&alarmOnly);
    sigaddset(&alarmOnly, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarmOnly, nullptr);
    alarm(HANDLER_SECONDS);
}

/// Not for a crash, where the heap may be what is broken.
void FreeReserve() {
    std::free(memoryReserve.exchange(nullptr));
}

/// The end of every handler: `makeText()` goes to the log, and the process ends with it.
template <class MakeText>
[[noreturn]] void EndProcess(MakeText makeText) {
    BoundHandlerTime();
    Guarded([&] { CLog::LastMsg(stringEx(LOG_MODULE), makeText()); });
    _exit(FATAL_STATUS);
}

/// Takes the crash signals.
class CSigActionsSentry {
public:
    static void Install() {
        struct sigaction action {};
        sigemptyset(&action.sa_mask);
        action.sa_sigaction = __ErrSigHdl;
        // Not deferred, so that a second fault arrives here; on a stack of its own, so that a full
        // stack does.
        action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_ONSTACK;
        SetHandler({SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP}, action);
    }

private:
    static void __ErrSigHdl(int, siginfo_t* info, void* context) {
        if (isInSignalHandler.exchange(1) != 0 || !CLog::HasAnyLogger()) {
            _exit(FATAL_STATUS);
        }
        EndProcess([&] {
            return "unrecoverable underlaying error ocurred: " + IMPL::ParseSigCode(info, context);
        });
    }
};

/// Threads that start later inherit the block; who wants the signal opens it.
void BlockRealTimeSignal() {
    sigset_t first;
    sigemptyset(&first);
    sigaddset(&first, SIGRTMIN);
    pthread_sigmask(SIG_BLOCK, &first, nullptr);
}

} // namespace

unsigned long GetSysLastError() {
    return static_cast<unsigned long>(errno);
}

stringEx GetSysErrString(unsigned long code) {
    stringEx text(std::strerror(static_cast<int>(code)));
    for (const char* end : {"\n", "\r"}) {
        if (text.end_with(end)) {
            text.pop_back();
        }
    }
    return text;
}

wstringEx GetSysErrStringW(unsigned long code) {
    return ConvStrSToW(GetSysErrString(code));
}

stringEx IMPL::CurrentExceptionText() {
    try {
        throw;
    } catch (const qlExp& failure) {
        return failure.GetErrString();
    } catch (const std::exception& failure) {
        return stringEx(failure.what());
    } catch (...) {
        return stringEx("unknown system error");
    }
}

void IgnoreSigUsr(bool usr1, bool usr2) {
    if (usr1) {
        Ignore({SIGUSR1});
    }
    if (usr2) {
        Ignore({SIGUSR2});
    }
}

void util_FatalExit(bool flushLog) {
    if (flushLog) {
        BoundHandlerTime();
        Guarded([] { CLog::Flush(); });
    }
    _exit(FATAL_STATUS);
}

void util_ResetOsErrHdl() {
    Ignore({SIGPIPE, SIGURG, SIGTTIN, SIGTTOU, SIGXFSZ, SIGXCPU});
    if constexpr (!QUIL_SANITIZED) {
        static constinit unsigned char stack[IMPL::CSignalStack::SIZE] = {};
        stack_t present{};
        if (sigaltstack(nullptr, &present) == 0 && (present.ss_flags & SS_DISABLE) != 0) {
            IMPL::CSignalStack::Install(stack, sizeof stack);
        }
        CSigActionsSentry::Install();
    }
    BlockRealTimeSignal();
    if (memoryReserve.load() == nullptr) {
        std::free(memoryReserve.exchange(std::malloc(RESERVE_BYTES)));
    }
    std::set_new_handler(IMPL::NewHandler);
    std::set_terminate(IMPL::TerminateHandler);
}

namespace IMPL {

void NewHandler() {
    std::set_new_handler(nullptr); // logging allocates, and would come here again
    FreeReserve();
    EndProcess([] { return stringEx("not enough memory, process aborted"); });
}

void TerminateHandler() {
    if (terminateEntries.fetch_add(1) != 0) {
        _exit(FATAL_STATUS);
    }
    FreeReserve(); // strings that find no memory throw, and where nobody catches it, it is here
    EndProcess([] { return stringEx("process has been terminated in an unexpected way"); });
}

void UnexpectHandler() {
    EndProcess([] {
        return "an unexpected exception has occured, process aborted\n@ " + CurrentExceptionText();
    });
}

} // namespace IMPL

} // namespace Quil
