// The library's one growable sequence of elements, under every text and byte string.
//
// A buffer is a length, a capacity and a counted block: copying one shares the block, changing one
// first makes the block its own. What complicates it: a buffer may also be a view on memory that it
// doesn't own (the static state). A view is never freed, has no limit on its capacity, and is
// written through by every change; so code that changes a text it was given detaches it first.
#pragma once

#include "util/base/handle.h"
#include "util/base/visibility.h"
#include "util/text/buffer_iterator.h"

#include <algorithm>
#include <compare>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <functional>
#include <iosfwd>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

namespace QUIL_PUBLIC Quil {

/// The buffer of elements `T`: `char`, `wchar_t` (32 bits) or `unsigned char`, and no others.
///
/// Sizes and positions are counted in elements. A count that reaches past the end means "to the
/// end". Positions are the caller's business: only `at` checks one, a position beyond the length is
/// taken for the end. Results that would exceed `max_size()` raise std::bad_alloc, as does a lack
/// of memory; the buffer is then as it was.
///
/// Text buffers keep a terminating 0 behind the last element, bytes don't (`sm_tail`). A view need
/// not have one either: `has_tail` tells, `make_tail` provides.
///
/// | State  | element pointer | count    | capacity     |
/// |--------|-----------------|----------|--------------|
/// | empty  | null            | none     | 0            |
/// | static | set             | none     | `max_size()` |
/// | owned  | set             | 1        | the block's  |
/// | shared | set             | above 1  | the block's  |
///
/// A buffer object belongs to one thread at a time; blocks may be common to buffers of several
/// threads.
///
/// Arguments may look into the receiver's own block, also into spare room of it: every operation
/// reads them as they were before. A buffer as argument, or a pair of iterators, counts by its own
/// length, whatever block it shares. A pointer with a count that points into the receiver's content
/// reaches to the end of that content at most.
template <class T, class Traits = std::char_traits<T>>
class basic_buffer {
    using Block = CHandle<T, FreeDeletor<T>, CAtomicINT32, 0>;

public:
    using value_type = T;
    using traits_type = Traits;
    using size_type = unsigned int;
    using difference_type = std::ptrdiff_t;
    using pointer = T*;
    using const_pointer = const T*;
    using reference = T&;
    using const_reference = const T&;
    using iterator = ptr_iterator<T>;
    using const_iterator = ptr_iterator<const T>;
    using reverse_iterator = ptr_reverse_iterator<T>;
    using const_reverse_iterator = ptr_reverse_iterator<const T>;

    /// Selects a view on foreign memory instead of a copy.
    struct NOT_OWNER {};
    /// Selects the constructor for code that fills the buffer afterwards.
    struct DONT_INIT {};

    /// A buffer's three fields with the block typed `U`: how a block travels from one instantiation
    /// to another. It takes part in the block's ownership.
    template <class U>
    struct INTERNAL_LAYOUT {
        unsigned int length = 0;
        unsigned int capacity = 0;
        CHandle<U, FreeDeletor<U>, CAtomicINT32, 0> block;
    };

    /// As a count: up to the end. As a result: not found.
    static constexpr unsigned int npos = ~0U;
    /// Elements that the terminator takes: one for text, none for bytes.
    static constexpr unsigned int sm_tail = std::is_same_v<T, unsigned char> ? 0 : 1;

    /// The largest capacity, and the one that a view reports.
    static constexpr unsigned int max_size() noexcept { return ~0U / sizeof(T) - 1; }

    // --- Construction, binding, views ------------------------------------------------------------

