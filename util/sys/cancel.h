// A scope in which the calling thread can't be cancelled.
//
// Cancelling unwinds the thread's stack from inside a system call. That must not happen where a
// lock counts the thread as a waiter, nor below a destructor or any other function that may not
// throw.
#pragma once

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

} // namespace Quil::IMPL
