// An input whose memory goes back to the system while its result grows: the result's pages are then
// those that the input had, and not fresh ones, which cost more than the work on them.
#pragma once

#include "util/sys/drop_pages.h"
#include "util/text/byteEx.h"

namespace Quil {

/// Gives back what was read of an input. The input must be the buffer's own and stay where it is;
/// what was given back reads as anything.
class CConsumedInput {
public:
    explicit CConsumedInput(byteEx& input) : __input(input) {}

    /// Nothing before `end` is read any more. Cheap: the system is asked for some megabytes
    /// together.
    void Advance(unsigned int end) {
        if (end - __dropped >= sm_step) {
            DropPages(__input.ref(), __input.ref() + end);
            __dropped = end;
        }
    }

private:
    static constexpr unsigned int sm_step = 2 * static_cast<unsigned int>(hugePageSize);

    byteEx& __input;
    unsigned int __dropped = 0;
};

} // namespace Quil
