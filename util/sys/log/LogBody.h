// What a log is made of, its thread, and what all logs of a process have in common.
//
// The locks are always taken in this order: the mode's, the output's, that of all logs, the
// state's, the queue's own. Whoever holds the output's lock is inside a logger: it writes at once,
// waits for nobody and leaves the mode alone, else it would wait for itself.
//
// A fork may come at any time, and the child has none of the other threads. The last three locks
// but the queue's are held for short times only, so they are taken around the fork, and the child
// finds what they guard whole. The others it makes anew, and the queue it leaves to its parent.
#pragma once

#include "util/sys/log.h"
#include "util/sys/log/MessageQueue.h"
#include "util/sys/thread.h"
#include "util/sys/time.h"

#include <atomic>
#include <deque>

namespace Quil::IMPL {

/// A queued message, or the command to stop.
struct LOG_RECORD {
    int stop = 0;
    CTime time;
    CLog::LEVEL level = CLog::LEVEL_DEBUG;
    stringEx module;
    stringEx message;
};

using LogQueue = CMessageQueue<LOG_RECORD, std::deque<LOG_RECORD>, FAST_PCLOCK>;
using LogQueueHandle = CHandle<LogQueue, GuardedDeletor<LogQueue>>;
using LogBodyHandle = CHandle<CLogBody, GuardedDeletor<CLogBody>>;

/// Writes what is queued. Owned by the body, or by itself once it is detached.
class CLoggingThread : public TThread {
public:
    CLoggingThread(const LogBodyHandle& body, unsigned int queueLength);
    ~CLoggingThread() noexcept(false) override;
    bool TryStop() override;

    const LogQueueHandle& GetQueue() const { return __queue; }
    const LogBodyHandle& GetBody() const { return __body; }
    /// Ends alone and deletes itself.
    void Detach();
    /// Writes what is queued on the calling thread. The logging thread must have ended.
    void WriteRest();

protected:
    int _Entry() override;
    void _OnUncaughtException() override;

private:
    void __Write(const LOG_RECORD& record);

    LogQueueHandle __queue;
    LogBodyHandle __body;
};

/// The state of a log, counted by the log object, by each call and by the logging thread.
class CLogBody {
public:
    CLogBody(CLog::LEVEL level, unsigned int queueLength);
    CLogBody(const CLogBody&) = delete;
    CLogBody& operator=(const CLogBody&) = delete;
    ~CLogBody() noexcept(false);

    /// Looks at the loggers, by `look(loggers)`; doesn't wait for output.
    template <class Look>
    auto LookAtLoggers(Look look) const {
        const CFastSessionLock lock(__stateLock);
        return look(__loggers);
    }
    /// Changes the loggers, by `change(loggers)`.
    template <class Change>
    auto WithLoggers(Change change) {
        const CFastSessionLock lock(__lock);
        const CFastSessionLock state(__stateLock);
        const COUNT_CHANGE count{__loggers, __loggers.size()};
        return change(__loggers);
    }

    void SetFilter(const CLog::FilterHandle& filter);
    CLog::FilterHandle GetFilter() const;

    bool IsPassing(CLog::LEVEL level) const {
        const CLog::LEVEL threshold = __level.load(std::memory_order_relaxed);
        return threshold != CLog::LEVEL_DISABLED && level >= threshold;
    }
    CLog::LEVEL GetLevel() const { return __level; }
    void SetLevel(CLog::LEVEL level) { __level = level; }

    void EnterMode(const LogBodyHandle& self, unsigned int queueLength);
    void LeaveMode();
    bool IsInMode() const { return static_cast<bool>(__GetQueue()); }
    void Pause();
    void Continue() { __mayWrite.Raise(); }
    void WaitWhilePaused() { __mayWrite.Wait(); }

    void Log(CLog::LEVEL level, const stringEx& module, const stringEx& message);
    /// Asks the filter and calls the loggers.
    void Write(const CTime& time, CLog::LEVEL level, const stringEx& module,
               const stringEx& message);
    void Flush();
    /// What `CLog::LastMsg` says.
    void LogLast(const stringEx& module, const stringEx& message);

    /// Ends the log as the log object goes: nothing of it is lost.
    void Shut();
    /// The logging thread is about to end by itself: what it has queued is written now, and callers
    /// write from then on.
    void OnThreadEnds(CLoggingThread& thread);

    static bool HasAnyLogger() { return sm_loggerCount.load() != 0; }

    /// The lock of what all logs have in common.
    static CFastMutex& ProcessLock();

private:
    struct COUNT_CHANGE {
        const std::vector<CLog::LoggerHandle>& loggers;
        std::size_t before;
        ~COUNT_CHANGE() {
            sm_loggerCount += static_cast<int>(loggers.size()) - static_cast<int>(before);
        }
    };

    LogQueueHandle __GetQueue() const;
    void __SetQueue(const LogQueueHandle& queue);
    void __SetWriter(CLoggingThread* thread);
    void __FlushLoggers();

    static void __LeaveModesAtExit();
    void __LeaveModeAtExit();
    static void __BeforeFork();
    static void __AfterFork();
    static void __InChild();
    void __BeginInChild();

    std::vector<CLog::LoggerHandle> __loggers;
    unsigned int __queueLength;
    std::atomic<CLog::LEVEL> __level;
    CLog::FilterHandle __filter;
    CLoggingThread* __writer = nullptr;        ///< null in blocking mode
    CLoggingThread* __parentsWriter = nullptr; ///< in a child: the copy of one that isn't here
    mutable CFastMutex __lock;                 ///< guards the output
    CFastMutex __modeLock;                     ///< held through a change of the mode
    /// Guards each of the above and the queue's handle; those above are changed with the output's
    /// lock held as well, so they stay as they are for whoever holds either.
    mutable CFastMutex __stateLock;
    LogQueueHandle __queue; ///< empty in blocking mode
    CEvent __mayWrite{true};

    // The list of all logs, under their common lock.
    CLogBody* __previous = nullptr;
    CLogBody* __next;

    static std::atomic<int> sm_loggerCount;
    static CLogBody* sm_first;
    static std::atomic<bool> sm_isExiting;
};

} // namespace Quil::IMPL
