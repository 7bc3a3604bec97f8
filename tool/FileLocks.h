// Which files are being worked on, whatever their names, so that no two threads change one.
//
// A file that is named twice is replaced twice, and it doesn't matter to its bytes which name's
// turn comes first; but it does to the counts. So what came of a file is noted with the file, in
// the order in which that was done, and the names get it in theirs. Once nothing comes of a file
// any more, nothing will: so that needn't be noted.
#pragma once

#include "tool/file_result.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

namespace Quil {

/// The files of a run. For all of its threads.
class CFileLocks {
public:
    /// Number of files that were changed so far.
    std::uint64_t GetChanges() const { return __changes; }
    /// Waits until nobody else has the file. Answers whether it may have been changed since there
    /// were so many changes.
    bool Lock(const FILE_ID& id, std::uint64_t changes);
    /// Gives it back with what came of it.
    void Unlock(const FILE_ID& id, FILE_RESULT result);
    /// Takes the oldest result of the file that wasn't taken yet.
    FILE_RESULT TakeResult(const FILE_ID& id);

private:
    std::mutex __mutex;
    std::condition_variable __isFree;
    std::vector<FILE_ID> __locked; ///< not more than there are threads
    unsigned int __waiting = 0;
    std::map<FILE_ID, std::vector<FILE_RESULT>> __results;
    std::atomic<std::uint64_t> __changes{0};
    std::atomic<std::size_t> __pending{0}; ///< results that weren't taken
};

} // namespace Quil
