#include "tool/FileLocks.h"

#include <algorithm>

namespace Quil {

namespace {

bool IsNothing(const FILE_RESULT& result) {
    return result.count == 0 && !result.hasChanged && result.trouble == nullptr && !result.failure;
}

} // namespace

bool CFileLocks::Lock(const FILE_ID& id, std::uint64_t changes) {
    std::unique_lock lock(__mutex);
    ++__waiting;
    __isFree.wait(
        lock, [&] { return std::find(__locked.begin(), __locked.end(), id) == __locked.end(); });
    --__waiting;
    __locked.push_back(id);
    return __changes != changes;
}

void CFileLocks::Unlock(const FILE_ID& id, FILE_RESULT result) {
    const std::lock_guard lock(__mutex);
    std::erase(__locked, id);
    if (__waiting != 0) {
        __isFree.notify_all(); // whatever becomes of the rest
    }
    if (!IsNothing(result)) {
        __results[id].push_back(std::move(result));
        ++__changes;
        ++__pending;
    }
}

FILE_RESULT CFileLocks::TakeResult(const FILE_ID& id) {
    if (__pending == 0) {
        return {};
    }
    const std::lock_guard lock(__mutex);
    const auto at = __results.find(id);
    if (at == __results.end()) {
        return {};
    }
    --__pending;
    FILE_RESULT result = std::move(at->second.front());
    at->second.erase(at->second.begin());
    if (at->second.empty()) {
        __results.erase(at);
    }
    return result;
}

} // namespace Quil
