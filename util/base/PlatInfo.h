// The machine that the program runs on, as far as the library asks.
#pragma once

#include "util/base/visibility.h"

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

private:
    CPlatInfo() noexcept;

    unsigned int __onlineCpuCount;
    unsigned long __pageSize;
};

} // namespace Quil
