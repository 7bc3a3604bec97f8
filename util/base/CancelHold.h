// What code must know of the end of its thread by cancellation or `pthread_exit`.
//
// Either unwinds the thread's stack, a cancellation from inside a system call. That must not happen
// where a lock counts the thread as a waiter, nor below a destructor or any other function that may
// not throw; and a handler that catches everything must let it go on.
#pragma once

#include <exception>
#include <pthread.h>

namespace Quil::IMPL {

/// Holds off the cancellation of the calling thread; a request stays pending until the scope ends.
class CCancelHold {
public:
    CCancelHold() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &__before); }
    CCancelHold(const CCancelHold&) = delete;
    CCancelHold& operator=(const CCancelHold&) = delete;
    ~CCancelHold() { pthread_setcancelstate(__before, nullptr); }

private:
    int __before = PTHREAD_CANCEL_ENABLE;
};

/// To be called first in a `catch (...)`: lets the unwinding of a thread that ends go on, and
/// returns for an exception. That unwinding has no object: a clause with a reference to
/// `abi::__forced_unwind` would bind it to nothing.
inline void PassThreadEnd() {
    if (std::current_exception() == nullptr) {
        throw;
    }
}

} // namespace Quil::IMPL
