// The process-wide log, as far as the library's own code writes to it. Nothing takes the messages
// yet.
#pragma once

#include "util/text/stringEx.h"

namespace Quil {

/// Messages to the process-wide log. Safe from every thread.
class CLog {
public:
    static void DebugMsg(const stringEx& /*category*/, const stringEx& /*text*/) {}
    static void FatalMsg(const stringEx& /*category*/, const stringEx& /*text*/) {}
    [[gnu::format(printf, 2, 3)]] static void FatalMsg(const char* /*module*/,
                                                       const char* /*format*/, ...) {}
    static void Flush() {}

    /// Whether any log has a logger. Takes no lock: for signal handlers.
    static bool HasAnyLogger() { return false; }
};

} // namespace Quil
