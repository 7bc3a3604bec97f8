#include "util/base/drop_pages.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>

using namespace Quil;

namespace {

TEST(DropPages, LeavesWhatIsOutsideAlone) {
    constexpr std::size_t size = 5 * HUGE_PAGE_SIZE;
    const auto block = std::make_unique<unsigned char[]>(size);
    const std::size_t lead =
        (HUGE_PAGE_SIZE - reinterpret_cast<std::uintptr_t>(block.get()) % HUGE_PAGE_SIZE) %
        HUGE_PAGE_SIZE;
    const struct {
        std::size_t from;
        std::size_t to;
        std::size_t firstDropped;
        std::size_t endDropped;
    } cases[] = {
        {0, 0, 0, 0},
        {lead + 1, lead + HUGE_PAGE_SIZE, 0, 0},
        {lead + 1, lead + 2 * HUGE_PAGE_SIZE - 1, 0, 0},
        {lead, lead + HUGE_PAGE_SIZE, lead, lead + HUGE_PAGE_SIZE},
        {lead + 1, lead + 3 * HUGE_PAGE_SIZE + 1, lead + HUGE_PAGE_SIZE, lead + 3 * HUGE_PAGE_SIZE},
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
