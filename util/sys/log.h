// The library's log: messages go through a threshold and a filter to any number of loggers, on the
// caller's thread or on one of the log's own.
//
// One log is the process-wide one, reached by the static operations; the fatal handlers write to
// it. Without loggers it is silent.
//
// No failure of a logger or filter reaches the code that logs. A logger may log, and may push, pop
// and flush, but what it logs is written at once, and it can't change the mode that it is called
// in.
#pragma once

#include "util/base/handle.h"
#include "util/base/visibility.h"
#include "util/text/stringEx.h"

#include <cstdarg>
#include <iosfwd>
#include <vector>

namespace QUIL_PUBLIC Quil {

class CTime;
class ILogger;
class ILogFilter;

namespace IMPL {
class CLogBody;
} // namespace IMPL

/// A log. Any thread may call it. What a call needs is counted, so a thread that logs, and the
/// log's own thread, may outlast the object.
class CLog {
public:
    enum LEVEL {
        LEVEL_DEBUG,
        LEVEL_INFO,
        LEVEL_WARNING,
        LEVEL_ERROR,
        LEVEL_NOTE,
        LEVEL_FATAL,
        LEVEL_DISABLED ///< as a threshold: nothing passes
    };
    using LoggerHandle = CHandle<ILogger, GuardedDeletor<ILogger>, CAtomicINT32, 0>;
    using FilterHandle = CHandle<ILogFilter, GuardedDeletor<ILogFilter>, CAtomicINT32, 0>;
    using LogHandle = CHandle<CLog, GuardedDeletor<CLog>, CAtomicINT32, 0>;

    /// Messages below `level` are dropped. The log starts in blocking mode; `queueLen` is for the
    /// other one.
    explicit CLog(LEVEL level = LEVEL_DEBUG, unsigned int queueLen = 0);
    CLog(const CLog&) = delete;
    CLog& operator=(const CLog&) = delete;
    /// Writes what is queued, flushes and releases the loggers.
    ~CLog() noexcept(false);

    /// Loggers are called in the order in which they were pushed. Throws `logExp` for an empty
    /// handle.
    void PushLogger(const LoggerHandle& logger);
    /// Removes the last logger. Throws `logExp` if there is none.
    LoggerHandle PopLogger();
    /// False if it isn't there.
    bool RemoveLogger(const LoggerHandle& logger);
    bool IsLoggerExist(const LoggerHandle& logger) const;
    void GetAllLoggers(std::vector<LoggerHandle>& loggers) const;
    void ResetAllLoggers(const std::vector<LoggerHandle>& loggers);
    unsigned int GetLoggerCount() const;
    bool HasLogger() const { return GetLoggerCount() != 0; }

    /// An empty handle takes the filter away.
    void SetFilter(const FilterHandle& filter);
    FilterHandle GetFilter() const;
    bool HasFilter() const;

    LEVEL GetLevel() const;
    void SetLevel(LEVEL level);

    /// In this mode a thread of the log's own writes, and a caller waits only while `queueLen`
    /// messages are queued (0: the constructor's number; at least 1). Leaving it writes all queued
    /// messages first.
    ///
    /// `exit` leaves it for all logs, whoever holds them, and it can't be entered behind that. A
    /// forked child begins outside of it: it has no thread that would write, and what was queued is
    /// written by its parent.
    void EnableNoneBlockingMode(bool enable, unsigned int queueLen = 0);
    bool IsInNoneBlockingMode() const;
    /// Hold and free the output of the log's own thread. A fatal message, flushing, and leaving the
    /// mode free it too.
    void Pause();
    void Continue();

    void LogMsg(LEVEL level, const stringEx& module, const stringEx& message);
    [[gnu::format(printf, 4, 5)]] void LogMsg(LEVEL level, const char* module, const char* format,
                                              ...);
    /// Waits until what was logged before has been written, and flushes the loggers.
    void LogFlush();

