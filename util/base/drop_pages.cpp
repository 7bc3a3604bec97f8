#include "util/base/drop_pages.h"

#include <cstdint>
#include <sys/mman.h>

namespace Quil {

void DropPages(void* from, void* to) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(from);
    const std::size_t lead = (HUGE_PAGE_SIZE - address % HUGE_PAGE_SIZE) % HUGE_PAGE_SIZE;
    char* const first = static_cast<char*>(from) + lead;
    const std::ptrdiff_t size = static_cast<char*>(to) - first;
    if (size > 0) {
        madvise(first, static_cast<std::size_t>(size) / HUGE_PAGE_SIZE * HUGE_PAGE_SIZE,
                MADV_DONTNEED);
    }
}

} // namespace Quil
