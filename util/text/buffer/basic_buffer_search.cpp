// Searching and comparing a buffer's elements, by plain value.
//
// A search looks for the needle's first element with the C library's scan and compares the rest
// only there: the scan is what runs over the text. A text where that element is everywhere, but not
// the needle, is left to the search that has a bound.
#include "util/text/basic_buffer.h"
#include "util/text/text_search.h"

namespace Quil {

namespace {

template <class T>
using Unsigned = std::make_unsigned_t<std::conditional_t<sizeof(T) == 1, char, std::int32_t>>;

// What the comparisons behind found first elements may come to, for the elements scanned.
constexpr std::size_t COMPARE_ALLOWANCE = 1 << 16;
constexpr std::size_t COMPARE_FACTOR = 8;

template <class T>
const T* SearchWithBound(const T* elements, std::size_t n, std::size_t from, const T* needle,
                         std::size_t m) noexcept {
    using Search = IMPL::text_search<T, IMPL::plain_fold>;
    const auto length = static_cast<unsigned int>(n);
    Search search(needle, static_cast<unsigned int>(m), length);
    const unsigned int found = search.find(elements, length, static_cast<unsigned int>(from));
    return found != Search::npos ? elements + found : nullptr;
}

} // namespace

template <class T, class Traits>
int basic_buffer<T, Traits>::__cmp(const T* a, const T* b, std::size_t n) noexcept {
    if constexpr (sizeof(T) == 1) {
        return n == 0 ? 0 : std::memcmp(a, b, n);
    } else {
        const auto [x, y] = std::mismatch(a, a + n, b);
        if (x == a + n) {
            return 0;
        }
        return static_cast<Unsigned<T>>(*x) < static_cast<Unsigned<T>>(*y) ? -1 : 1;
    }
}

template <class T, class Traits>
const T* basic_buffer<T, Traits>::__search(const T* elements, std::size_t n, const T* needle,
                                           std::size_t m) noexcept {
    if (m > n) {
        return nullptr;
    }
    if constexpr (sizeof(T) == 1) {
        return static_cast<const T*>(memmem(elements, n, needle, m));
    } else {
        const T* const last = elements + (n - m) + 1; // behind the last candidate
        std::size_t compared = 0;
        for (const T* p = elements; p < last; ++p) {
            p = __findchr(p, static_cast<std::size_t>(last - p), *needle);
            if (p == nullptr || __eq(p + 1, needle + 1, m - 1)) {
                return p;
            }
            compared += m;
            const auto passed = static_cast<std::size_t>(p + 1 - elements);
            if (compared > COMPARE_ALLOWANCE + COMPARE_FACTOR * passed) {
                return SearchWithBound(elements, n, passed, needle, m);
            }
        }
        return nullptr;
    }
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::find(const T* needle, unsigned int pos,
                                           unsigned int n) const noexcept {
    if (n == 0) {
        return pos <= __length ? pos : npos;
    }
    if (pos >= __length) {
        return npos;
    }
    const T* const base = __block.get();
    const T* const found = __search(base + pos, __length - pos, needle, n);
    return found != nullptr ? static_cast<unsigned int>(found - base) : npos;
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::find(T element, unsigned int pos) const noexcept {
    if (pos >= __length) {
        return npos;
    }
    const T* const base = __block.get();
    const T* const found = __findchr(base + pos, __length - pos, element);
    return found != nullptr ? static_cast<unsigned int>(found - base) : npos;
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::rfind(const T* needle, unsigned int pos,
                                            unsigned int n) const noexcept {
    if (n == 0) {
        return std::min(__length, pos);
    }
    if (n > __length) {
        return npos;
    }
    const T* const base = __block.get();
    for (unsigned int i = std::min(__length - n, pos) + 1; i-- > 0;) {
        if (base[i] == *needle && __eq(base + i + 1, needle + 1, n - 1)) {
            return i;
        }
    }
    return npos;
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::find_first_of(const T* set, unsigned int pos,
                                                    unsigned int n) const noexcept {
    for (unsigned int i = pos; i < __length; ++i) {
        if (__findchr(set, n, __block.get()[i]) != nullptr) {
            return i;
        }
    }
    return npos;
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::find_first_not_of(const T* set, unsigned int pos,
                                                        unsigned int n) const noexcept {
    for (unsigned int i = pos; i < __length; ++i) {
        if (__findchr(set, n, __block.get()[i]) == nullptr) {
            return i;
        }
    }
    return npos;
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::find_last_of(const T* set, unsigned int pos,
                                                   unsigned int n) const noexcept {
    for (unsigned int i = pos < __length ? pos + 1 : __length; i-- > 0;) {
        if (__findchr(set, n, __block.get()[i]) != nullptr) {
            return i;
        }
    }
    return npos;
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::find_last_not_of(const T* set, unsigned int pos,
                                                       unsigned int n) const noexcept {
    for (unsigned int i = pos < __length ? pos + 1 : __length; i-- > 0;) {
        if (__findchr(set, n, __block.get()[i]) == nullptr) {
            return i;
        }
    }
    return npos;
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::copy(T* destination, unsigned int n,
                                           unsigned int pos) const noexcept {
    if (n == 0) {
        return 0;
    }
    const RANGE range = __Clamp(pos, n - sm_tail);
    __copy(destination, __At(range.pos), range.n);
    if constexpr (sm_tail != 0) {
        destination[range.n] = T(0);
    }
    return range.n;
}

// The members that are defined here.
template class basic_buffer<char>;
template class basic_buffer<wchar_t>;
template class basic_buffer<unsigned char>;

} // namespace Quil
