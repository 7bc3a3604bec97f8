// Words to boxes to tables, and the plain form of the search.
#include "regex/filter/fingerprint.h"

#include "util/base/cpu.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace Quil::IMPL::engine {

namespace {

constexpr std::size_t NIBBLEBITS = 4;

/// What the vector loops take characters for: bytes of both types have one index.
template <class Chr>
using element = std::conditional_t<sizeof(Chr) == 1, unsigned char, Chr>;

/// Boxes of any number of dimensions, `Nibbles` for each place. With more than `most`, those are
/// merged that grow least.
template <class Box, std::size_t Nibbles>
class TBoxes {
public:
    explicit TBoxes(std::size_t most) : __most(most) {}

    void add(const Box& box) {
        if (std::any_of(__boxes.begin(), __boxes.end(),
                        [&box](const entry& other) { return hull(box, other.box) == other.box; })) {
            return;
        }
        insert(box);
        if (__boxes.size() > __most) {
            merge();
        }
    }
    std::vector<Box> take() const {
        std::vector<Box> all;
        for (const entry& e : __boxes) {
            all.push_back(e.box);
        }
        return all;
    }

private:
    struct entry {
        Box box;
        double volume;
        std::size_t partner; // of those before it, the one that it grows least with
        double growth;
    };

    /// The part of the characters that it holds, ASCII counted for as much as all others together:
    /// a box that needlessly held a letter would be found all over most texts.
    static double volume(const Box& box) {
        constexpr std::uint16_t ASCII = 0xFF; // of a byte's higher half
        double product = 1;
        for (std::size_t i = 0; i < box.size(); i += Nibbles) {
            double all = 1;
            bool low = true; // beyond the lowest byte, 0 may stand
            for (std::size_t n = 0; n < Nibbles; ++n) {
                all *= std::popcount(box[i + n]) / double{NIBBLEVALUES};
                low = low && (n < 2 || (box[i + n] & 1) != 0);
            }
            const int ascii = std::popcount(box[i]) *
                              std::popcount(static_cast<std::uint16_t>(box[i + 1] & ASCII));
            product *= all + (low ? ascii / (double{NIBBLEVALUES} * NIBBLEVALUES / 2) : 0);
        }
        return product;
    }
    static Box hull(const Box& a, const Box& b) {
        Box both = a;
        for (std::size_t i = 0; i < both.size(); ++i) {
            both[i] = static_cast<std::uint16_t>(both[i] | b[i]);
        }
        return both;
    }
    void insert(const Box& box) {
        entry e{box, volume(box), 0, std::numeric_limits<double>::max()};
        for (std::size_t i = 0; i < __boxes.size(); ++i) {
            const double growth = volume(hull(__boxes[i].box, box)) - __boxes[i].volume - e.volume;
            if (growth < e.growth) {
                e.growth = growth;
                e.partner = i;
            }
        }
        __boxes.push_back(e);
    }
    void merge() {
        const auto least =
            std::min_element(__boxes.begin(), __boxes.end(),
                             [](const entry& a, const entry& b) { return a.growth < b.growth; });
        const auto partner = __boxes.begin() + static_cast<std::ptrdiff_t>(least->partner);
        const Box merged = hull(least->box, partner->box);
        const std::vector<entry> rest(partner + 1, __boxes.end());
        const std::size_t second = static_cast<std::size_t>(least - partner) - 1;
        // What comes behind the partner may have had one of the two for its own.
        __boxes.erase(partner, __boxes.end());
        for (std::size_t i = 0; i < rest.size(); ++i) {
            if (i != second) {
                insert(rest[i].box);
            }
        }
        insert(merged);
    }

    std::size_t __most;
    std::vector<entry> __boxes;
};

using rowbox = std::array<std::uint16_t, 2>;

/// The high half bytes that go with the same low ones make a box.
std::vector<rowbox> rowboxes(const std::bitset<256>& row) {
    static const std::bitset<256> LOWEST(0xFFFF);
    std::vector<rowbox> boxes;
    for (std::size_t high = 0; high < NIBBLEVALUES; ++high) {
        const auto lows =
            static_cast<std::uint16_t>((row >> high * NIBBLEVALUES & LOWEST).to_ulong());
        if (lows == 0) {
            continue;
        }
        std::size_t i = 0;
        while (i < boxes.size() && boxes[i][0] != lows) {
            ++i;
        }
        if (i == boxes.size()) {
            boxes.push_back({lows, 0});
        }
        boxes[i][1] = static_cast<std::uint16_t>(boxes[i][1] | 1u << high);
    }
    return boxes;
}

} // namespace

