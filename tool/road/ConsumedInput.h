// An input whose memory goes back to the system while its result grows: the result's pages are then
// those that the input had, and not fresh ones, which cost more than the work on them.
#pragma once

#include "util/base/drop_pages.h"
#include "util/text/byteEx.h"

namespace Quil {

/// Gives back what was read of an input. The input must be the buffer's own and stay where it is;
/// what was given back reads as anything.
class CConsumedInput {
public:
    explicit CConsumedInput(byteEx& input) : __input(input) {}

    /// The buffer has another input.
    void Begin() { __dropped = 0; }

    /// Nothing before `end` is read any more. Cheap: the system is asked for some megabytes
    /// together.
    void Advance(std::size_t end) {
        if (end - __dropped >= sm_step) {
            DropPages(__input.ref(), __input.ref() + end);
            __dropped = end;
        }
    }

private:
    static constexpr std::size_t sm_step = 2 * HUGE_PAGE_SIZE;

    byteEx& __input;
    std::size_t __dropped = 0;
};

} // namespace Quil
