// The log as its users see it. Each operation goes to the body, and whatever is taken out under a
// lock is released after it, since a release may run foreign code.
#include "util/sys/log.h"

#include "util/base/CancelHold.h"
#include "util/base/Immortal.h"
#include "util/sys/advSync.h"
#include "util/sys/errhdl.h"
#include "util/sys/log/LogBody.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <ostream>

namespace Quil {

namespace {

using LoggerVector = std::vector<CLog::LoggerHandle>;

/// The process-wide log. The lock of all logs guards it, and is never held while a log is called or
/// released.
constinit IMPL::CImmortal<CLog::LogHandle> globalLog;

/// What a global log has queued is written when the program ends.
void ReleaseGlobalAtExit() {
    static constinit std::atomic<bool> isRegistered{false};
    if (!isRegistered.exchange(true)) {
        std::atexit([] {
            try {
                CLog::SetGlobal(CLog::LogHandle());
            } catch (...) {
                return; // there is nobody left to tell
            }
        });
    }
}

stringEx Formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    // The analyzer doesn't see that the list is copied.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length <= 0) {
        return stringEx();
    }
    stringEx text(static_cast<unsigned int>(length), ' ');
    std::vsnprintf(text.ref(), static_cast<std::size_t>(length) + 1, format, arguments);
    return text;
}

} // namespace

// --- The object ----------------------------------------------------------------------------------

CLog::CLog(LEVEL level, unsigned int queueLen) : __body(new IMPL::CLogBody(level, queueLen)) {}

CLog::~CLog() noexcept(false) {
    const IMPL::CCancelHold hold;
    try {
        __body->Shut();
    } catch (...) {
        IMPL::PassThreadEnd();
        if (std::uncaught_exceptions() == 0) {
            throw;
        }
    }
}

void CLog::PushLogger(const LoggerHandle& logger) {
    if (!logger) {
        throw logExp(0, "CLog::PushLogger - invalid logger handle");
    }
    __body->WithLoggers([&](LoggerVector& loggers) { loggers.push_back(logger); });
}

CLog::LoggerHandle CLog::PopLogger() {
    return __body->WithLoggers([](LoggerVector& loggers) {
        if (loggers.empty()) {
            throw logExp(0, "CLog::PopLogger - nothing to pop");
        }
        LoggerHandle last = loggers.back();
        loggers.pop_back();
        return last;
    });
}

bool CLog::RemoveLogger(const LoggerHandle& logger) {
    LoggerHandle removed; // released after the lock
    return __body->WithLoggers([&](LoggerVector& loggers) {
        const auto found = std::ranges::find(loggers, logger);
        if (found == loggers.end()) {
            return false;
        }
        removed = *found;
        loggers.erase(found);
        return true;
    });
}

bool CLog::IsLoggerExist(const LoggerHandle& logger) const {
    return __body->LookAtLoggers([&](const LoggerVector& loggers) {
        return std::ranges::find(loggers, logger) != loggers.end();
    });
}

void CLog::GetAllLoggers(LoggerVector& loggers) const {
    LoggerVector copied; // exchanged after the lock, since that may release loggers
    __body->LookAtLoggers([&](const LoggerVector& present) { copied = present; });
    loggers.swap(copied);
}

void CLog::ResetAllLoggers(const LoggerVector& loggers) {
    if (std::ranges::any_of(loggers, [](const LoggerHandle& logger) { return !logger; })) {
        throw logExp(0, "CLog::PushLogger - invalid logger handle");
    }
    LoggerVector exchanged(loggers); // afterwards the old ones, released after the lock
    __body->WithLoggers([&](LoggerVector& present) { present.swap(exchanged); });
}

unsigned int CLog::GetLoggerCount() const {
    return __body->LookAtLoggers(
        [](const LoggerVector& loggers) { return static_cast<unsigned int>(loggers.size()); });
}

void CLog::SetFilter(const FilterHandle& filter) {
    __body->SetFilter(filter);
}

CLog::FilterHandle CLog::GetFilter() const {
    return __body->GetFilter();
}

bool CLog::HasFilter() const {
    return static_cast<bool>(__body->GetFilter());
}

CLog::LEVEL CLog::GetLevel() const {
    return __body->GetLevel();
}

void CLog::SetLevel(LEVEL level) {
    __body->SetLevel(level);
}

