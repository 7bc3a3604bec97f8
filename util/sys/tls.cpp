// The system's keys for thread-specific values, with the words for their failures.
#include "util/base/tls.h"

#include "util/sys/errhdl.h"

#include <cerrno>
#include <exception>

namespace Quil {

namespace {

/// Throws in the house style what went wrong with a key.
[[noreturn]] void ThrowFailure(const char* head, int error) {
    const char* description = error == EAGAIN   ? "no necessary resources or process limit reached"
                              : error == ENOMEM ? "insufficient memory"
                              : error == EINVAL ? "the handle (key) value is invalid"
                                                : "unknown system error";
    stringEx message(head);
    message.append("  error code = ").append_long(error, 10);
    throw tlsExp(static_cast<unsigned int>(error),
                 message.append("\n  error desc = ").append(description));
}

} // namespace

CTlsSlot::CTlsSlot() {
    if (const int error = pthread_key_create(&__key, nullptr)) {
        ThrowFailure("CTlsSlot::CTlsSlot - failed create tls slot\n", error);
    }
}

CTlsSlot::~CTlsSlot() noexcept(false) {
    const int error = pthread_key_delete(__key);
    if (error != 0 && std::uncaught_exceptions() == 0) {
        ThrowFailure("CTlsSlot::~CTlsSlot - failed delete tls slot\n", error);
    }
}

void CTlsSlot::SetValue(void* value) {
    if (const int error = pthread_setspecific(__key, value)) {
        ThrowFailure("CTlsSlot::SetValue - failed set tls value\n", error);
    }
}

} // namespace Quil
