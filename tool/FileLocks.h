// Which files are being worked on, whatever their names, so that no two threads change one.
//
// A file that is named twice is replaced twice, and it doesn't matter to its bytes which name's
// turn comes first; but it does to the counts. So what came of a file is noted with the file, in
// the order in which that was done, and the names get it in theirs.
#pragma once

#include "tool/file_result.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>

namespace Quil {

/// The files of a run. For all of its threads.
class CFileLocks {
public:
    /// Waits until nobody else has the file.
    void Lock(const FILE_ID& id);
    /// Gives it back with what came of it.
    void Unlock(const FILE_ID& id, FILE_RESULT result);
    /// Takes the oldest result of the file that wasn't taken yet: there must be one.
    FILE_RESULT TakeResult(const FILE_ID& id);

private:
    struct ENTRY {
        bool isLocked = false;
        unsigned int users = 0; ///< who has it, and who waits
        std::deque<FILE_RESULT> results;
    };

    std::mutex __mutex;
    std::condition_variable __isFree;
    std::map<FILE_ID, ENTRY> __entries;
};

} // namespace Quil
