// The way from a process to a program that it starts: all that needs memory is made before the
// copy, which then only asks the system for things.
#pragma once

#include "util/sys/Process.h"

#include <string>
#include <vector>

namespace Quil::IMPL {

/// Prepares a start, and does it once. For one thread.
class CStarter {
public:
    /// Opens what is to be opened. Throws `procExp`.
    explicit CStarter(const PROCESS_START& start);

    /// The new process' number. Throws `procExp` with what it tells of its own steps.
    pid_t Start();

    /// This process' ends of the pipes; none where there is no pipe.
    CDescriptor TakeEnd(int stream) { return std::move(__ends[stream]); }

private:
    /// What the new process tells of a failure.
    struct REPORT {
        int step;
        int error;
    };

    void __Open(int stream, const STREAM_TO& to);
    void __ListPrograms();
    [[noreturn]] void __Become(int tell);
    [[noreturn]] static void __Fail(int tell, int step);

    const PROCESS_START& __start;
    std::vector<char*> __arguments;
    std::vector<char*> __environment;
    std::vector<std::string> __programs; ///< where the program may be
    CDescriptor __streams[3];            ///< those that were opened for it
    CDescriptor __ends[3];
    int __given[3] = {-1, -1, -1}; ///< what its streams are copies of; -1: as they are
};

} // namespace Quil::IMPL
