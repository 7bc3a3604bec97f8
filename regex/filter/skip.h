// Leaping over characters that can't matter: while a search stands in a state that nearly every
// character leads back to, it looks for one of the few that lead away, many characters at a time.
#pragma once

#include "regex/filter/colorset.h"

#include <array>

namespace Quil::IMPL::engine {

/// The characters that lead away from one DFA state. Value type; borrows the color table.
template <class Chr>
class TSkip {
public:
    /// With this many characters or fewer, vectors of the text are compared with each of them.
    static constexpr std::size_t FEW = 3;

    /// `leaving` says of each color whether it leads away.
    void set(const color* colors, colorset leaving);
    /// The first place from `cp` on whose character leads away, or `limit`.
    const Chr* find(const Chr* cp, const Chr* limit) const;

private:
    const Chr* findfew(const Chr* cp, const Chr* limit) const;
    const Chr* findmany(const Chr* cp, const Chr* limit) const;

    const color* __colors = nullptr;
    colorset __leaving;
    std::array<Chr, FEW> __few{};
    std::size_t __count = 0;
};

extern template class TSkip<char>;
extern template class TSkip<wchar_t>;
extern template class TSkip<unsigned char>;

} // namespace Quil::IMPL::engine
