// The machine that the program runs on, as far as the library asks: how many processors there are.
#pragma once

namespace Quil {

/// A description of the machine, read once and constant from then on. Safe from every thread.
class CPlatInfo {
public:
    /// The one description, built on first use.
    static const CPlatInfo& Get();

    /// Processors that are on line, at least 1.
    unsigned int GetProcessorCount() const { return __processorCount; }

private:
    CPlatInfo();

    unsigned int __processorCount;
};

} // namespace Quil
