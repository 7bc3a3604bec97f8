#include "util/base/drop_pages.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>

using namespace Quil;

namespace {

TEST(DropPages, LeavesWhatIsOutsideAlone) {
    constexpr std::size_t size = 5 * hugePageSize;
    const auto block = std::make_unique<unsigned char[]>(size);
    const std::size_t lead =
        (hugePageSize - reinterpret_cast<std::uintptr_t>(block.get()) % hugePageSize) %
        hugePageSize;
    const struct {
        std::size_t from;
        std::size_t to;
        std::size_t firstDropped;
        std::size_t endDropped;
    } cases[] = {
        {0, 0, 0, 0},
        {lead + 1, lead + hugePageSize, 0, 0},
        {lead + 1, lead + 2 * hugePageSize - 1, 0, 0},
        {lead, lead + hugePageSize, lead, lead + hugePageSize},
        {lead + 1, lead + 3 * hugePageSize + 1, lead + hugePageSize, lead + 3 * hugePageSize},
    };
    for (const auto& c : cases) {
        std::fill_n(block.get(), size, '\7');
        DropPages(block.get() + c.from, block.get() + c.to);
        for (std::size_t i = 0; i < size; ++i) {
            const bool mayBeLost = i >= c.firstDropped && i < c.endDropped;
            ASSERT_TRUE(block[i] == 7 || (mayBeLost && block[i] == 0)) << i << ' ' << c.from;
        }
    }
}

} // namespace