    constexpr basic_buffer() noexcept = default;
    explicit basic_buffer(DONT_INIT) noexcept {}
    /// Shares the block; a view gives a second view.
    basic_buffer(const basic_buffer&) noexcept = default;
    basic_buffer(basic_buffer&& other) noexcept
        : __length(std::exchange(other.__length, 0U)),
          __capacity(std::exchange(other.__capacity, 0U)), __block(std::move(other.__block)) {}
    /// Shares when the range is the whole of `src`, else copies it: capacity is its length plus
    /// tail.
    basic_buffer(const basic_buffer& src, unsigned int pos, unsigned int n = npos);
    /// An owned copy, terminated, with no spare room. Null reads as an empty text.
    basic_buffer(const T* text) : basic_buffer(text, __calclen(text)) {}
    basic_buffer(const T* elements, unsigned int n);
    basic_buffer(unsigned int n, T element);
    /// A view. It is valid as long as the memory looked at; null gives the empty state.
    basic_buffer(const T* text, NOT_OWNER) noexcept
        : basic_buffer(text, __calclen(text), NOT_OWNER()) {}
    basic_buffer(const T* elements, unsigned int n, NOT_OWNER) noexcept { __Look(elements, n); }
    basic_buffer(const basic_buffer& src, unsigned int pos, unsigned int n, NOT_OWNER) noexcept {
        const RANGE range = src.__Clamp(pos, n);
        __Look(src.__At(range.pos), range.n);
    }
    ~basic_buffer() = default;

    /// Shares the other's block. A view into this buffer's own block leaves just that range of it.
    basic_buffer& operator=(const basic_buffer& other);
    /// Not noexcept: a view into this buffer's own shared block has to be copied out of it.
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    basic_buffer& operator=(basic_buffer&& other);
    basic_buffer& operator=(const T* text) { return assign(text); }
    basic_buffer& operator=(T element) { return assign(1, element); }

    /// As the constructor with the same arguments. With a range of this very buffer, the rest of it
    /// is erased. Copies go to the present block when they fit, so a view writes through.
    basic_buffer& assign(const basic_buffer& src) { return *this = src; }
    basic_buffer& assign(const basic_buffer& src, unsigned int pos, unsigned int n = npos);
    basic_buffer& assign(const T* text) { return assign(text, __calclen(text)); }
    basic_buffer& assign(const T* elements, unsigned int n);
    basic_buffer& assign(unsigned int n, T element);
    /// Becomes a view. On the start of a block that this buffer owns alone, the block is given up
    /// without being freed: it is then whoever else knows it that must free it. A view that begins
    /// further inside the own block would look at freed memory: that keeps the range, owned.
    basic_buffer& assign(const T* elements, unsigned int n, NOT_OWNER) {
        return __View(elements, elements != __block.get() ? __OwnCount(elements, n) : n);
    }
    basic_buffer& assign(const T* text, NOT_OWNER) {
        return assign(text, __calclen(text), NOT_OWNER());
    }
    basic_buffer& assign(const basic_buffer& src, unsigned int pos, unsigned int n, NOT_OWNER) {
        const RANGE range = src.__Clamp(pos, n);
        return __View(src.__At(range.pos), range.n);
    }

    /// Adopts a block from `malloc`; it will be freed here. Both sizes are in bytes. Nothing is
    /// terminated. Null leaves the buffer empty.
    void bind_to(void* memory, std::size_t byteSize, std::size_t byteCapacity);

    /// A view becomes an owned copy with no spare room; any other buffer stays as it is.
    basic_buffer& detach_if_static();

    /// A part as a buffer of its own; the whole is shared, the iterator forms always copy.
    basic_buffer substr(unsigned int pos = 0, unsigned int n = npos) const {
        return basic_buffer(*this, pos, n);
    }
    basic_buffer substr(const_iterator first, const_iterator last) const {
        return basic_buffer(first.base(), __Distance(first.base(), last.base()));
    }
    basic_buffer substr(const_iterator first) const { return substr(first, end()); }
    /// A part as a view, valid as long as this block lives unmoved. Nothing is copied.
    basic_buffer substr_static(unsigned int pos = 0, unsigned int n = npos) const noexcept {
        return basic_buffer(*this, pos, n, NOT_OWNER());
    }
    basic_buffer substr_static(const_iterator first, const_iterator last) const noexcept {
        return basic_buffer(first.base(), __Distance(first.base(), last.base()), NOT_OWNER());
    }
    basic_buffer substr_static(const_iterator first) const noexcept {
        return substr_static(first, end());
    }

    // --- Access: nothing here un-shares unless it says so ----------------------------------------

