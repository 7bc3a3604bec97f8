// All logs of a process: at its end each writes what it has queued, and a forked child goes on with
// what a single thread can use.
#include "util/base/CancelHold.h"
#include "util/base/Immortal.h"
#include "util/sys/log/LogBody.h"

#include <memory>
#include <pthread.h>
#include <utility>
#include <vector>

namespace Quil::IMPL {

constinit CLogBody* CLogBody::sm_first = nullptr;
constinit std::atomic<bool> CLogBody::sm_isExiting{false};

CFastMutex& CLogBody::ProcessLock() {
    static constinit CImmortal<CFastMutex> lock;
    return lock.Get();
}

CLogBody::CLogBody(CLog::LEVEL level, unsigned int queueLength)
    : __queueLength(queueLength), __level(level) {
    [[maybe_unused]] static const int registered =
        pthread_atfork(__BeforeFork, __AfterFork, __InChild);
    const CFastSessionLock lock(ProcessLock());
    __next = sm_first;
    if (__next != nullptr) {
        __next->__previous = this;
    }
    sm_first = this;
}

CLogBody::~CLogBody() noexcept(false) {
    const CFastSessionLock lock(ProcessLock());
    if (__next != nullptr) {
        __next->__previous = __previous;
    }
    (__previous != nullptr ? __previous->__next : sm_first) = __next;
}

// --- The end -------------------------------------------------------------------------------------

void CLogBody::__LeaveModesAtExit() {
    sm_isExiting = true;
    std::vector<LogBodyHandle> queued;
    {
        const CFastSessionLock lock(ProcessLock());
        for (const CLogBody* log = sm_first; log != nullptr; log = log->__next) {
            const CFastSessionLock state(log->__stateLock);
            if (log->__writer != nullptr) {
                queued.push_back(log->__writer->GetBody());
            }
        }
    }
    for (const LogBodyHandle& log : queued) {
        try {
            log->__LeaveModeAtExit();
        } catch (...) {
            PassThreadEnd(); // else there is nobody left to tell
        }
    }
}

void CLogBody::__LeaveModeAtExit() {
    if (!__lock.IsOwner()) {
        LeaveMode();
        Flush();
    } else if (__writer != nullptr && __writer->GetId() == TThread::GetCurrentThreadId()) {
        OnThreadEnds(*__writer); // it is a logger that calls `exit`
    }
}

// --- Fork ----------------------------------------------------------------------------------------

namespace {

/// Makes the lock as if no other thread had ever touched it; this one holds it as often as before.
void Renew(CFastMutex& lock) {
    unsigned int depth = 0;
    for (; lock.IsOwner(); ++depth) {
        lock.UnLock();
    }
    std::destroy_at(&lock);
    std::construct_at(&lock);
    for (; depth != 0; --depth) {
        lock.Lock();
    }
}

} // namespace

void CLogBody::__BeforeFork() {
    ProcessLock().Lock();
    for (const CLogBody* log = sm_first; log != nullptr; log = log->__next) {
        log->__stateLock.Lock();
    }
}

void CLogBody::__AfterFork() {
    for (const CLogBody* log = sm_first; log != nullptr; log = log->__next) {
        log->__stateLock.UnLock();
    }
    ProcessLock().UnLock();
}

void CLogBody::__InChild() {
    __AfterFork();
    Renew(ProcessLock());
    for (CLogBody* log = sm_first; log != nullptr; log = log->__next) {
        log->__BeginInChild();
    }
}

void CLogBody::__BeginInChild() {
    for (CFastMutex* const lock : {&__modeLock, &__lock, &__stateLock}) {
        Renew(*lock);
    }
    if (__writer != nullptr) {
        __parentsWriter = std::exchange(__writer, nullptr); // can be neither joined nor destroyed
    }
    __queue = LogQueueHandle();           // that thread's object keeps it
    std::construct_at(&__mayWrite, true); // to destroy the old one would wait for its waiters
}

} // namespace Quil::IMPL
