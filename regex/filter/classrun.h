// Expressions that are runs of one set of characters, like `[a-z]+` or `\d{4,}`. Whether a
// character is in the set is one bit, the bits of many characters are found at once and without a
// branch, and a match is what two counts of bits tell. With a match every few characters, as these
// expressions have it, the scans of an automaton would cost their start and end more than their
// way.
#pragma once

#include "regex/compile/nfa.h"
#include "regex/filter/colorset.h"

#include <array>
#include <cstdint>

namespace Quil::IMPL::engine {

/// Finds runs of one set. Owns its tables; borrows the colors, and the text between two calls of
/// `newtext`.
template <class Chr>
class TClassRun {
public:
    /// Takes over an automaton that is nothing but such a run; else the object stays empty.
    TClassRun(const cnfa& automaton, const color* colors);

    bool empty() const { return __least == 0; }
    /// Whether a text of this length is worth the making of the tables, if that isn't done yet.
    bool worthwhile(std::ptrdiff_t length) const { return __ready || length >= WORTHWHILE; }
    /// That is done.
    bool ready() const { return __ready; }
    /// What was seen of the text no longer holds.
    void newtext() { __block = nullptr; }
    /// The first run of the set in [begin, stop] that is long enough: its begin, or null. What
    /// stands before `begin` doesn't count. `looked` counts the characters.
    const Chr* find(const Chr* begin, const Chr* stop, const Chr*& end, std::uint64_t& looked);

private:
    static constexpr std::ptrdiff_t BLOCK = 64; // characters, one bit each
    static constexpr std::ptrdiff_t WORTHWHILE = chrtraits<Chr>::NCHRS / 16;
    static constexpr std::size_t FEW = 4; // ranges that vectors of the text are compared with

    void prepare();
    void look(const Chr* place, const Chr* stop);
    std::uint64_t compare(const Chr* place) const;
    const Chr* seek(const Chr* p, const Chr* stop, std::uint64_t unlike);

    const color* __colors;
    colorset __in;
    int __least = 0; // characters of the shortest match
    bool __ready = false;
    std::array<Chr, FEW> __first{}; // the set's ranges, if they are few
    std::array<Chr, FEW> __last{};
    std::size_t __ranges = 0;
    const Chr* __block = nullptr; // the characters that `bits_` tells of
    std::uint64_t __bits = 0;
};

extern template class TClassRun<char>;
extern template class TClassRun<wchar_t>;
extern template class TClassRun<unsigned char>;

} // namespace Quil::IMPL::engine
