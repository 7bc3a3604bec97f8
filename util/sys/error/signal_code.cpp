// The reports on crash signals, from a table of titles and reasons.
#include "util/sys/error/signal_code.h"

#include <cstring>
#include <iterator>
#include <span>

namespace Quil::IMPL {

namespace {

/// The texts of one signal. A reason is found by its code, which counts from 1.
struct SIGNAL_TEXT {
    int number;
    const char* title;
    std::span<const char* const> reasons;
};

constexpr const char* ILL_REASONS[] = {
    "Illegal opcode",    "Illegal operand",     "Illegal addressing mode", "Illegal trap",
    "Privileged opcode", "Privileged register", "Coprocessor error",       "Internal stack error"};
// Dividing a floating-point number by zero has an answer and no text.
constexpr const char* FPE_REASONS[] = {
    "Integer divide by zero",           "Integer overflow",         nullptr,
    "Floating-point overflow",          "Floating-point underflow", "Floating-point inexact result",
    "Invalid floating-point operation", "Subscript out of range"};
constexpr const char* BUS_REASONS[] = {"Invalid address alignment", "Nonexistent physical address"};
constexpr const char* SEGV_REASONS[] = {"Address not mapped to object",
                                        "Invalid permissions for mapped object"};

constexpr SIGNAL_TEXT SIGNAL_TEXTS[] = {
    {SIGILL, "illegal instruction", ILL_REASONS},        {SIGTRAP, "a breakpoint has reached", {}},
    {SIGFPE, "arithmetic exception", FPE_REASONS},       {SIGBUS, "hardware fault", BUS_REASONS},
    {SIGSEGV, "invalid memory reference", SEGV_REASONS}, {SIGSYS, "invalid system call", {}},
};

const SIGNAL_TEXT* FindSignal(int number) {
    for (const SIGNAL_TEXT& text : SIGNAL_TEXTS) {
        if (text.number == number) {
            return &text;
        }
    }
    return nullptr;
}

const char* ReasonText(const SIGNAL_TEXT* signal, int code) {
    if (signal == nullptr) {
        return "unknown";
    }
    if (signal->reasons.empty()) {
        return signal->number == SIGTRAP ? "none" : "";
    }
    const char* const text = code >= 1 && static_cast<std::size_t>(code) <= signal->reasons.size()
                                 ? signal->reasons[static_cast<std::size_t>(code) - 1]
                                 : nullptr;
    return text != nullptr ? text : "Unknown Reason";
}

} // namespace

stringEx ParseSigCode(const siginfo_t* info, const void* context) {
    const SIGNAL_TEXT* const signal = FindSignal(info->si_signo);
    stringEx text(signal != nullptr ? signal->title : "unknown system error");
    text.append_format("\n  signal number   = 0x%X", static_cast<unsigned int>(info->si_signo));
    text << "\n  reason code     = " << ReasonText(signal, info->si_code) << " (" << info->si_code
         << ")\n  error number    = " << std::strerror(info->si_errno) << " (" << info->si_errno
         << ")\n";
    text.append_format("  roughly address = %p\n", info->si_addr);
    return text.append_format("  thread context  = %p", context);
}

} // namespace Quil::IMPL
