// Waits for another thread.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

namespace Quil::TEST {

/// Comes back once the flag is set.
inline void Await(const std::atomic<bool>& flag) {
    while (!flag) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace Quil::TEST
