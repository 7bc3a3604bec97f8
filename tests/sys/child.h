// Deeds that end a process, done in a child, and what it logged until then.
#pragma once

#include "util/sys/log.h"
#include "util/sys/time.h"

#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Quil::TEST {

/// Writes the message to a descriptor, and then does what the test says.
class CPipeLogger : public ILogger {
public:
    CPipeLogger(int descriptor, std::function<void()> then)
        : __descriptor(descriptor), __then(std::move(then)) {}
    void OnLogMsg(const CTime&, CLog::LEVEL, const stringEx& module,
                  const stringEx& message) override {
        const stringEx text = module + ": " + message + "\n";
        if (write(__descriptor, text.data(), text.length()) < 0) {
            _exit(99);
        }
        if (__then) {
            __then();
        }
    }

private:
    int __descriptor;
    std::function<void()> __then;
};

struct ENDING {
    int status;
    std::string log;
};

/// What becomes of a child that does `deed` with a log whose logger then does `then`.
inline ENDING InChild(const std::function<void()>& deed,
                      const std::function<void()>& then = nullptr) {
    int ends[2];
    if (pipe(ends) != 0) {
        return {-1, "no pipe"};
    }
    const pid_t child = fork();
    if (child == 0) {
        alarm(20); // a hang fails the test instead of stopping it
        const CLog::LogHandle log(new CLog);
        log->PushLogger(CLog::LoggerHandle(new CPipeLogger(ends[1], then)));
        CLog::SetGlobal(log);
        deed();
        _exit(0);
    }
    close(ends[1]);
    ENDING ending{};
    char block[4096];
    for (ssize_t n = 0; (n = read(ends[0], block, sizeof block)) > 0;) {
        ending.log.append(block, static_cast<std::size_t>(n));
    }
    close(ends[0]);
    waitpid(child, &ending.status, 0);
    ending.status =
        WIFEXITED(ending.status) ? WEXITSTATUS(ending.status) : -WTERMSIG(ending.status);
    return ending;
}

} // namespace Quil::TEST