    unsigned int length() const noexcept { return __length; }
    unsigned int size() const noexcept { return __length; }
    unsigned int capacity() const noexcept { return __capacity; }
    bool empty() const noexcept { return __length == 0; }
    /// True for a view on foreign memory; the empty state is none.
    bool is_static() const noexcept { return __block.get() != nullptr && !__block.IsOwner(); }
    /// True if a 0 stands behind the last element.
    bool has_tail() const noexcept {
        return __capacity > __length && __block.get()[__length] == T(0);
    }

    /// The elements, never null. No terminator is added: behind a view anything may stand.
    const T* c_str() const noexcept { return _bufptr(); }
    const T* data() const noexcept { return _bufptr(); }

    /// Raw element access: no check, null in the empty state, and it can write into a shared block.
    T& operator[](unsigned int i) noexcept { return __block.get()[i]; }
    const T& operator[](unsigned int i) const noexcept { return __block.get()[i]; }
    T& front() noexcept { return *__block.get(); }
    const T& front() const noexcept { return *__block.get(); }
    T& back() noexcept { return __block.get()[__length - 1]; }
    const T& back() const noexcept { return __block.get()[__length - 1]; }
    /// The raw element pointer; null in the empty state.
    T* ref() noexcept { return __block.get(); }
    const T* ref() const noexcept { return __block.get(); }

    /// The element at a checked position: std::out_of_range when it isn't below the length. The
    /// writing form un-shares first.
    const T& at(unsigned int i) const {
        __Check(i);
        return __block.get()[i];
    }
    T& at(unsigned int i) {
        __Check(i);
        detach();
        return __block.get()[i];
    }

    iterator begin() noexcept { return iterator(_bufptr()); }
    iterator end() noexcept { return iterator(_bufptr() + __length); }
    const_iterator begin() const noexcept { return cbegin(); }
    const_iterator end() const noexcept { return cend(); }
    const_iterator cbegin() const noexcept { return const_iterator(_bufptr()); }
    const_iterator cend() const noexcept { return const_iterator(_bufptr() + __length); }
    reverse_iterator rbegin() noexcept { return reverse_iterator(_bufptr() + __length - 1); }
    reverse_iterator rend() noexcept { return reverse_iterator(_bufptr() - 1); }
    const_reverse_iterator rbegin() const noexcept { return crbegin(); }
    const_reverse_iterator rend() const noexcept { return crend(); }
    const_reverse_iterator crbegin() const noexcept {
        return const_reverse_iterator(_bufptr() + __length - 1);
    }
    const_reverse_iterator crend() const noexcept { return const_reverse_iterator(_bufptr() - 1); }

    /// The iterators for writing: they un-share first.
    iterator safe_begin() { return detach(), begin(); }
    iterator safe_end() { return detach(), end(); }
    reverse_iterator safe_rbegin() { return detach(), rbegin(); }
    reverse_iterator safe_rend() { return detach(), rend(); }

    /// Writes the length alone: no terminator, no un-sharing.
    void set_size(unsigned int n) noexcept { __length = n; }
    void set_length(unsigned int n) noexcept { __length = n; }

    /// Makes the block this buffer's own (a view stays one), terminated; the elements for writing.
    T* make_tail() {
        _grow_no_expand(std::uint64_t{__length} + sm_tail);
        __Terminate();
        return __block.get();
    }
    void detach() { make_tail(); }

    // --- Changes: all answer the buffer itself, unless an iterator -------------------------------

    basic_buffer& append(const basic_buffer& src) {
        return __Append(src.__block.get(), src.__length);
    }
    basic_buffer& append(const basic_buffer& src, unsigned int pos, unsigned int n = npos) {
        const RANGE range = src.__Clamp(pos, n);
        return __Append(src.__At(range.pos), range.n);
    }
    basic_buffer& append(const T* text) { return append(text, __calclen(text)); }
    basic_buffer& append(const T* elements, unsigned int n) {
        return __Append(elements, __OwnCount(elements, n));
    }
    basic_buffer& append(unsigned int n, T element);
    template <BufferRangeEnd<T> It>
    basic_buffer& append(It first, It last) {
        return __Append(std::to_address(first), __Distance(first, last));
    }
    basic_buffer& operator+=(const basic_buffer& src) { return append(src); }
    basic_buffer& operator+=(const T* text) { return append(text); }
    basic_buffer& operator+=(T element) { return push_back(element); }
    basic_buffer& push_back(T element) {
        _grow(std::uint64_t{__length} + 1 + sm_tail);
        __block.get()[__length++] = element;
        __Terminate();
        return *this;
    }

