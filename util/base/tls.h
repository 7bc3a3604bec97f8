// One thread-specific pointer. The words for its failures need strings, which this folder knows
// nothing of: they stand in util/sys/tls.cpp.
#pragma once

#include "util/base/visibility.h"

#include <pthread.h>

namespace QUIL_PUBLIC Quil {

/// A key of the system's thread-specific storage. Every thread has a value of its own, null at
/// first; nothing is done with it when the thread ends.
class CTlsSlot {
public:
    /// Throws `tlsExp` when the system has no key left.
    CTlsSlot();
    CTlsSlot(const CTlsSlot&) = delete;
    CTlsSlot& operator=(const CTlsSlot&) = delete;
    /// Gives the key back. Throws `tlsExp`, unless an exception is in flight.
    ~CTlsSlot() noexcept(false);

    /// Sets the calling thread's value. Throws `tlsExp`.
    void SetValue(void* value);
    void* GetValue() const { return pthread_getspecific(__key); }

private:
    pthread_key_t __key;
};

} // namespace Quil
