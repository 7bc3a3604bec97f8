// A file descriptor that is closed when its owner goes.
#pragma once

#include <unistd.h>
#include <utility>

namespace Quil::IMPL {

/// Owns a descriptor, or none. For one thread.
class CDescriptor {
public:
    CDescriptor() = default;
    explicit CDescriptor(int descriptor) : __descriptor(descriptor) {}
    CDescriptor(CDescriptor&& other) noexcept
        : __descriptor(std::exchange(other.__descriptor, sm_none)) {}
    CDescriptor& operator=(CDescriptor&& other) noexcept {
        std::swap(__descriptor, other.__descriptor);
        return *this;
    }
    ~CDescriptor() { Close(); }

    int Get() const { return __descriptor; }
    bool IsOpen() const { return __descriptor != sm_none; }
    void Close() {
        if (IsOpen()) {
            ::close(std::exchange(__descriptor, sm_none));
        }
    }

private:
    static constexpr int sm_none = -1;

    int __descriptor = sm_none;
};

} // namespace Quil::IMPL