    basic_buffer& insert(unsigned int pos, const basic_buffer& src) { return replace(pos, 0, src); }
    basic_buffer& insert(unsigned int pos, const basic_buffer& src, unsigned int subpos,
                         unsigned int n = npos) {
        return replace(pos, 0, src, subpos, n);
    }
    basic_buffer& insert(unsigned int pos, const T* text) { return replace(pos, 0, text); }
    basic_buffer& insert(unsigned int pos, const T* elements, unsigned int n) {
        return replace(pos, 0, elements, n);
    }
    basic_buffer& insert(unsigned int pos, unsigned int n, T element) {
        return replace(pos, 0, n, element);
    }
    /// One element before `where`; the iterator to it.
    iterator insert(const_iterator where, T element = T(0)) {
        const unsigned int pos = __Offset(where);
        replace(pos, 0, 1, element);
        return begin() + pos;
    }
    basic_buffer& insert(const_iterator where, unsigned int n, T element) {
        return replace(__Offset(where), 0, n, element);
    }
    template <BufferRangeEnd<T> It>
    basic_buffer& insert(const_iterator where, It first, It last) {
        return replace(where, where, first, last);
    }

    basic_buffer& erase(unsigned int pos = 0, unsigned int n = npos);
    /// Takes one element out; nothing at the end. Answers an iterator at the same offset.
    iterator erase(const_iterator where) {
        const unsigned int pos = __Offset(where);
        if (pos < __length) {
            erase(pos, 1);
        }
        return begin() + pos;
    }
    iterator erase(const_iterator first, const_iterator last) {
        const unsigned int pos = __Offset(first);
        erase(pos, __Distance(first.base(), last.base()));
        return begin() + pos;
    }
    /// Takes the last element off; nothing on an empty buffer.
    basic_buffer& pop_back();

    basic_buffer& replace(unsigned int pos, unsigned int n1, unsigned int n2, T element);
    basic_buffer& replace(unsigned int pos, unsigned int n1, const basic_buffer& src) {
        return __Replace(__Clamp(pos, n1), src.__block.get(), src.__length);
    }
    basic_buffer& replace(unsigned int pos, unsigned int n1, const basic_buffer& src,
                          unsigned int subpos, unsigned int n2 = npos) {
        const RANGE range = src.__Clamp(subpos, n2);
        return __Replace(__Clamp(pos, n1), src.__At(range.pos), range.n);
    }
    basic_buffer& replace(unsigned int pos, unsigned int n1, const T* text) {
        return replace(pos, n1, text, __calclen(text));
    }
    basic_buffer& replace(unsigned int pos, unsigned int n1, const T* elements, unsigned int n2) {
        return __Replace(__Clamp(pos, n1), elements, __OwnCount(elements, n2));
    }
    basic_buffer& replace(const_iterator first, const_iterator last, const basic_buffer& src) {
        return replace(__Offset(first), __Distance(first.base(), last.base()), src);
    }
    basic_buffer& replace(const_iterator first, const_iterator last, const T* text) {
        return replace(__Offset(first), __Distance(first.base(), last.base()), text);
    }
    basic_buffer& replace(const_iterator first, const_iterator last, const T* elements,
                          unsigned int n) {
        return replace(__Offset(first), __Distance(first.base(), last.base()), elements, n);
    }
    basic_buffer& replace(const_iterator first, const_iterator last, unsigned int n, T element) {
        return replace(__Offset(first), __Distance(first.base(), last.base()), n, element);
    }
    template <BufferRangeEnd<T> It>
    basic_buffer& replace(const_iterator first, const_iterator last, It from, It to) {
        return __Replace(__Clamp(__Offset(first), __Distance(first.base(), last.base())),
                         std::to_address(from), __Distance(from, to));
    }

