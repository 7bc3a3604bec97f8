// The stack on which a thread's crash handler runs, so that an overflow of its own can be handled.
#pragma once

#include <cstddef>
#include <memory>

namespace Quil::IMPL {

/// Gives the calling thread an alternate signal stack for as long as the object lives; it must be
/// destroyed on the same thread. Without memory there is none, and nothing is reported.
class CSignalStack {
public:
    CSignalStack() noexcept;
    CSignalStack(const CSignalStack&) = delete;
    CSignalStack& operator=(const CSignalStack&) = delete;
    ~CSignalStack();

    /// Makes `size` bytes at `memory` the calling thread's alternate stack.
    static void Install(void* memory, std::size_t size) noexcept;

    /// Room for the handler: it formats a message and calls the loggers.
    static constexpr std::size_t SIZE = std::size_t{64} * 1024;

private:
    std::unique_ptr<unsigned char[]> __memory;
};

} // namespace Quil::IMPL
