// The narrow engine's face of the release of a handle.
#include "regex/regfree.inl"

namespace Quil {

namespace IMPL::engine {
template guts<char>* newguts<char>();
template void rfree<char>(regex_t* re);
} // namespace IMPL::engine

void sregfree(regex_t* re) {
    IMPL::engine::freehandle(re);
}

} // namespace Quil
