// Several files at once, told of one after the other.
//
// Workers take the files in their order, a few at a time, and note what came of them; the thread
// that started them adds that up in the order of the list. So nothing that is printed, counted or
// written depends on who was faster.
#pragma once

#include "tool/FileLocks.h"
#include "tool/run.h"
#include "util/sys/thread.h"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <vector>

namespace Quil {

/// A pass over the files of a run by so many threads. One that a signal is to end goes on with the
/// files that are begun. For the program's main thread.
class CParallelPass {
public:
    explicit CParallelPass(const Run& run);
    ~CParallelPass();
    CParallelPass(const CParallelPass&) = delete;
    CParallelPass& operator=(const CParallelPass&) = delete;

    /// Waits for the result of the next file of the list. Nothing once all were given, or the rest
    /// isn't begun any more.
    std::optional<FILE_RESULT> Next();

private:
    class CWorker;

    bool __AddWorker();
    void __Work();
    void __PassGroups();
    void __TakeGroup();

    const Run& __run;
    CFileLocks __locks;
    CHeldSignals __untilDone;
    std::size_t __groupSize;
    std::vector<std::vector<FILE_RESULT>> __groups; ///< by the order of the files; empty: not done
    std::atomic<std::size_t> __next{0};             ///< the first group that nobody has taken
    std::atomic<bool> __isStopped{false};
    std::size_t __given = 0;            ///< results
    std::vector<FILE_RESULT> __current; ///< the group that is being given
    std::size_t __place = 0;            ///< the next result of it
    std::size_t __awaited = 0;          ///< the group behind it
    unsigned int __working;             ///< workers that aren't at their end
    std::exception_ptr __failure;       ///< that ended a worker
    std::mutex __mutex;                 ///< over the groups and the three lines above
    std::condition_variable __isDone;
    std::vector<std::unique_ptr<CWorker>> __workers;
};

} // namespace Quil
