// Stands in for the command's own source of this function.
#include "tool/BlockSource.h"

#include <cstdlib>

namespace Quil {

std::size_t CBlockSource::GetBlockSize() {
    const char* const size = std::getenv("TSUB_TEST_BLOCK");
    return size != nullptr ? std::strtoul(size, nullptr, 10) : 1;
}

} // namespace Quil
