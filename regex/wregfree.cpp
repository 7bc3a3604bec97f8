// The wide engine's face of the release of a handle.
#include "regex/regfree.inl"

namespace Quil {

namespace IMPL::engine {
template guts<wchar_t>* newguts<wchar_t>();
template void rfree<wchar_t>(regex_t* re);
} // namespace IMPL::engine

void wregfree(regex_t* re) {
    IMPL::engine::freehandle(re);
}

} // namespace Quil
