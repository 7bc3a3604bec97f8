// How much is read at a time, in a file of its own: tests of what happens at the ends of blocks
// have another one in its place.
#include "tool/BlockSource.h"

namespace Quil {

std::size_t CBlockSource::GetBlockSize() {
    return std::size_t{256} << 10;
}

} // namespace Quil
