// The buffer's life, growth and changes. Search and compare are in basic_buffer_search.cpp, the
// streams in basic_buffer_stream.cpp.
//
// Every change reduces to one of two shapes: content that is overwritten (`_alloc_if_need`, then a
// copy) and content that is kept (`_grow`, then moves). Where the elements to be read lie in what
// the change itself moves, frees or overwrites (`_reaches`), all shapes go one way:
// `__ReplaceByReached`.
#include "util/text/basic_buffer.h"

#include "util/text/byte_buffer.h"

#include <stdexcept>
#include <sys/mman.h>

namespace Quil {

namespace {

/// Blocks of this many bytes and more are to lie in huge pages. A block's first touch costs a fault
/// for each of its pages, which for small pages is more than most passes over the text cost.
constexpr std::uint64_t BIG_BLOCK = std::uint64_t{4} << 20;
constexpr std::uintptr_t PAGE = 4096;

/// Passes a block on, with the advice if it is a big one. Advice only: a system without huge pages
/// gives small ones. It goes from the first page on, as the allocator moves no block by its pages
/// that has two kinds of them.
void* PreferHugePages(void* block, std::uint64_t size) {
    if (block != nullptr && size >= BIG_BLOCK) {
        const std::uint64_t behindPage = reinterpret_cast<std::uintptr_t>(block) % PAGE;
        madvise(static_cast<char*>(block) - behindPage, size + behindPage, MADV_HUGEPAGE);
    }
    return block;
}

/// Growing capacities end in these bits, so that blocks come in sizes an allocator likes.
template <class T>
constexpr std::uint64_t CAPACITY_MASK = sizeof(T) == 1 ? 31 : 7;

} // namespace

// --- Construction, binding, views ----------------------------------------------------------------

template <class T, class Traits>
basic_buffer<T, Traits>::basic_buffer(const basic_buffer& src, unsigned int pos, unsigned int n) {
    assign(src, pos, n);
}

template <class T, class Traits>
basic_buffer<T, Traits>::basic_buffer(const T* elements, unsigned int n) {
    assign(elements, n);
}

template <class T, class Traits>
basic_buffer<T, Traits>::basic_buffer(unsigned int n, T element) {
    assign(n, element);
}

template <class T, class Traits>
void basic_buffer<T, Traits>::__Look(const T* elements, unsigned int n) noexcept {
    __block = Block::Borrow(const_cast<T*>(elements));
    __capacity = elements != nullptr ? max_size() : 0;
    __length = elements != nullptr ? n : 0;
}

/// True for an address in the block of an owner, spare room and end included: a view that starts
/// there, be it empty, must not outlive the block.
template <class T, class Traits>
bool basic_buffer<T, Traits>::__Owns(const T* p) const noexcept {
    return __block.IsOwner() && std::less_equal<>()(__block.get(), p) &&
           std::less_equal<>()(p, __block.get() + __capacity);
}

/// Erases all but a range.
template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::__KeepRange(unsigned int pos, unsigned int n) {
    const RANGE range = __Clamp(pos, n);
    return erase(range.pos + range.n, npos).erase(0, range.pos);
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::operator=(const basic_buffer& other) {
    if (this == &other) {
        return *this;
    }
    if (other.is_static() && __Owns(other.__block.get())) {
        return __Assign(other.__block.get(), other.__length);
    }
    Block block = other.__block; // equal pointers may hide different counts
    __block.swap(block);
    __length = other.__length;
    __capacity = other.__capacity;
    return *this;
}

// NOLINTBEGIN(performance-noexcept-move-constructor): a view into the own block may need a copy
template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::operator=(basic_buffer&& other) {
    if (!other.__block.IsOwner() || this == &other) {
        return *this = static_cast<const basic_buffer&>(other);
    }
    Block block = std::move(other.__block);
    __block.swap(block);
    __length = std::exchange(other.__length, 0U);
    __capacity = std::exchange(other.__capacity, 0U);
    return *this;
}
// NOLINTEND(performance-noexcept-move-constructor)

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::assign(const basic_buffer& src, unsigned int pos,
                                                         unsigned int n) {
    const RANGE range = src.__Clamp(pos, n);
    if (this == &src) {
        return __KeepRange(range.pos, range.n);
    }
    if (range.pos != 0 || (range.n != src.__length && sm_tail != 0)) {
        return __Assign(src.__At(range.pos), range.n);
    }
    *this = src;
    __length = std::min(__length, range.n);
    return *this;
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::assign(const T* elements, unsigned int n) {
    return _is_inside(elements) ? __KeepRange(__OffsetOf(elements), n) : __Assign(elements, n);
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::__Assign(const T* elements, unsigned int n) {
    if (_reaches(elements, n * sizeof(T), std::uint64_t{n} + sm_tail)) {
        return __Replace({0, __length}, elements, n);
    }
    _alloc_if_need(std::uint64_t{n} + sm_tail);
    __copy(__block.get(), elements, n);
    _eofonly(n);
    return *this;
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::assign(unsigned int n, T element) {
    _alloc_if_need(std::uint64_t{n} + sm_tail);
    __fill(__block.get(), n, element);
    _eofonly(n);
    return *this;
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::__View(const T* elements, unsigned int n) {
    if (elements != nullptr && elements == __block.get()) {
        __block.Disown();
        __capacity = max_size();
        __length = n;
    } else if (__Owns(elements)) {
        __Assign(elements, n);
    } else {
        __Look(elements, n);
    }
    return *this;
}

template <class T, class Traits>
void basic_buffer<T, Traits>::bind_to(void* memory, std::size_t byteSize,
                                      std::size_t byteCapacity) {
    T* const elements = static_cast<T*>(memory);
    const std::size_t n = __Checked(byteSize / sizeof(T));
    const std::size_t capacity = std::min<std::size_t>(byteCapacity / sizeof(T), max_size());
    if (elements != __block.get() || !__block.IsOwner()) {
        __block = Block(); // apart: assigning a handle of the same block would change nothing
        __block = Block(elements);
    }
    __length = elements != nullptr ? static_cast<unsigned int>(n) : 0;
    __capacity = elements != nullptr ? static_cast<unsigned int>(capacity) : 0;
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::detach_if_static() {
    if (is_static()) {
        basic_buffer copy;
        copy._grow_no_expand(__Checked(std::uint64_t{__length} + sm_tail));
        __copy(copy.__block.get(), __block.get(), __length);
        copy._eofonly(__length);
        swap(copy);
    }
    return *this;
}

// --- Growth --------------------------------------------------------------------------------------

/// A raw block. One element at least, since `malloc(0)` may answer null.
template <class T, class Traits>
T* basic_buffer<T, Traits>::__alloc(std::uint64_t n) {
    const std::uint64_t size = std::max<std::uint64_t>(__Checked(n), 1) * sizeof(T);
    void* const block = PreferHugePages(std::malloc(size), size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<T*>(block);
}

/// A block of its own with the present elements, terminated; the sharers keep the old one. The
/// capacity must hold both.
template <class T, class Traits>
void basic_buffer<T, Traits>::__Unshare(std::uint64_t capacity) {
    Block fresh(__alloc(capacity));
    __copy(fresh.get(), __block.get(), __length);
    __block.swap(fresh);
    __capacity = static_cast<unsigned int>(capacity);
    __Terminate();
}

/// Resizes the block that this buffer owns alone, or makes its first one.
template <class T, class Traits>
void basic_buffer<T, Traits>::__Reallocate(std::uint64_t capacity) {
    if (!__block.IsOwner()) {
        __block = Block(__alloc(capacity));
        if (__length < capacity) {
            __Terminate();
        }
    } else {
        const std::uint64_t size = __Checked(capacity) * sizeof(T);
        void* const moved = PreferHugePages(std::realloc(__block.get(), size), size);
        if (moved == nullptr) {
            throw std::bad_alloc();
        }
        __block.SetMoved(static_cast<T*>(moved));
    }
    __capacity = static_cast<unsigned int>(capacity);
}

template <class T, class Traits>
void basic_buffer<T, Traits>::__Grow(std::uint64_t n) {
    __Checked(n);
    const auto rounded = [](std::uint64_t need) {
        return std::min<std::uint64_t>(need | CAPACITY_MASK<T>, max_size());
    };
    if (__block.IsShared()) {
        __Unshare(rounded(std::max(n, std::uint64_t{__length} + sm_tail)));
        return;
    }
    std::uint64_t capacity = rounded(n);
    const std::uint64_t half = __capacity / 2;
    if (half > capacity / 3 && __capacity <= max_size() - half) {
        capacity = __capacity + half;
    }
    __Reallocate(capacity);
}

template <class T, class Traits>
void basic_buffer<T, Traits>::__GrowExactly(std::uint64_t n) {
    __Checked(n);
    if (__block.IsShared()) {
        __Unshare(std::max(n, std::uint64_t{__length} + sm_tail));
    } else {
        __Reallocate(n);
    }
}

template <class T, class Traits>
void basic_buffer<T, Traits>::_alloc_if_need(std::uint64_t n) {
    if (n <= __capacity && !__block.IsShared()) {
        return;
    }
    Block fresh(__alloc(n));
    __block.swap(fresh);
    __capacity = static_cast<unsigned int>(n);
    _eofonly(0);
}

template <class T, class Traits>
T* basic_buffer<T, Traits>::_eofbuf(unsigned int n) {
    _grow_no_expand(std::uint64_t{n} + sm_tail);
    _eofonly(n);
    return __block.get();
}

// --- Changes -------------------------------------------------------------------------------------

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::__Append(const T* elements, unsigned int n) {
    const std::uint64_t need = std::uint64_t{__length} + n + sm_tail;
    if (_reaches(elements, n * sizeof(T), need)) {
        return __ReplaceByReached({__length, 0}, elements, n);
    }
    _grow(need);
    __copy(__block.get() + __length, elements, n);
    if (__block.get() != nullptr) {
        _eofonly(__length + n);
    }
    return *this;
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::append(unsigned int n, T element) {
    return replace(__length, 0, n, element);
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::erase(unsigned int pos, unsigned int n) {
    const RANGE range = __Clamp(pos, n);
    const unsigned int rest = __length - range.n;
    if (sm_tail == 0 && range.pos == rest) {
        __length = rest; // the end goes: nothing moves, and sharers don't mind
        return *this;
    }
    _grow(std::uint64_t{rest} + sm_tail);
    T* const gap = __block.get() + range.pos;
    __move(gap, gap + range.n, rest - range.pos);
    _eofonly(rest);
    return *this;
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::pop_back() {
    if (__length != 0) {
        _grow(__length);
        _eofonly(__length - 1);
    }
    return *this;
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::replace(unsigned int pos, unsigned int n1,
                                                          unsigned int n2, T element) {
    const RANGE range = __Clamp(pos, n1);
    const std::uint64_t result = std::uint64_t{__length} - range.n + n2;
    _grow(result + sm_tail);
    if (__block.get() == nullptr) {
        return *this; // no bytes at all
    }
    T* const gap = __block.get() + range.pos;
    __move(gap + n2, gap + range.n, __length - range.pos - range.n);
    __fill(gap, n2, element);
    _eofonly(static_cast<unsigned int>(result));
    return *this;
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::__Replace(RANGE gap, const T* elements,
                                                            unsigned int n) {
    const std::uint64_t result = std::uint64_t{__length} - gap.n + n;
    if (_reaches(elements, n * sizeof(T), result + sm_tail)) {
        return __ReplaceByReached(gap, elements, n);
    }
    _grow(result + sm_tail);
    if (__block.get() == nullptr) {
        return *this;
    }
    T* const place = __block.get() + gap.pos;
    if (n != gap.n) {
        __move(place + n, place + gap.n, __length - gap.pos - gap.n);
    }
    __copy(place, elements, n);
    _eofonly(static_cast<unsigned int>(result));
    return *this;
}

/// Replaces a range by elements that the change itself may move, free or overwrite.
template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::__ReplaceByReached(RANGE gap, const T* elements,
                                                                     unsigned int n) {
    if (__block.IsShared()) {
        const Block kept = __block; // they lie in there, and the sharers may go meanwhile
        _grow(std::uint64_t{__length} - gap.n + n + sm_tail);
        return __Replace(gap, elements, n);
    }
    if (_is_inside(elements) && n <= __length - __OffsetOf(elements)) {
        return __ReplaceByOwn(gap, __OffsetOf(elements), n);
    }
    const basic_buffer copy(elements, n); // behind the content, or across its end
    return __Replace(gap, copy.__block.get(), n);
}

/// Replaces a range by another range of this very content, in place. The order of the moves follows
/// from what each of them would overwrite.
template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::__ReplaceByOwn(RANGE gap, unsigned int from,
                                                                 unsigned int n) {
    const std::uint64_t result = std::uint64_t{__length} - gap.n + n;
    const unsigned int tail = __length - gap.pos - gap.n;
    _grow(result + sm_tail);
    T* const base = __block.get();
    T* const place = base + gap.pos;
    const auto moveTail = [&] { __move(place + n, place + gap.n, tail); };
    if (n <= gap.n) {
        __move(place, base + from, n);
        moveTail();
    } else if (gap.pos >= from) {
        moveTail();
        __move(place, base + from, n);
    } else if (from >= gap.pos + gap.n) { // wholly behind the gap: it moves with the tail
        moveTail();
        __move(place, base + from - gap.n + n, n);
    } else { // across the gap's end: its front stays, the rest moves with the tail
        __move(place, base + from, gap.n);
        moveTail();
        __move(place + gap.n, base + from + n, n - gap.n);
    }
    _eofonly(static_cast<unsigned int>(result));
    return *this;
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::resize(unsigned int n, T element) {
    detach();
    if (n > __length) {
        append(n - __length, element);
    } else if (n < __length) {
        _eofonly(n);
    }
    return *this;
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::clear() {
    if (__block.IsShared()) {
        Block fresh = sm_tail != 0 ? Block(__alloc(sm_tail)) : Block();
        __block.swap(fresh);
        __capacity = sm_tail;
    }
    __length = 0;
    if (__block.get() != nullptr) {
        _grow_no_expand(sm_tail);
        __Terminate();
    }
    return *this;
}

template <class T, class Traits>
basic_buffer<T, Traits>& basic_buffer<T, Traits>::shrink() {
    const std::uint64_t need = std::uint64_t{__length} + sm_tail;
    if (__block.IsOwner() && !__block.IsShared() && need < __capacity) {
        __Reallocate(std::max<std::uint64_t>(need, 1));
    }
    return *this;
}

template <class T, class Traits>
void basic_buffer<T, Traits>::__ThrowOutOfRange() {
    throw std::out_of_range("basic_buffer::at - offset out of range");
}

// The members that are defined here.
template class basic_buffer<char>;
template class basic_buffer<wchar_t>;
template class basic_buffer<unsigned char>;

} // namespace Quil
