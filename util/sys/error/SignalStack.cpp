// Sets up the alternate signal stack of a thread and takes it away again.
#include "util/sys/error/SignalStack.h"

#include <csignal>
#include <new>

namespace Quil::IMPL {

void CSignalStack::Install(void* memory, std::size_t size) noexcept {
    stack_t stack{};
    stack.ss_sp = memory;
    stack.ss_size = size;
    sigaltstack(&stack, nullptr);
}

CSignalStack::CSignalStack() noexcept {
    try {
        __memory = std::make_unique_for_overwrite<unsigned char[]>(SIZE);
        Install(__memory.get(), SIZE);
    } catch (const std::bad_alloc&) {
        __memory.reset();
    }
}

CSignalStack::~CSignalStack() {
    if (__memory != nullptr) {
        stack_t none{};
        none.ss_flags = SS_DISABLE;
        sigaltstack(&none, nullptr);
    }
}

} // namespace Quil::IMPL