    /// The process-wide log; empty at first.
    static LogHandle GetGlobal();
    static void SetGlobal(const LogHandle& log);
    static void Msg(LEVEL level, const stringEx& module, const stringEx& message);
    [[gnu::format(printf, 3, 4)]] static void Msg(LEVEL level, const char* module,
                                                  const char* format, ...);
    static void Flush();
    /// The last words of a process that can't go on, at fatal level, and a flush. They don't go
    /// through the queue, which may be why it can't: they are written here, behind what is queued
    /// if that is written within a few seconds, and not at all if the loggers stay busy.
    static void LastMsg(const stringEx& module, const stringEx& message);

    /// Whether any log has a logger. Takes no lock: for signal handlers.
    static bool HasAnyLogger();

    static stringEx LevelToStr(LEVEL level);

    // For each level: the same on this log, and on the process-wide one. The forms with two strings
    // are for texts that aren't formats.
#define QUIL_LOG_LEVEL(Name, level)                                                                \
    void Log##Name##Msg(const stringEx& module, const stringEx& message) {                         \
        LogMsg(level, module, message);                                                            \
    }                                                                                              \
    [[gnu::format(printf, 3, 4)]] void Log##Name##Msg(const char* module, const char* format,      \
                                                      ...) {                                       \
        va_list arguments;                                                                         \
        va_start(arguments, format);                                                               \
        __VLogMsg(level, module, format, arguments);                                               \
        va_end(arguments);                                                                         \
    }                                                                                              \
    static void Name##Msg(const stringEx& module, const stringEx& message) {                       \
        Msg(level, module, message);                                                               \
    }                                                                                              \
    [[gnu::format(printf, 2, 3)]] static void Name##Msg(const char* module, const char* format,    \
                                                        ...) {                                     \
        va_list arguments;                                                                         \
        va_start(arguments, format);                                                               \
        __VMsg(level, module, format, arguments);                                                  \
        va_end(arguments);                                                                         \
    }
    QUIL_LOG_LEVEL(Debug, LEVEL_DEBUG)
    QUIL_LOG_LEVEL(Info, LEVEL_INFO)
    QUIL_LOG_LEVEL(Warning, LEVEL_WARNING)
    QUIL_LOG_LEVEL(Error, LEVEL_ERROR)
    QUIL_LOG_LEVEL(Note, LEVEL_NOTE)
    QUIL_LOG_LEVEL(Fatal, LEVEL_FATAL)
#undef QUIL_LOG_LEVEL

private:
    void __VLogMsg(LEVEL level, const char* module, const char* format, va_list arguments);
    static void __VMsg(LEVEL level, const char* module, const char* format, va_list arguments);

    CHandle<IMPL::CLogBody, GuardedDeletor<IMPL::CLogBody>> __body;
};

/// A destination of messages. A log calls its loggers one at a time.
class ILogger {
public:
    virtual ~ILogger() noexcept(false) = default;
    virtual void OnLogMsg(const CTime& time, CLog::LEVEL level, const stringEx& module,
                          const stringEx& message) = 0;
    virtual void Flush() {}
};

/// Asked before the loggers; false drops the message.
class ILogFilter {
public:
    virtual ~ILogFilter() noexcept(false) = default;
    virtual bool IsPassed(const CTime& time, CLog::LEVEL level, const stringEx& module,
                          const stringEx& message) = 0;
};

/// Writes to a stream, which must live as long.
class CStreamLogger : public ILogger {
public:
    explicit CStreamLogger(std::ostream& stream) : __stream(stream) {}
    void OnLogMsg(const CTime& time, CLog::LEVEL level, const stringEx& module,
                  const stringEx& message) override;
    void Flush() override;

private:
    std::ostream& __stream;
};

namespace IMPL {

/// The head line of a record, with its line end: time, level tag, module. The message and an empty
/// line follow.
stringEx LogRecordHead(const CTime& time, CLog::LEVEL level, const stringEx& module);

} // namespace IMPL

} // namespace Quil
