// The library's one way of failing: an exception class for each area, all of one shape, with a
// message that the thrower writes.
//
// A message is a head line, "Class::Method - what failed", and detail lines: two blanks, a key, an
// equal sign, the value. The classes exist to be caught by kind: `ioExp` takes all trouble with
// files and folders, `qlExp` takes everything.
//
// Below that stands the net for what nobody can catch: an exhausted heap, an exception without a
// handler, a crash signal. It is put up before `main` by the first source file that includes this
// header, writes what it knows to the process-wide log, and ends the process with -1.
#pragma once

#include "util/base/InitGuard.h"
#include "util/base/visibility.h"
#include "util/text/stringEx.h"

namespace QUIL_PUBLIC Quil {

class wstringEx;

/// Root of the family. Not derived from `std::exception`: what the library reports and what the
/// language's runtime reports are caught apart.
class qlExp {
public:
    /// `code` is a system error number or a code of the area, 0 when there is none.
    qlExp(unsigned int code, const stringEx& message) : __message(message), __code(code) {
        __message.detach_if_static(); // a view may be on memory that the throw leaves behind
    }
    qlExp(const qlExp&) = default;
    qlExp& operator=(const qlExp&) = default;
    virtual ~qlExp() = default;

    /// The whole message; the copy shares its block.
    stringEx GetErrString() const { return __message; }
    unsigned int GetErrCode() const { return __code; }

private:
    stringEx __message;
    unsigned int __code;
};

// Each class adds nothing but its place in the tree.
// NOLINTBEGIN(bugprone-macro-parentheses): names of classes can't be in parentheses
#define QUIL_EXCEPTION(name, parent)                                                               \
    class name : public parent {                                                                   \
    public:                                                                                        \
        using parent::parent;                                                                      \
    }
// NOLINTEND(bugprone-macro-parentheses)

QUIL_EXCEPTION(utilExp, qlExp);

QUIL_EXCEPTION(ioExp, utilExp);
QUIL_EXCEPTION(dirExp, ioExp);
QUIL_EXCEPTION(isxfExp, ioExp);
QUIL_EXCEPTION(shmemExp, ioExp);
QUIL_EXCEPTION(fileExp, ioExp);
QUIL_EXCEPTION(sysfileExp, fileExp);
QUIL_EXCEPTION(pipeExp, sysfileExp);
QUIL_EXCEPTION(cfileExp, fileExp);
QUIL_EXCEPTION(fmppExp, fileExp);

QUIL_EXCEPTION(syssrvExp, utilExp);
QUIL_EXCEPTION(tconvExp, syssrvExp);
QUIL_EXCEPTION(libiconvExp, tconvExp);
QUIL_EXCEPTION(libicuExp, tconvExp);
QUIL_EXCEPTION(dlllExp, syssrvExp);
QUIL_EXCEPTION(threadExp, syssrvExp);
QUIL_EXCEPTION(timeExp, syssrvExp);
QUIL_EXCEPTION(procExp, syssrvExp);
QUIL_EXCEPTION(regExp, syssrvExp);
QUIL_EXCEPTION(tlsExp, syssrvExp);

QUIL_EXCEPTION(syncExp, utilExp);
QUIL_EXCEPTION(mutexExp, syncExp);
QUIL_EXCEPTION(semExp, syncExp);
QUIL_EXCEPTION(eventExp, syncExp);

QUIL_EXCEPTION(auxExp, utilExp);
QUIL_EXCEPTION(logExp, auxExp);
QUIL_EXCEPTION(csvExp, auxExp);

#undef QUIL_EXCEPTION

/// The calling thread's `errno`.
unsigned long GetSysLastError();

/// What the system says of an error number, without a line end.
stringEx GetSysErrString(unsigned long code);
/// The same as wide text.
wstringEx GetSysErrStringW(unsigned long code);

/// Ignores SIGUSR1, SIGUSR2, each on its flag.
void IgnoreSigUsr(bool usr1, bool usr2);

/// Ends the process with -1 at once: no destructors, nothing of `atexit`, no streams written out.
/// With `flushLog` the log is flushed first, as far as that is done within a few seconds.
[[noreturn]] void util_FatalExit(bool flushLog);

/// Puts up the signal dispositions and handlers again, for a program that has changed them. The
/// calling thread gets the stack on which a crash is handled.
void util_ResetOsErrHdl();

namespace IMPL {

/// The handlers of last resort. None of them returns or throws, and each ends within a few seconds,
/// whatever the loggers do.
/// @{

/// No memory in `operator new`.
[[noreturn]] void NewHandler();
/// An exception that nobody may catch.
[[noreturn]] void TerminateHandler();
/// An exception against an exception specification, to be called while it is handled. The language
/// has no such call any more, so nothing installs it.
[[noreturn]] void UnexpectHandler();
/// @}

/// What the exception that is being handled says of itself. To be called from a catch clause.
stringEx CurrentExceptionText();

/// The net is up as soon as the first source file's statics are.
class impInitGuardForQuilUtilErrHdlDepend : public TInitGuard<impInitGuardForQuilUtilErrHdlDepend> {
    friend TInitGuard;
    static void __Init() { util_ResetOsErrHdl(); }
};

static const impInitGuardForQuilUtilErrHdlDepend s_initGuardForErrHdl;

} // namespace IMPL

} // namespace Quil