void CLog::EnableNoneBlockingMode(bool enable, unsigned int queueLen) {
    const CHandle body = __body;
    if (enable) {
        body->EnterMode(body, queueLen);
    } else {
        body->LeaveMode();
    }
}

bool CLog::IsInNoneBlockingMode() const {
    return __body->IsInMode();
}

void CLog::Pause() {
    __body->Pause();
}

void CLog::Continue() {
    __body->Continue();
}

void CLog::LogMsg(LEVEL level, const stringEx& module, const stringEx& message) {
    if (__body->IsPassing(level)) {
        const CHandle body = __body; // a logger may destroy this object
        body->Log(level, module, message);
    }
}

void CLog::LogMsg(LEVEL level, const char* module, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    __VLogMsg(level, module, format, arguments);
    va_end(arguments);
}

void CLog::__VLogMsg(LEVEL level, const char* module, const char* format, va_list arguments) {
    if (__body->IsPassing(level)) {
        LogMsg(level, stringEx(module), Formatted(format, arguments));
    }
}

void CLog::LogFlush() {
    const CHandle body = __body;
    body->Flush();
}

// --- The process-wide log ------------------------------------------------------------------------

CLog::LogHandle CLog::GetGlobal() {
    const CFastSessionLock lock(IMPL::CLogBody::ProcessLock());
    return globalLog.Get();
}

void CLog::SetGlobal(const LogHandle& log) {
    ReleaseGlobalAtExit();
    LogHandle exchanged(log); // afterwards the old one, released after the lock
    const CFastSessionLock lock(IMPL::CLogBody::ProcessLock());
    globalLog.Get().swap(exchanged);
}

void CLog::Msg(LEVEL level, const stringEx& module, const stringEx& message) {
    if (!HasAnyLogger()) {
        return;
    }
    if (const LogHandle log = GetGlobal()) {
        log->LogMsg(level, module, message);
    }
}

void CLog::Msg(LEVEL level, const char* module, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    __VMsg(level, module, format, arguments);
    va_end(arguments);
}

void CLog::__VMsg(LEVEL level, const char* module, const char* format, va_list arguments) {
    if (!HasAnyLogger()) {
        return;
    }
    if (const LogHandle log = GetGlobal()) {
        log->__VLogMsg(level, module, format, arguments);
    }
}

void CLog::Flush() {
    if (const LogHandle log = GetGlobal()) {
        log->LogFlush();
    }
}

void CLog::LastMsg(const stringEx& module, const stringEx& message) {
    if (const LogHandle log = GetGlobal()) {
        if (log->__body->IsPassing(LEVEL_FATAL)) {
            log->__body->LogLast(module, message);
        }
    }
}

bool CLog::HasAnyLogger() {
    return IMPL::CLogBody::HasAnyLogger();
}

// --- Texts ---------------------------------------------------------------------------------------

stringEx CLog::LevelToStr(LEVEL level) {
    switch (level) {
    case LEVEL_DEBUG:
        return "debug only";
    case LEVEL_INFO:
        return "info";
    case LEVEL_WARNING:
        return "warning";
    case LEVEL_ERROR:
        return "error";
    case LEVEL_NOTE:
        return "important notes";
    case LEVEL_FATAL:
        return "fatal error";
    case LEVEL_DISABLED:
        return "disabled";
    }
    return "unknown";
}

stringEx IMPL::LogRecordHead(const CTime& time, CLog::LEVEL level, const stringEx& module) {
    constexpr const char* TAGS[] = {"Debug]   ", "Info]    ", "Warning] ",
                                    "Error]   ", "Note]    ", "Fatal]   "};
    const bool isKnown = level >= CLog::LEVEL_DEBUG && level <= CLog::LEVEL_FATAL;
    stringEx head("[");
    head << time.Format("%Y-%M-%d %H:%T:%S.%us UTC%Z") << "]["
         << (isKnown ? TAGS[level] : "Unknown] ") << '(' << module << ")\n";
    return head;
}

void CStreamLogger::OnLogMsg(const CTime& time, CLog::LEVEL level, const stringEx& module,
                             const stringEx& message) {
    __stream << IMPL::LogRecordHead(time, level, module) << message << "\n\n";
}

void CStreamLogger::Flush() {
    try {
        __stream.flush();
    } catch (...) { // its buffer's own failure, too; its state tells those who ask
        IMPL::PassThreadEnd();
    }
}

} // namespace Quil
