// Searching and comparing a buffer's elements, by plain value.
#include "util/text/basic_buffer.h"
#include "util/text/text_search.h"

namespace Quil {

namespace {

template <class T>
using Unsigned = std::make_unsigned_t<std::conditional_t<sizeof(T) == 1, char, std::int32_t>>;

template <class T>
using Search = IMPL::text_search<T, IMPL::plain_fold>;

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
unsigned int basic_buffer<T, Traits>::find(const T* needle, unsigned int pos,
                                           unsigned int n) const noexcept {
    if (n == 0) {
        return pos <= __length ? pos : npos;
    }
    if (n == 1) {
        return find(*needle, pos); // by the C library, which has newer instructions
    }
    return Search<T>(needle, n, __length).find(__block.get(), __length, pos);
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
    return Search<T>(needle, n, __length).find_last(__block.get(), __length, pos);
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::find_first_of(const T* set, unsigned int pos,
                                                    unsigned int n) const noexcept {
    return IMPL::find_first_that(__block.get(), __length, pos, [set, n](T element) {
        return __findchr(set, n, element) != nullptr;
    });
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::find_first_not_of(const T* set, unsigned int pos,
                                                        unsigned int n) const noexcept {
    return IMPL::find_first_that(__block.get(), __length, pos, [set, n](T element) {
        return __findchr(set, n, element) == nullptr;
    });
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::find_last_of(const T* set, unsigned int pos,
                                                   unsigned int n) const noexcept {
    return IMPL::find_last_that(__block.get(), __length, pos, [set, n](T element) {
        return __findchr(set, n, element) != nullptr;
    });
}

template <class T, class Traits>
unsigned int basic_buffer<T, Traits>::find_last_not_of(const T* set, unsigned int pos,
                                                       unsigned int n) const noexcept {
    return IMPL::find_last_that(__block.get(), __length, pos, [set, n](T element) {
        return __findchr(set, n, element) == nullptr;
    });
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
