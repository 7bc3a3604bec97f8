// Waits for another thread, and what becomes of one that is cancelled while it waits.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>
#include <thread>

namespace Quil::TEST {

/// Comes back once the flag is set.
inline void Await(const std::atomic<bool>& flag) {
    while (!flag) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// Cancels a thread that waits in `wait` for what `free` gives, and gives that.
inline void CancelIn(std::function<void()> wait, const std::function<void()>& free) {
    pthread_t waiter;
    ASSERT_EQ(pthread_create(
                  &waiter, nullptr,
                  [](void* argument) -> void* {
                      (*static_cast<std::function<void()>*>(argument))();
                      pthread_testcancel();
                      return nullptr;
                  },
                  &wait),
              0);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    pthread_cancel(waiter);
    free();
    void* result = nullptr;
    pthread_join(waiter, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

} // namespace Quil::TEST