template <class Chr>
auto TCellSet<Chr>::boxes(std::size_t most) const -> std::vector<box> {
    TBoxes<box, NIBBLES<Chr>> found(most);
    std::array<bool, ROWS> done{};
    for (std::size_t i = 0; i < ROWS; ++i) {
        if (done[i] || __rows[i].none()) {
            continue;
        }
        row equal; // rows that hold the same
        for (std::size_t j = i; j < ROWS; ++j) {
            if (!done[j] && __rows[j] == __rows[i]) {
                equal[j] = done[j] = true;
            }
        }
        for (const rowbox& low : rowboxes(__rows[i])) {
            if constexpr (ROWS == 1) {
                found.add(low);
            } else {
                for (const rowbox& high : rowboxes(equal)) {
                    found.add({low[0], low[1], high[0], high[1]});
                }
            }
        }
    }
    return found.take();
}

template <class Chr>
auto TFingerprint<Chr>::best() -> way {
    static const way known = HasAvx2() ? way::VECTOR32 : HasSse41() ? way::VECTOR16 : way::PLAIN;
    return known;
}

template <class Chr>
void TFingerprint<Chr>::set(const std::vector<word>& words, std::size_t places,
                            std::size_t behind) {
    constexpr std::size_t N = NIBBLES<Chr>;
    using chain = std::array<std::uint16_t, MOSTPLACES * N>;
    TBoxes<chain, N> chains(MOSTWORDS);
    for (const word& w : words) {
        if (std::any_of(w.begin(), w.end(), [](const auto& set) { return set.empty(); })) {
            continue; // no character is in that set
        }
        // Each combination of the places' boxes, counted through like digits.
        std::array<std::size_t, MOSTPLACES> digits{};
        for (std::size_t place = 0; place < places;) {
            chain c{};
            for (std::size_t i = 0; i < places; ++i) {
                for (std::size_t n = 0; n < N; ++n) {
                    c[i * N + n] = w[i][digits[i]][n];
                }
            }
            chains.add(c);
            for (place = 0; place < places && ++digits[place] == w[place].size(); ++place) {
                digits[place] = 0;
            }
        }
    }
    const std::vector<chain> all = chains.take();
    __tables = {};
    for (std::size_t i = 0; i < all.size(); ++i) {
        for (std::size_t n = 0; n < places * N * NIBBLEVALUES; ++n) {
            if (all[i][n / NIBBLEVALUES] >> n % NIBBLEVALUES & 1) {
                __tables[n] = static_cast<std::uint8_t>(__tables[n] | 1u << i);
            }
        }
    }
    __places = places;
    __behind = behind;
}

template <class Chr>
bool TFingerprint<Chr>::matches(const Chr* first) const {
    unsigned int words = (1u << MOSTWORDS) - 1;
    const std::uint8_t* table = __tables.data();
    for (std::size_t i = 0; i < __places; ++i) {
        std::size_t cell = chrtraits<Chr>::index(first[i]);
        for (std::size_t n = 0; n < NIBBLES<Chr>; ++n, cell >>= NIBBLEBITS, table += NIBBLEVALUES) {
            words &= table[cell % NIBBLEVALUES];
        }
    }
    return words != 0;
}

/// The first place of a word or one from which on the plain form has to search.
template <class Chr>
const Chr* TFingerprint<Chr>::leap(const Chr* first, const Chr* limit, way how) const {
#if defined(__x86_64__)
    const auto* const from = reinterpret_cast<const element<Chr>*>(first);
    const auto* const to = reinterpret_cast<const element<Chr>*>(limit);
    if (how == way::VECTOR32) {
        return reinterpret_cast<const Chr*>(leap32(__tables.data(), __places, from, to));
    }
    if (how == way::VECTOR16) {
        return reinterpret_cast<const Chr*>(leap16(__tables.data(), __places, from, to));
    }
#endif
    static_cast<void>(limit);
    static_cast<void>(how);
    return first;
}

template <class Chr>
const Chr* TFingerprint<Chr>::find(const Chr* cp, const Chr* limit, const Chr* stop,
                                   way how) const {
    constexpr std::ptrdiff_t NEAR = 4;    // characters that are looked at before vectors are
    constexpr std::ptrdiff_t WIDEST = 32; // characters of a vector
    const auto behind = static_cast<std::ptrdiff_t>(__behind);
    const auto ahead = static_cast<std::ptrdiff_t>(__places) - behind - 1;
    const Chr* const whole = limit - cp <= stop - cp - ahead ? limit : stop - ahead;
    // One character of a set is often near, one of a few words is not.
    for (const Chr* const near = __places == 1 && whole - cp > NEAR ? cp + NEAR : cp; cp < near;
         ++cp) {
        if (stands(cp)) {
            return cp;
        }
    }
    if (cp < whole) {
        const Chr* const farther = stop - ahead - whole > WIDEST ? whole + WIDEST : stop - ahead;
        cp = leap(cp - behind, farther - behind, how) + behind;
    }
    while (cp < whole && !stands(cp)) {
        ++cp;
    }
    return cp < limit ? cp : limit;
}

template class TCellSet<char>;
template class TCellSet<wchar_t>;
template class TCellSet<unsigned char>;
template class TFingerprint<char>;
template class TFingerprint<wchar_t>;
template class TFingerprint<unsigned char>;

} // namespace Quil::IMPL::engine