    /// Shortens, or fills up with `element`. Un-shares first; a view is terminated in place.
    basic_buffer& resize(unsigned int n, T element = T(0));
    /// Room for `n` elements, the terminator's place included. A shared text also gets that of its
    /// own terminator; beyond that not one more.
    basic_buffer& reserve(std::uint64_t n) { return _grow_no_expand(n), *this; }
    /// Empties the text. An owned block is kept; sharers keep theirs.
    basic_buffer& clear();
    /// Gives spare room back, when the block is this buffer's alone.
    basic_buffer& shrink();
    basic_buffer& swap(basic_buffer& other) noexcept {
        std::swap(__length, other.__length);
        std::swap(__capacity, other.__capacity);
        __block.swap(other.__block);
        return *this;
    }

    // --- Search and compare, by plain element value ----------------------------------------------

    /// The first occurrence at or behind `pos`. An empty needle is found at `pos`, up to the
    /// length.
    unsigned int find(const basic_buffer& needle, unsigned int pos = 0) const noexcept {
        return find(needle.__block.get(), pos, needle.__length);
    }
    unsigned int find(const T* needle, unsigned int pos = 0) const noexcept {
        return find(needle, pos, __calclen(needle));
    }
    unsigned int find(const T* needle, unsigned int pos, unsigned int n) const noexcept;
    unsigned int find(T element, unsigned int pos = 0) const noexcept;

    /// The last occurrence that begins at or before `pos`. An empty needle is found there at once.
    unsigned int rfind(const basic_buffer& needle, unsigned int pos = npos) const noexcept {
        return rfind(needle.__block.get(), pos, needle.__length);
    }
    unsigned int rfind(const T* needle, unsigned int pos = npos) const noexcept {
        return rfind(needle, pos, __calclen(needle));
    }
    unsigned int rfind(const T* needle, unsigned int pos, unsigned int n) const noexcept;
    unsigned int rfind(T element, unsigned int pos = npos) const noexcept {
        return rfind(&element, pos, 1);
    }

    /// The first (last) element that is (isn't) one of a set. An empty set holds nothing.
    unsigned int find_first_of(const basic_buffer& set, unsigned int pos = 0) const noexcept {
        return find_first_of(set.__block.get(), pos, set.__length);
    }
    unsigned int find_first_of(const T* set, unsigned int pos = 0) const noexcept {
        return find_first_of(set, pos, __calclen(set));
    }
    unsigned int find_first_of(const T* set, unsigned int pos, unsigned int n) const noexcept;
    unsigned int find_first_of(T element, unsigned int pos = 0) const noexcept {
        return find(element, pos);
    }
    unsigned int find_first_not_of(const basic_buffer& set, unsigned int pos = 0) const noexcept {
        return find_first_not_of(set.__block.get(), pos, set.__length);
    }
    unsigned int find_first_not_of(const T* set, unsigned int pos = 0) const noexcept {
        return find_first_not_of(set, pos, __calclen(set));
    }
    unsigned int find_first_not_of(const T* set, unsigned int pos, unsigned int n) const noexcept;
    unsigned int find_first_not_of(T element, unsigned int pos = 0) const noexcept {
        return find_first_not_of(&element, pos, 1);
    }
    unsigned int find_last_of(const basic_buffer& set, unsigned int pos = npos) const noexcept {
        return find_last_of(set.__block.get(), pos, set.__length);
    }
    unsigned int find_last_of(const T* set, unsigned int pos = npos) const noexcept {
        return find_last_of(set, pos, __calclen(set));
    }
    unsigned int find_last_of(const T* set, unsigned int pos, unsigned int n) const noexcept;
    unsigned int find_last_of(T element, unsigned int pos = npos) const noexcept {
        return find_last_of(&element, pos, 1);
    }
    unsigned int find_last_not_of(const basic_buffer& set, unsigned int pos = npos) const noexcept {
        return find_last_not_of(set.__block.get(), pos, set.__length);
    }
    unsigned int find_last_not_of(const T* set, unsigned int pos = npos) const noexcept {
        return find_last_not_of(set, pos, __calclen(set));
    }
    unsigned int find_last_not_of(const T* set, unsigned int pos, unsigned int n) const noexcept;
    unsigned int find_last_not_of(T element, unsigned int pos = npos) const noexcept {
        return find_last_not_of(&element, pos, 1);
    }

