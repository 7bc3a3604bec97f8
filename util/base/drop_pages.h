// Memory that was used up goes back to the system while its block is still in use.
#pragma once

#include <cstddef>

namespace Quil {

/// Bytes in a huge page, the unit in which memory is given back.
constexpr std::size_t HUGE_PAGE_SIZE = std::size_t{2} << 20;

/// Gives back the memory of the huge pages that lie wholly between `from` and `to`, a range of a
/// heap block that the caller alone has. The block stays as it is; what was in those pages is lost,
/// and they may be written anew. Only ever saves memory: it never fails, and may do nothing.
void DropPages(void* from, void* to) noexcept;

} // namespace Quil
