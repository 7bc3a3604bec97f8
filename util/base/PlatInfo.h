// The machine that the program runs on, as far as the library asks.
#pragma once

#include "util/base/visibility.h"

#include <bit>
#include <cstdint>

namespace QUIL_PUBLIC Quil {

/// A description of the machine, read once and constant from then on. Takes no lock of the library
/// and never throws; safe from every thread.
class CPlatInfo {
public:
    /// The one description, built on first use.
    static const CPlatInfo& Get() noexcept;

    /// Processors that the machine has, at least 1.
    unsigned int GetCpuCount() const noexcept;
    /// Processors that this process may run on, at least 1.
    unsigned int GetOnlineCpuCount() const noexcept { return __onlineCpuCount; }
    /// True if threads can run side by side.
    bool IsMp() const noexcept { return __onlineCpuCount > 1; }
    /// Bytes of a memory page.
    unsigned long GetPageSize() const noexcept { return __pageSize; }
    /// Bytes of the machine's memory; 0 where the system doesn't say.
    std::uint64_t GetMemorySize() const noexcept;
    /// True if the highest byte of a number comes first.
    static constexpr bool IsBigEndian() noexcept { return std::endian::native == std::endian::big; }

    // What the system calls itself, such as "Linux", "6.1.0" and "x86_64". Good for ever.

    const char* GetSystemName() const noexcept;
    const char* GetSystemRelease() const noexcept;
    const char* GetMachineName() const noexcept;

    // Limits of this process, which it may change meanwhile.

    /// Descriptors that it may have open.
    static std::uint64_t GetMostDescriptors() noexcept;
    /// Bytes of addresses that it may use.
    static std::uint64_t GetMostAddresses() noexcept;

private:
    CPlatInfo() noexcept;

    unsigned int __onlineCpuCount;
    unsigned long __pageSize;
};

} // namespace Quil