    /// Below, equal or above: -1, 0, 1 by the lengths, any sign by the first elements that differ,
    /// which are compared as unsigned values (so a negative wide element is a high one).
    int compare(const basic_buffer& other) const noexcept {
        return __Compare(__block.get(), __length, other.__block.get(), other.__length);
    }
    int compare(const T* text) const noexcept { return compare(0, npos, text, __calclen(text)); }
    int compare(unsigned int pos, unsigned int n, const basic_buffer& other) const noexcept {
        return compare(pos, n, other.__block.get(), other.__length);
    }
    int compare(unsigned int pos, unsigned int n, const T* text) const noexcept {
        return compare(pos, n, text, __calclen(text));
    }
    int compare(unsigned int pos, unsigned int n, const basic_buffer& other, unsigned int subpos,
                unsigned int m) const noexcept {
        const RANGE range = other.__Clamp(subpos, m);
        return compare(pos, n, other.__At(range.pos), range.n);
    }
    int compare(unsigned int pos, unsigned int n, const T* elements,
                unsigned int m) const noexcept {
        const RANGE range = __Clamp(pos, n);
        return __Compare(__At(range.pos), range.n, elements, m);
    }

    /// Copies to a room of `n` elements: at most n - 1 of them and a 0 behind (bytes: n, and no 0).
    /// The number copied, without that 0.
    unsigned int copy(T* destination, unsigned int n, unsigned int pos = 0) const noexcept;
    /// The same for a destination that its caller holds as constant.
    unsigned int copy(const T* destination, unsigned int n, unsigned int pos = 0) const noexcept {
        return copy(const_cast<T*>(destination), n, pos);
    }

    friend bool operator==(const basic_buffer& a, const basic_buffer& b) noexcept {
        return __Equal(a.__block.get(), a.__length, b.__block.get(), b.__length);
    }
    friend bool operator==(const basic_buffer& a, const T* b) noexcept {
        return __Equal(a.__block.get(), a.__length, b, __calclen(b));
    }
    friend std::strong_ordering operator<=>(const basic_buffer& a, const basic_buffer& b) noexcept {
        return a.compare(b) <=> 0;
    }
    friend std::strong_ordering operator<=>(const basic_buffer& a, const T* b) noexcept {
        return a.compare(b) <=> 0;
    }
    /// Both in one new block with no spare room.
    friend basic_buffer operator+(const basic_buffer& a, const basic_buffer& b) {
        basic_buffer sum;
        sum._grow_no_expand(std::uint64_t{a.__length} + b.__length + sm_tail);
        sum.append(a).append(b);
        return sum;
    }

    // --- For code that fills the block itself ----------------------------------------------------

    /// The elements, or the address of a lasting 0 in place of null.
    const T* _bufptr() const noexcept {
        const T* const elements = __block.get();
        return elements != nullptr ? elements : &sm_valNull;
    }
    T* _bufptr() noexcept {
        T* const elements = __block.get();
        return elements != nullptr ? elements : &sm_valNull;
    }
    /// True if `p` points at one of the elements.
    bool _is_inside(const T* p) const noexcept {
        return std::less_equal<>()(__block.get(), p) && std::less<>()(p, __block.get() + __length);
    }
    /// True if a change to `need` elements, the terminator's place included, could move, free or
    /// overwrite memory that is to be read. All of an own block can be. A view's memory is never
    /// moved or freed, but what is written may go beyond its end.
    bool _reaches(const void* memory, std::size_t bytes,
                  std::uint64_t need = max_size()) const noexcept {
        const T* const first = __block.get();
        const T* const last = first + (is_static() ? need : __capacity);
        const std::less<const void*> isBefore;
        return isBefore(memory, last) && isBefore(first, static_cast<const char*>(memory) + bytes);
    }
    /// Sets the length and writes the terminator there. No growth, no un-sharing.
    void _eofonly(unsigned int n) noexcept {
        __length = n;
        __Terminate();
    }
    /// Sets the length, provides room for it, terminates; the elements for writing.
    T* _eofbuf(unsigned int n);
    /// Where a checking build would un-share before raw element access; nothing here.
    void _detach_on_safe_mode() noexcept {}

