#include "tool/FileLocks.h"

namespace Quil {

void CFileLocks::Lock(const FILE_ID& id) {
    std::unique_lock lock(__mutex);
    ENTRY& entry = __entries[id];
    ++entry.users;
    __isFree.wait(lock, [&entry] { return !entry.isLocked; });
    entry.isLocked = true;
}

void CFileLocks::Unlock(const FILE_ID& id, FILE_RESULT result) {
    {
        const std::lock_guard lock(__mutex);
        ENTRY& entry = __entries[id];
        entry.isLocked = false;
        --entry.users;
        entry.results.push_back(std::move(result));
    }
    __isFree.notify_all();
}

FILE_RESULT CFileLocks::TakeResult(const FILE_ID& id) {
    const std::lock_guard lock(__mutex);
    const auto at = __entries.find(id);
    ENTRY& entry = at->second;
    FILE_RESULT result = std::move(entry.results.front());
    entry.results.pop_front();
    if (entry.users == 0 && entry.results.empty()) {
        __entries.erase(at);
    }
    return result;
}

} // namespace Quil
