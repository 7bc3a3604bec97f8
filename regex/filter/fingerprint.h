// Finding the places of a text where one of a few short words may stand, many characters at a time.
// A word is a chain of sets of characters, and a set is a box: it holds the characters each of
// whose half bytes is in a mask. A vector instruction looks sixteen half bytes up in a table of
// sixteen at once; with one bit of the table's bytes for each word, two look-ups for each byte of a
// character tell which words go on there. A box may hold more than the set that it stands for, so
// what is found is a place to look at closer.
#pragma once

#include "regex/compile/chrtraits.h"
#include "regex/filter/fingerprint_leap.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdint>
#include <vector>

namespace Quil::IMPL::engine {

/// Half bytes that tell characters of this type apart, as the color map does.
template <class Chr>
inline constexpr std::size_t NIBBLES = chrtraits<Chr>::NCHRS == 256 ? 2 : 4;

inline constexpr std::size_t MOSTWORDS = 8; ///< the bits of a table's byte

/// A set of the cells of a color map, by the rows of 256 that it consists of.
template <class Chr>
class TCellSet {
public:
    static constexpr std::size_t ROWCELLS = 256;
    static constexpr std::size_t ROWS = chrtraits<Chr>::NCHRS / ROWCELLS;
    using row = std::bitset<ROWCELLS>;
    /// Masks of the values that each half byte may have.
    using box = std::array<std::uint16_t, NIBBLES<Chr>>;

    row& operator[](std::size_t i) { return __rows[i]; }
    bool full() const {
        return std::all_of(__rows.begin(), __rows.end(), [](const row& r) { return r.all(); });
    }
    /// Boxes that together hold just this set; one that holds it, if they would be more than
    /// `most`.
    std::vector<box> boxes(std::size_t most) const;

private:
    std::array<row, ROWS> __rows{};
};

/// A search for up to MOSTWORDS words. Value type.
template <class Chr>
class TFingerprint {
public:
    using box = typename TCellSet<Chr>::box;
    using word = std::vector<std::vector<box>>; ///< by place, the boxes of its set

    /// How the search goes; tests compare them.
    enum class way { PLAIN, VECTOR16, VECTOR32 };
    /// The fastest one of this machine.
    static way best();

    /// The words, all of `places` characters, the first of which stands `behind` characters before
    /// the place that is found. Words beyond MOSTWORDS are merged into wider ones.
    void set(const std::vector<word>& words, std::size_t places, std::size_t behind);
    bool empty() const { return __places == 0; }
    bool looksbehind() const { return __behind != 0; }

    /// The first place in [cp, limit) where a word stands, or `limit`. Characters from cp - behind
    /// on and up to `stop` are read; a place too near to `stop` for a whole word counts as found.
    const Chr* find(const Chr* cp, const Chr* limit, const Chr* stop, way how = best()) const;
    /// Whether a word stands here; all its characters are read.
    bool stands(const Chr* cp) const { return matches(cp - __behind); }

private:
    bool matches(const Chr* first) const;
    const Chr* leap(const Chr* first, const Chr* limit, way how) const;

    /// By place, half byte from the lowest on, and its value: the words that go on with it.
    std::array<std::uint8_t, MOSTPLACES * NIBBLES<Chr> * NIBBLEVALUES> __tables{};
    std::size_t __places = 0;
    std::size_t __behind = 0;
};

extern template class TCellSet<char>;
extern template class TCellSet<wchar_t>;
extern template class TCellSet<unsigned char>;
extern template class TFingerprint<char>;
extern template class TFingerprint<wchar_t>;
extern template class TFingerprint<unsigned char>;

} // namespace Quil::IMPL::engine
