#include "util/sys/process/Starter.h"

#include "util/sys/errhdl.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Quil::IMPL {

namespace {

enum STEP { GROUP, STREAMS, FOLDER, CLOSING, PROGRAM };

const char* const STEPS[] = {"can't make a group", "can't redirect a stream",
                             "can't enter the folder", "can't close what isn't its own",
                             "can't start the program"};

[[noreturn]] void Throw(const char* what, int error, const stringEx& detail) {
    stringEx message("CProcess::CProcess - ");
    message.append(what).append("\n  program     = ").append(detail);
    message.append("\n  description = ").append(GetSysErrString(static_cast<unsigned long>(error)));
    throw procExp(static_cast<unsigned int>(error), message);
}

/// The system may have no more than its older call.
int CloseOnExecFrom(unsigned int first) {
#ifdef SYS_close_range
    constexpr unsigned int ON_EXEC = 4;
    if (::syscall(SYS_close_range, first, ~0U, ON_EXEC) == 0) {
        return 0;
    }
#endif
    const long most = ::sysconf(_SC_OPEN_MAX);
    for (int descriptor = static_cast<int>(first); descriptor < most; ++descriptor) {
        ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
    return 0;
}

} // namespace

CStarter::CStarter(const PROCESS_START& start) : __start(start) {
    if (start.arguments.empty() || start.arguments.front().empty()) {
        Throw("no program is named", EINVAL, stEMPTY);
    }
    const auto add = [](std::vector<char*>& list, const std::vector<stringEx>& texts) {
        for (const stringEx& text : texts) {
            list.push_back(const_cast<char*>(text.c_str())); // as the system's call wants it
        }
        list.push_back(nullptr);
    };
    add(__arguments, start.arguments);
    if (start.environment) {
        add(__environment, *start.environment);
    }
    __ListPrograms();
    const STREAM_TO* const streams[] = {&start.in, &start.out, &start.err};
    for (int stream = 0; stream < 3; ++stream) {
        __Open(stream, *streams[stream]);
    }
}

void CStarter::__Open(int stream, const STREAM_TO& to) {
    constexpr mode_t MODE = 0666;
    const bool isInput = stream == STDIN_FILENO;
    const auto take = [&](const char* path, int flags) {
        __streams[stream] = CDescriptor(::open(path, flags | O_CLOEXEC, MODE));
        if (!__streams[stream].IsOpen()) {
            Throw("can't open a file for it", errno, stringEx(path));
        }
        __given[stream] = __streams[stream].Get();
    };
    switch (to.kind) {
    case STREAM_TO::SAME:
        break;
    case STREAM_TO::NOTHING:
        take("/dev/null", O_RDWR);
        break;
    case STREAM_TO::PIPE: {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            Throw("can't make a pipe", errno, __start.arguments.front());
        }
        __streams[stream] = CDescriptor(ends[isInput ? 0 : 1]);
        __ends[stream] = CDescriptor(ends[isInput ? 1 : 0]);
        __given[stream] = __streams[stream].Get();
        break;
    }
    case STREAM_TO::READ:
        take(to.path.c_str(), O_RDONLY);
        break;
    case STREAM_TO::WRITE:
        take(to.path.c_str(), O_WRONLY | O_CREAT | O_TRUNC);
        break;
    case STREAM_TO::APPEND:
        take(to.path.c_str(), O_WRONLY | O_CREAT | O_APPEND);
        break;
    case STREAM_TO::DESCRIPTOR:
        __given[stream] = to.descriptor;
        break;
    case STREAM_TO::OUTPUT:
        __given[stream] = __given[STDOUT_FILENO] != -1 ? __given[STDOUT_FILENO] : STDOUT_FILENO;
        break;
    }
}

/// PATH is that of this process, as a shell has it; an empty part of it is the working folder.
void CStarter::__ListPrograms() {
    const std::string program = __start.arguments.front().c_str();
    if (program.find('/') != std::string::npos) {
        __programs.push_back(program);
        return;
    }
    const char* const set = std::getenv("PATH");
    std::string_view path = set != nullptr ? set : "/usr/bin:/bin";
    for (;;) {
        const std::size_t end = std::min(path.find(':'), path.size());
        std::string& place = __programs.emplace_back(path.substr(0, end));
        place.append(place.empty() ? "" : "/").append(program);
        if (end == path.size()) {
            break;
        }
        path.remove_prefix(end + 1);
    }
}

pid_t CStarter::Start() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        Throw("can't make a pipe", errno, __start.arguments.front());
    }
    CDescriptor ear(ends[0]);
    CDescriptor mouth(ends[1]);
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before); // no handler of ours runs in the copy
    const pid_t id = ::fork();
    const int error = errno;
    if (id == 0) {
        ::sigemptyset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
        __Become(mouth.Get());
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (id < 0) {
        Throw("can't make a process", error, __start.arguments.front());
    }
    mouth.Close();
    REPORT report = {};
    ssize_t count = 0;
    do {
        count = ::read(ear.Get(), &report, sizeof report);
    } while (count < 0 && errno == EINTR);
    if (count == sizeof report) {
        while (::waitpid(id, nullptr, 0) < 0 && errno == EINTR) {
        }
        Throw(STEPS[report.step], report.error,
              report.step == FOLDER ? __start.folder : __start.arguments.front());
    }
    return id;
}

void CStarter::__Fail(int tell, int step) {
    constexpr int NOT_STARTED = 127;
    const REPORT report{step, errno};
    while (::write(tell, &report, sizeof report) < 0 && errno == EINTR) {
    }
    ::_exit(NOT_STARTED);
}

/// In the copy, in which other threads may hold any lock: nothing here takes one.
void CStarter::__Become(int tell) {
    // What pipes and files are copied from must not be overwritten by a copy of another one.
    constexpr int FIRST_FREE = 3;
    tell = ::fcntl(tell, F_DUPFD_CLOEXEC, FIRST_FREE);
    if (__start.hasGroup && ::setpgid(0, 0) != 0) {
        __Fail(tell, GROUP);
    }
    for (int& given : __given) {
        if (given != -1 && (given = ::fcntl(given, F_DUPFD_CLOEXEC, FIRST_FREE)) < 0) {
            __Fail(tell, STREAMS);
        }
    }
    for (int stream = 0; stream < FIRST_FREE; ++stream) {
        if (__given[stream] != -1 && ::dup2(__given[stream], stream) < 0) {
            __Fail(tell, STREAMS);
        }
    }
    if (!__start.folder.empty() && ::chdir(__start.folder.c_str()) != 0) {
        __Fail(tell, FOLDER);
    }
    if (CloseOnExecFrom(FIRST_FREE) != 0) {
        __Fail(tell, CLOSING);
    }
    int error = ENOENT;
    for (const std::string& program : __programs) {
        ::execve(program.c_str(), __arguments.data(),
                 __start.environment ? __environment.data() : environ);
        if (errno != ENOENT && errno != ENOTDIR) {
            error = errno; // one that is there and can't be started says more
        }
    }
    errno = error;
    __Fail(tell, PROGRAM);
}

} // namespace Quil::IMPL