    /// Makes the block this buffer's own with room for `n` elements, the terminator's place
    /// included. A block that must grow does so by one half, or to the need when that is more. A
    /// view has room for anything: what is written next goes to the memory looked at. A text is
    /// terminated in its new block.
    void _grow(std::uint64_t n) {
        if (n > __capacity || __block.IsShared()) {
            __Grow(n);
        }
    }
    /// The same with no room to spare, where the final size is known.
    void _grow_no_expand(std::uint64_t n) {
        if (n > __capacity || __block.IsShared()) {
            __GrowExactly(n);
        }
    }
    /// Room for `n` elements that overwrite the present ones: these are dropped, not copied.
    void _alloc_if_need(std::uint64_t n);

    /// The three fields with the block seen as elements `U`, shared with this buffer. Lengths are
    /// converted; a view gets the capacity of the target's views.
    template <class U>
    INTERNAL_LAYOUT<U> _layout_as() const noexcept;
    /// Takes over three fields that were made by `_layout_as`.
    template <class Other>
    static basic_buffer _from_layout(Other&& layout) noexcept {
        basic_buffer buffer;
        buffer.__length = layout.length;
        buffer.__capacity = layout.capacity;
        buffer.__block = std::move(layout.block);
        return buffer;
    }

protected:
    // Element primitives. Counts of 0 go with any pointer.

    static unsigned int __calclen(const T* text) noexcept {
        if (text == nullptr) {
            return 0;
        }
        if constexpr (sizeof(T) == 1) {
            return static_cast<unsigned int>(std::strlen(reinterpret_cast<const char*>(text)));
        } else {
            return static_cast<unsigned int>(std::wcslen(text));
        }
    }
    static void __copy(T* to, const T* from, std::size_t n) noexcept {
        if (n != 0) {
            std::memcpy(to, from, n * sizeof(T));
        }
    }
    static void __move(T* to, const T* from, std::size_t n) noexcept {
        if (n != 0) {
            std::memmove(to, from, n * sizeof(T));
        }
    }
    static void __fill(T* to, std::size_t n, T element) noexcept { std::fill_n(to, n, element); }
    static bool __eq(const T* a, const T* b, std::size_t n) noexcept {
        return n == 0 || std::memcmp(a, b, n * sizeof(T)) == 0;
    }
    /// The first `element` among `n`, or null.
    static const T* __findchr(const T* elements, std::size_t n, T element) noexcept {
        if (n == 0) {
            return nullptr;
        }
        if constexpr (sizeof(T) == 1) {
            return static_cast<const T*>(std::memchr(elements, element, n));
        } else {
            return std::wmemchr(elements, element, n);
        }
    }
    /// The sign of the first difference by unsigned element value, over `n` elements of both.
    static int __cmp(const T* a, const T* b, std::size_t n) noexcept;
    static T* __alloc(std::uint64_t n);

    /// A range of this buffer's elements.
    struct RANGE {
        unsigned int pos;
        unsigned int n;
    };
    RANGE __Clamp(unsigned int pos, unsigned int n) const noexcept {
        pos = std::min(pos, __length);
        return {pos, std::min(n, __length - pos)};
    }
    /// How far a pointer argument reaches: into the own content to its end at most.
    unsigned int __OwnCount(const T* elements, unsigned int n) const noexcept {
        return _is_inside(elements) ? std::min(n, __length - __OffsetOf(elements)) : n;
    }
    unsigned int __OffsetOf(const T* element) const noexcept {
        return static_cast<unsigned int>(element - __block.get());
    }
    /// The length for a change, checked before anything is touched.
    static std::uint64_t __Checked(std::uint64_t n) {
        if (n > max_size()) {
            throw std::bad_alloc();
        }
        return n;
    }
    /// The address of an element; null stays null in the empty state.
    const T* __At(unsigned int pos) const noexcept {
        return __block.get() != nullptr ? __block.get() + pos : nullptr;
    }
    unsigned int __Offset(const_iterator where) const noexcept {
        return static_cast<unsigned int>(where.base() - _bufptr());
    }
    template <class It>
    static unsigned int __Distance(It first, It last) noexcept {
        return static_cast<unsigned int>(last - first);
    }
    void __Terminate() noexcept {
        if constexpr (sm_tail != 0) {
            __block.get()[__length] = T(0);
        }
    }
    static bool __Equal(const T* a, unsigned int n, const T* b, unsigned int m) noexcept {
        return n == m && (a == b || __eq(a, b, n));
    }
    static int __Compare(const T* a, unsigned int n, const T* b, unsigned int m) noexcept {
        const int difference = a == b ? 0 : __cmp(a, b, std::min(n, m));
        return difference != 0 ? difference : (n > m) - (n < m);
    }

private:
    void __Check(unsigned int i) const {
        if (i >= __length) {
            __ThrowOutOfRange();
        }
    }
    [[noreturn]] static void __ThrowOutOfRange();
    void __Look(const T* elements, unsigned int n) noexcept;
    basic_buffer& __View(const T* elements, unsigned int n);
    basic_buffer& __KeepRange(unsigned int pos, unsigned int n);
    bool __Owns(const T* p) const noexcept;
    // The changes that read elements, which may be the receiver's own. All `n` of them count.
    basic_buffer& __Assign(const T* elements, unsigned int n);
    basic_buffer& __Append(const T* elements, unsigned int n);
    basic_buffer& __Replace(RANGE gap, const T* elements, unsigned int n);
    basic_buffer& __ReplaceByReached(RANGE gap, const T* elements, unsigned int n);
    basic_buffer& __ReplaceByOwn(RANGE gap, unsigned int from, unsigned int n);
    void __Grow(std::uint64_t n);
    void __GrowExactly(std::uint64_t n);
    void __Unshare(std::uint64_t capacity);
    void __Reallocate(std::uint64_t capacity);

