// The vector loop of the fingerprint search, over a set of instructions. The including file defines
// `vec`: BYTES, load, lookup and the rest, for the instructions that it is compiled for.
//
// Nothing but raw loops and instructions here: a function shared with files compiled for other
// instructions could end up in the program in the form that not every machine can run.

namespace Quil::IMPL::engine {

namespace {

/// The bytes of `vec::BYTES` characters, from the lowest on, a vector for each.
template <class Chr>
struct charbytes;

template <>
struct charbytes<unsigned char> {
    static constexpr std::size_t COUNT = 1;
    static void load(const unsigned char* p, vec::type* bytes) { bytes[0] = vec::load(p); }
};

template <>
struct charbytes<wchar_t> {
    static constexpr std::size_t COUNT = 2;
    static void load(const wchar_t* p, vec::type* bytes) { vec::load2(p, bytes[0], bytes[1]); }
};

/// The words that may go on with the characters at `p`, a byte for each.
template <class Chr>
inline vec::type words(const vec::type (*tables)[2], const Chr* p) {
    vec::type bytes[charbytes<Chr>::COUNT];
    charbytes<Chr>::load(p, bytes);
    vec::type found = vec::lookup(tables[0], bytes[0]);
    for (std::size_t i = 1; i < charbytes<Chr>::COUNT; ++i) {
        found = vec::both(found, vec::lookup(tables[i], bytes[i]));
    }
    return found;
}

template <std::size_t Count>
void loadtables(const std::uint8_t* given, vec::type (*tables)[2]) {
    for (std::size_t i = 0; i < Count; ++i) {
        for (std::size_t half = 0; half < 2; ++half) {
            tables[i][half] = vec::table(given + (2 * i + half) * NIBBLEVALUES);
        }
    }
}

template <std::size_t Places, class Chr>
const Chr* leap(const std::uint8_t* given, const Chr* first, const Chr* limit) {
    constexpr std::size_t COUNT = charbytes<Chr>::COUNT;
    vec::type tables[Places * COUNT][2];
    loadtables<Places * COUNT>(given, tables);
    for (; limit - first >= static_cast<std::ptrdiff_t>(vec::BYTES);
         first += static_cast<std::ptrdiff_t>(vec::BYTES)) {
        vec::type found = words(tables, first);
        for (std::size_t i = 1; i < Places; ++i) {
            if (COUNT > 1 && vec::none(found)) {
                break;
            }
            found = vec::both(found, words(tables + i * COUNT, first + i));
        }
        if (const unsigned int hits = vec::hits(found)) {
            return first + __builtin_ctz(hits);
        }
    }
    return first;
}

template <class Chr>
const Chr* leapany(const std::uint8_t* tables, std::size_t places, const Chr* first,
                   const Chr* limit) {
    static_assert(MOSTPLACES == 4);
    switch (places) {
    case 1:
        return leap<1>(tables, first, limit);
    case 2:
        return leap<2>(tables, first, limit);
    case 3:
        return leap<3>(tables, first, limit);
    default:
        return leap<4>(tables, first, limit);
    }
}

} // namespace

} // namespace Quil::IMPL::engine
