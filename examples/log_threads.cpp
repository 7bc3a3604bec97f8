// Four threads log to a stream and to a file at once, through a log whose own thread does the
// writing; then the file is read back.
//
// Usage: log_threads FILE

#include "util/file/FileLogger.h"
#include "util/file/dir.h"
#include "util/file/sysfile.h"
#include "util/sys/errhdl.h"
#include "util/sys/log.h"
#include "util/sys/thread.h"

#include <array>
#include <fcntl.h>
#include <iostream>

using namespace Quil;

namespace {

constexpr unsigned int QUEUE_LENGTH = 16;
constexpr int STEPS = 25;

/// A thread that reports its steps to the process-wide log.
class Worker : public TThread {
public:
    explicit Worker(int number) : m_number(number) {}
    ~Worker() noexcept(false) override {
        TryStop();
        Wait();
    }

private:
    int _Entry() override {
        for (int step = 1; step <= STEPS && !_ShouldStop(); ++step) {
            CLog::InfoMsg("worker", "worker %d, step %d", m_number, step);
            CLog::DebugMsg("worker", "of interest to nobody"); // below the threshold
        }
        return 0;
    }

    int m_number;
};

void LogFromThreads(const stringEx& path) {
    CSysFile file;
    file.Open(path, CSysFile::ACCESS_WRITE, CSysFile::CREATE + O_TRUNC, 0, 0644, 0);
    const CLog::LogHandle log(new CLog(CLog::LEVEL_INFO, QUEUE_LENGTH));
    log->PushLogger(CLog::LoggerHandle(new CStreamLogger(std::cout)));
    log->PushLogger(CLog::LoggerHandle(new CFileLogger<CSysFile>(file)));
    log->EnableNoneBlockingMode(true);
    CLog::SetGlobal(log);

    std::array<Worker, 4> workers{Worker(1), Worker(2), Worker(3), Worker(4)};
    for (Worker& worker : workers) {
        worker.Create();
        worker.Run();
    }
    for (const Worker& worker : workers) {
        worker.Wait();
    }
    CLog::NoteMsg("main", "all workers are done");
    CLog::SetGlobal(CLog::LogHandle());
    log->EnableNoneBlockingMode(false); // what is still queued is written now
    log->LogFlush();
}

unsigned int CountRecords(const stringEx& path, const stringEx& module) {
    stringEx text;
    CDir::ReadFile(path, text);
    const stringEx mark("(" + module + ")\n");
    unsigned int count = 0;
    for (unsigned int at = text.find(mark); at != stringEx::npos; at = text.find(mark, at + 1)) {
        ++count;
    }
    return count;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2) {
        std::cerr << "usage: log_threads FILE\n";
        return 2;
    }
    try {
        LogFromThreads(argv[1]);
        std::cout << CountRecords(argv[1], "worker") << " records of the workers in the file\n";
        return 0;
    } catch (const qlExp& failure) {
        std::cerr << failure.GetErrString() << "\n";
        return 1;
    }
}