    unsigned int __length = 0;
    unsigned int __capacity = 0;
    Block __block;

    static T sm_valNull;
};

template <class T, class Traits>
T basic_buffer<T, Traits>::sm_valNull = T(0);

template <class T, class Traits>
template <class U>
auto basic_buffer<T, Traits>::_layout_as() const noexcept -> INTERNAL_LAYOUT<U> {
    INTERNAL_LAYOUT<U> layout;
    const auto convert = [](unsigned int n) {
        return static_cast<unsigned int>(std::min<std::uint64_t>(
            std::uint64_t{n} * sizeof(T) / sizeof(U), basic_buffer<U>::max_size()));
    };
    layout.length = convert(__length);
    layout.capacity = is_static() ? basic_buffer<U>::max_size() : convert(__capacity);
    layout.block = {__block, static_cast<U*>(static_cast<void*>(__block.get()))};
    return layout;
}

/// 32-bit FNV-1a over the element bytes in memory order.
template <class T, class Traits>
std::uint32_t hash_value(const basic_buffer<T, Traits>& buffer) noexcept {
    constexpr std::uint32_t BASIS = 0x811C9DC5;
    constexpr std::uint32_t PRIME = 0x01000193;
    const auto* const bytes = reinterpret_cast<const unsigned char*>(buffer.data());
    const std::size_t n = std::size_t{buffer.length()} * sizeof(T);
    std::uint32_t hash = BASIS;
    for (std::size_t i = 0; i < n; ++i) {
        hash = (hash ^ bytes[i]) * PRIME;
    }
    return hash;
}

/// Orders keys of a container by their text without regard to case.
template <class S>
struct less_no_case {
    bool operator()(const S& a, const S& b) const { return a.compare_no_case(b) < 0; }
};

/// Writes the elements, embedded zeros included, within the stream's width, fill and adjustment.
template <class T, class Traits>
std::basic_ostream<T, Traits>& operator<<(std::basic_ostream<T, Traits>& stream,
                                          const basic_buffer<T, Traits>& buffer);
/// Reads one word: up to the stream's width in elements, to the next white space.
template <class T, class Traits>
std::basic_istream<T, Traits>& operator>>(std::basic_istream<T, Traits>& stream,
                                          basic_buffer<T, Traits>& buffer);
/// Reads up to `delimiter`, which is taken from the stream and not stored.
template <class T, class Traits>
std::basic_istream<T, Traits>& getline(std::basic_istream<T, Traits>& stream,
                                       basic_buffer<T, Traits>& buffer, T delimiter = T('\n'));

extern template class basic_buffer<char>;
extern template class basic_buffer<wchar_t>;
extern template class basic_buffer<unsigned char>;

} // namespace Quil
