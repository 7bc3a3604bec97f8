// The log's output, its modes and its thread. No message is lost when a mode is left: the queue is
// closed, the thread stopped, what it left is written, and only then do callers write themselves.
#include "util/sys/log/LogBody.h"

#include "util/base/CancelHold.h"

#include <cstdlib>
#include <exception>
#include <utility>

namespace Quil::IMPL {

namespace {

/// Runs foreign code whose failures are its own business.
template <class Step>
void Swallow(Step step) {
    const CCancelHold hold;
    try {
        step();
    } catch (...) {
        PassThreadEnd();
    }
}

bool IsStop(const LOG_RECORD& record) {
    return record.stop != 0;
}

/// A text that lives as long as it is queued.
stringEx Owned(const stringEx& text) {
    stringEx copy(text);
    copy.detach_if_static();
    return copy;
}

} // namespace

// --- The thread ----------------------------------------------------------------------------------

CLoggingThread::CLoggingThread(const LogBodyHandle& body, unsigned int queueLength)
    : __queue(new LogQueue(queueLength)), __body(body) {}

CLoggingThread::~CLoggingThread() noexcept(false) {
    if (!CLoggingThread::TryStop()) {
        Wait();
    }
}

bool CLoggingThread::TryStop() {
    if (TThread::TryStop()) {
        return true;
    }
    LOG_RECORD command;
    command.stop = 1;
    __queue->PushCommand(std::move(command));
    return false;
}

void CLoggingThread::Detach() {
    _SetShouldDestroy(true);
    TryStop();
}

int CLoggingThread::_Entry() {
    for (;;) {
        const LOG_RECORD record = __queue->Pop(IsStop);
        if (IsStop(record)) {
            __queue->Done();
            return 0;
        }
        __body->WaitWhilePaused();
        __Write(record);
    }
}

void CLoggingThread::WriteRest() {
    LOG_RECORD record;
    while (__queue->TryPop(record, IsStop)) {
        __Write(record);
    }
}

void CLoggingThread::__Write(const LOG_RECORD& record) {
    struct DONE {
        LogQueue& queue;
        ~DONE() { queue.Done(); }
    } const done{*__queue};
    if (!IsStop(record)) {
        __body->Write(record.time, record.level, record.module, record.message);
    }
}

void CLoggingThread::_OnUncaughtException() {
    __body->OnThreadEnds(*this);
}

// --- Loggers and filter --------------------------------------------------------------------------

constinit std::atomic<int> CLogBody::sm_loggerCount{0};

void CLogBody::SetFilter(const CLog::FilterHandle& filter) {
    CLog::FilterHandle old(filter); // released after the lock
    const CFastSessionLock lock(__lock);
    const CFastSessionLock state(__stateLock);
    __filter.swap(old);
}

CLog::FilterHandle CLogBody::GetFilter() const {
    const CFastSessionLock lock(__stateLock);
    return __filter;
}

void CLogBody::Write(const CTime& time, CLog::LEVEL level, const stringEx& module,
                     const stringEx& message) {
    const CFastSessionLock lock(__lock);
    bool isPassed = true;
    Swallow([&] {
        if (const CLog::FilterHandle filter = __filter) {
            isPassed = filter->IsPassed(time, level, module, message);
        }
    });
    if (!isPassed) {
        return;
    }
    // By index, and with a handle on the one that is called: loggers may push and pop loggers.
    for (std::size_t i = 0; i < __loggers.size(); ++i) {
        Swallow([&] {
            const CLog::LoggerHandle logger = __loggers[i];
            logger->OnLogMsg(time, level, module, message);
        });
    }
}

void CLogBody::Log(CLog::LEVEL level, const stringEx& module, const stringEx& message) {
    if (level >= CLog::LEVEL_FATAL) {
        Continue(); // the process may be about to end, and would wait for a place in the queue
    }
    for (;;) {
        const LogQueueHandle queue = __lock.IsOwner() ? LogQueueHandle() : __GetQueue();
        if (!queue) {
            const CFastSessionLock lock(__lock);
            Write(CTime::Now(), level, module, message);
            return;
        }
        if (queue->Push([&] {
                return LOG_RECORD{0, CTime::Now(), level, Owned(module), Owned(message)};
            })) {
            return;
        }
        // The mode is being left. Behind that all that was queued has been written.
        const CFastSessionLock untilLeft(__modeLock);
    }
}

void CLogBody::Flush() {
    if (!__lock.IsOwner()) {
        if (const LogQueueHandle queue = __GetQueue()) {
            Continue();
            queue->WaitUntilDone();
        }
    }
    const CFastSessionLock lock(__lock);
    __FlushLoggers();
}

/// With the output's lock held.
void CLogBody::__FlushLoggers() {
    for (std::size_t i = 0; i < __loggers.size(); ++i) {
        Swallow([&] {
            const CLog::LoggerHandle logger = __loggers[i];
            logger->Flush();
        });
    }
}

/// Nothing here waits without limit, and nothing needs a place in the queue: the caller may hold
/// the queue's own lock, where it ran out of memory.
void CLogBody::LogLast(const stringEx& module, const stringEx& message) {
    constexpr unsigned long QUEUE_LIMIT = 3000;
    constexpr unsigned long OUTPUT_LIMIT = 1000;
    if (!__lock.IsOwner()) {
        if (const LogQueueHandle queue = __GetQueue()) {
            Continue();
            queue->WaitUntilDone(QUEUE_LIMIT);
        }
    }
    const CFastSessionLock lock(__lock, OUTPUT_LIMIT);
    if (lock.IsLocked()) {
        Write(CTime::Now(), CLog::LEVEL_FATAL, module, message);
        __FlushLoggers();
    }
}

// --- Mode ----------------------------------------------------------------------------------------

LogQueueHandle CLogBody::__GetQueue() const {
    const CFastSessionLock lock(__stateLock);
    return __queue;
}

void CLogBody::__SetQueue(const LogQueueHandle& queue) {
    LogQueueHandle old(queue); // released after the lock
    const CFastSessionLock lock(__stateLock);
    __queue.swap(old);
}

void CLogBody::__SetWriter(CLoggingThread* thread) {
    const CFastSessionLock lock(__lock);
    const CFastSessionLock state(__stateLock);
    __writer = thread;
}

void CLogBody::EnterMode(const LogBodyHandle& self, unsigned int queueLength) {
    if (__lock.IsOwner()) {
        return;
    }
    const CFastSessionLock mode(__modeLock);
    if (IsInMode() || sm_isExiting) {
        return;
    }
    [[maybe_unused]] static const int registered = std::atexit(__LeaveModesAtExit);
    LeaveMode(); // a thread that failed is still to be joined
    auto thread =
        std::make_unique<CLoggingThread>(self, queueLength != 0 ? queueLength : __queueLength);
    thread->Create(false);
    thread->Run();
    const LogQueueHandle queue = thread->GetQueue();
    __SetWriter(thread.release());
    __SetQueue(queue);
}

void CLogBody::LeaveMode() {
    if (__lock.IsOwner()) {
        return;
    }
    const CCancelHold hold;
    const CFastSessionLock mode(__modeLock);
    if (__writer == nullptr) {
        return;
    }
    const LogQueueHandle queue = __writer->GetQueue();
    queue->Close();
    Continue();
    if (!__writer->TryStop()) {
        __writer->Wait();
    }
    __writer->WriteRest(); // all of it, if the stop came before the thread's start
    __SetQueue(LogQueueHandle());
    const std::unique_ptr<CLoggingThread> thread(__writer);
    __SetWriter(nullptr);
}

void CLogBody::OnThreadEnds(CLoggingThread& thread) {
    thread.GetQueue()->Close();
    thread.WriteRest();
    __SetQueue(LogQueueHandle());
}

/// Not inside a logger, and not while the mode is left: nobody would end the pause.
void CLogBody::Pause() {
    if (!__lock.IsOwner()) {
        const CFastSessionLock mode(__modeLock);
        __mayWrite.Reset();
    }
}

void CLogBody::Shut() {
    if (__lock.IsOwner() && __writer != nullptr) {
        // The log goes while one of its loggers runs. Its thread writes the rest by itself.
        __writer->GetQueue()->Close();
        Continue();
        CLoggingThread* const thread = __writer;
        __SetWriter(nullptr);
        thread->Detach();
        __SetQueue(LogQueueHandle());
        return;
    }
    LeaveMode();
    Flush();
    std::vector<CLog::LoggerHandle> loggers;
    WithLoggers([&](std::vector<CLog::LoggerHandle>& present) { present.swap(loggers); });
    std::exception_ptr failure;
    const auto release = [&failure](auto& handle) {
        try {
            handle = {};
        } catch (...) {
            PassThreadEnd();
            failure = failure != nullptr ? failure : std::current_exception();
        }
    };
    for (CLog::LoggerHandle& logger : loggers) {
        release(logger); // singly, so that one that fails keeps none of the others
    }
    CLog::FilterHandle filter = GetFilter();
    SetFilter({});
    release(filter);
    if (failure != nullptr) {
        std::rethrow_exception(failure);
    }
}

} // namespace Quil::IMPL
