// Other programs: started without a shell, talked to, waited for.
//
// A program is started by a copy of this process that becomes it. What complicates it: the copy
// may fail at any step before that, and then must tell why to the one that waits; it must take
// nothing along but what it is given; and somebody must ask for how it ended, or it stays.
#pragma once

#include "util/base/Descriptor.h"
#include "util/base/visibility.h"
#include "util/text/stringEx.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace QUIL_PUBLIC Quil {

/// Where one of a program's three streams goes to or comes from.
struct STREAM_TO {
    enum KIND {
        SAME,       ///< that of this process
        NOTHING,    ///< the null device
        PIPE,       ///< this process, by the descriptor that CProcess answers
        READ,       ///< the file at `path`
        WRITE,      ///< the same, which is made anew
        APPEND,     ///< the same, at its end
        DESCRIPTOR, ///< `descriptor`, which stays the caller's
        OUTPUT,     ///< of standard error: where standard output goes
    };

    KIND kind = SAME;
    stringEx path{};
    int descriptor = -1;
};

/// What is started, and how.
struct PROCESS_START {
    /// The program and its arguments. A program without a slash is looked for in PATH.
    std::vector<stringEx> arguments;
    /// Its environment, as "NAME=value"; none: that of this process.
    std::optional<std::vector<stringEx>> environment{};
    stringEx folder{}; ///< that it works in; empty: that of this process
    STREAM_TO in{};
    STREAM_TO out{};
    STREAM_TO err{};
    bool hasGroup = false; ///< it leads a group of its own, to which what it starts belongs

    /// What the shell makes of a line: for lines that a person has written, never for names that
    /// come from elsewhere.
    static PROCESS_START Shell(const stringEx& line) { return {{"/bin/sh", "-c", line}}; }
};

/// How a program ended, and what it took.
struct PROCESS_END {
    int code = 0;   ///< its exit code, unless a signal ended it
    int signal = 0; ///< that ended it, or 0
    std::chrono::microseconds user{};
    std::chrono::microseconds system{};
    std::uint64_t peakBytes = 0; ///< of memory

    bool IsSuccess() const { return code == 0 && signal == 0; }
};

/// A program that was started. It is ended, by SIGKILL, and waited for when the object goes before
/// the program does. All else that this process has open is closed to it. For one thread.
class CProcess {
public:
    using LIMIT = std::optional<std::chrono::milliseconds>; ///< none: as long as it takes

    /// Starts it. Throws `procExp` with the system's error number as its code, and a message that
    /// says which step failed: also those that only the new process can do.
    explicit CProcess(const PROCESS_START& start);
    CProcess(const CProcess&) = delete;
    CProcess& operator=(const CProcess&) = delete;
    ~CProcess();

    pid_t GetId() const { return __id; }

    // The ends of its pipes, or -1. They belong to the object.

    int GetInput() const { return __input.Get(); }
    int GetOutput() const { return __output.Get(); }
    int GetErrors() const { return __errors.Get(); }
    /// What comes next is the end of its input.
    void CloseInput() { __input.Close(); }

    /// Waits for its end. Null if the limit came first.
    const PROCESS_END* Wait(const LIMIT& limit = {});
    /// Null as long as it runs, as far as it was asked.
    const PROCESS_END* GetEnd() const { return __end ? &*__end : nullptr; }

    /// Sends it a signal, or all of its group if it has one. No effect behind its end.
    void Signal(int signal);

    /// What it wrote to its pipes.
    struct OUTPUTS {
        stringEx out;
        stringEx err;
    };
    /// Gives it the input, reads both outputs to their ends, in whatever order they come, and waits
    /// for its own. Null if the limit came first; what came until then is in `outputs`.
    const PROCESS_END* Communicate(OUTPUTS& outputs, const stringEx& input = stEMPTY,
                                   const LIMIT& limit = {});

private:
    bool __Reap(bool mayWait);

    pid_t __id = 0;
    bool __hasGroup;
    IMPL::CDescriptor __input;
    IMPL::CDescriptor __output;
    IMPL::CDescriptor __errors;
    IMPL::CDescriptor __watch; ///< readable at its end, where the system offers that
    std::optional<PROCESS_END> __end;
};

} // namespace Quil
