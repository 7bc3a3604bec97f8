#include "tool/ParallelPass.h"

#include "tool/FilePass.h"
#include "tool/Progress.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <chrono>

namespace Quil {

namespace {

constexpr std::chrono::milliseconds INTERVAL(100);

/// Files that are taken together: enough that taking them costs nothing, and so few that no worker
/// is left with the last ones.
std::size_t GroupSize(std::size_t files, unsigned int jobs) {
    constexpr std::size_t MOST = 256;
    constexpr std::size_t TURNS = 16;
    return std::clamp<std::size_t>(files / (TURNS * jobs), 1, MOST);
}

} // namespace

class CParallelPass::CWorker final : public TThread {
public:
    explicit CWorker(CParallelPass& pass) : __pass(pass) {}
    ~CWorker() override {
        TryStop(); // if it hasn't begun
        Wait();
    }

private:
    int _Entry() override {
        __pass.__Work();
        return 0;
    }

    CParallelPass& __pass;
};

CParallelPass::CParallelPass(const Run& run)
    : __run(run), __groupSize(GroupSize(run.fileList.size(), run.jobs)),
      __groups((run.fileList.size() + __groupSize - 1) / __groupSize), __working(0) {
    const std::size_t wanted = std::min<std::size_t>(run.jobs, __groups.size());
    __workers.reserve(wanted);
    try {
        while (__workers.size() < wanted && __AddWorker()) {
        }
    } catch (...) {
        __isStopped = true;
        throw;
    }
}

/// False if the system gives no more threads; those that are there do, if there is one.
bool CParallelPass::__AddWorker() {
    auto worker = std::make_unique<CWorker>(*this);
    try {
        worker->Create();
    } catch (const threadExp&) {
        if (__workers.empty()) {
            throw;
        }
        return false;
    }
    {
        const std::lock_guard lock(__mutex);
        ++__working;
    }
    __workers.push_back(std::move(worker));
    __workers.back()->Run();
    return true;
}

CParallelPass::~CParallelPass() {
    __isStopped = true;
    __workers.clear();
}

/// A failure ends the run, as it would with one thread.
void CParallelPass::__Work() {
    std::exception_ptr failure;
    try {
        __PassGroups();
    } catch (...) {
        failure = std::current_exception();
        __isStopped = true;
    }
    const std::lock_guard lock(__mutex);
    __failure = __failure ? __failure : failure;
    --__working;
    __isDone.notify_one();
}

void CParallelPass::__PassGroups() {
    CFilePass pass(__run);
    CSignalWatch watch;
    for (;;) {
        const std::size_t group = __next++;
        if (group >= __groups.size() || __isStopped) {
            break;
        }
        const std::size_t begin = group * __groupSize;
        const std::size_t end = std::min(begin + __groupSize, __run.fileList.size());
        std::vector<FILE_RESULT> results;
        for (std::size_t i = begin; i < end && !watch.HasCome(); ++i) {
            results.push_back(pass.PassFile(__run.fileList[i], &__locks));
        }
        __isStopped = __isStopped || results.size() < end - begin;
        const std::lock_guard lock(__mutex);
        __groups[group] = std::move(results);
        if (group == __awaited) {
            __isDone.notify_one();
        }
    }
}

std::optional<FILE_RESULT> CParallelPass::Next() {
    if (__place == __current.size()) {
        __TakeGroup();
        if (__current.empty()) {
            return std::nullopt;
        }
    }
    ++__given;
    FILE_RESULT result = std::move(__current[__place++]);
    return result.file ? __locks.TakeResult(*result.file) : std::move(result);
}

/// Waits for the next group, which is empty if there is none any more. Throws what ended a worker.
void CParallelPass::__TakeGroup() {
    __place = 0;
    __current.clear();
    if (__awaited == __groups.size() || __given != __awaited * __groupSize) {
        return; // behind the last one, or one that wasn't done to its end
    }
    std::unique_lock lock(__mutex);
    while (!__isDone.wait_for(lock, INTERVAL,
                              [&] { return !__groups[__awaited].empty() || __working == 0; })) {
        __run.progress->Update();
        if (std::ranges::all_of(__workers, [](const auto& worker) { return worker->TryWait(); })) {
            break; // one may have ended before it came to its work
        }
    }
    __current.swap(__groups[__awaited++]);
    if (!__current.empty()) {
        return;
    }
    if (__failure) {
        std::rethrow_exception(__failure);
    }
    if (!__isStopped) {
        throw threadExp(0, stringEx("CParallelPass - the threads have ended before their work"));
    }
}

} // namespace Quil
