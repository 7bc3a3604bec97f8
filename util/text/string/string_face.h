// The lowest layer of the string classes: the buffer's operations, answering in the string class.
//
// `s.append(x).trim_left()` needs an `append` that gives the string and not its buffer. So do all
// changes, `substr` and the sums. This layer wraps those and adds what all three strings share; it
// holds no data.
#pragma once

#include "util/base/visibility.h"
#include "util/text/basic_buffer.h"

#include <concepts>

namespace QUIL_PUBLIC Quil {

/// A text that a function borrows for the time of a call: what a parameter is that may be given as
/// a string, a buffer or a literal. Nothing is copied or counted.
template <class T>
struct text_ref {
    text_ref(const basic_buffer<T>& text) noexcept : data(text.data()), length(text.length()) {}
    text_ref(const T* text) noexcept : text_ref(basic_buffer<T>(text, NOT_OWNER())) {}
    text_ref(const T* text, unsigned int n) noexcept : data(text), length(n) {}

    const T* data; ///< never null
    unsigned int length;

private:
    using NOT_OWNER = typename basic_buffer<T>::NOT_OWNER;
};

/// What a string takes in an assignment beside a string: a literal or an element. (As a constraint
/// of a template, so that `s = {}` stays the empty string.)
template <class U, class T>
concept AssignableText = std::same_as<U, T> || std::convertible_to<const U&, const T*>;

/// The face of `basic_buffer<T>` for the string class `Self`.
template <class Self, class T>
class string_face : public basic_buffer<T> {
    using Buffer = basic_buffer<T>;

public:
    using Buffer::npos;
    using typename Buffer::const_iterator;
    using typename Buffer::iterator;
    using typename Buffer::NOT_OWNER;

    using Buffer::Buffer;
    constexpr string_face() noexcept = default;
    /// Any buffer is a string of the same width; the block is shared.
    string_face(const Buffer& buffer) noexcept : Buffer(buffer) {}
    string_face(Buffer&& buffer) noexcept : Buffer(std::move(buffer)) {}

    Self& assign(const Buffer& src) { return Buffer::assign(src), _self(); }
    Self& assign(const Buffer& src, unsigned int pos, unsigned int n = npos) {
        return Buffer::assign(src, pos, n), _self();
    }
    Self& assign(const T* text) { return Buffer::assign(text), _self(); }
    Self& assign(const T* elements, unsigned int n) { return Buffer::assign(elements, n), _self(); }
    Self& assign(unsigned int n, T element) { return Buffer::assign(n, element), _self(); }
    Self& assign(const T* elements, unsigned int n, NOT_OWNER tag) {
        return Buffer::assign(elements, n, tag), _self();
    }
    Self& assign(const T* text, NOT_OWNER tag) { return Buffer::assign(text, tag), _self(); }
    Self& assign(const Buffer& src, unsigned int pos, unsigned int n, NOT_OWNER tag) {
        return Buffer::assign(src, pos, n, tag), _self();
    }
    Self& detach_if_static() { return Buffer::detach_if_static(), _self(); }

    Self substr(unsigned int pos = 0, unsigned int n = npos) const {
        return Self(Buffer::substr(pos, n));
    }
    Self substr(const_iterator first, const_iterator last) const {
        return Self(Buffer::substr(first, last));
    }
    Self substr(const_iterator first) const { return Self(Buffer::substr(first)); }
    Self substr_static(unsigned int pos = 0, unsigned int n = npos) const noexcept {
        return Self(Buffer::substr_static(pos, n));
    }
    Self substr_static(const_iterator first, const_iterator last) const noexcept {
        return Self(Buffer::substr_static(first, last));
    }
    Self substr_static(const_iterator first) const noexcept {
        return Self(Buffer::substr_static(first));
    }

    Self& append(const Buffer& src) { return Buffer::append(src), _self(); }
    Self& append(const Buffer& src, unsigned int pos, unsigned int n = npos) {
        return Buffer::append(src, pos, n), _self();
    }
    Self& append(const T* text) { return Buffer::append(text), _self(); }
    Self& append(const T* elements, unsigned int n) { return Buffer::append(elements, n), _self(); }
    Self& append(unsigned int n, T element) { return Buffer::append(n, element), _self(); }
    template <BufferRangeEnd<T> It>
    Self& append(It first, It last) {
        return Buffer::append(first, last), _self();
    }
    Self& operator+=(const Buffer& src) { return append(src); }
    Self& operator+=(const T* text) { return append(text); }
    Self& operator+=(T element) { return push_back(element); }
    Self& push_back(T element) { return Buffer::push_back(element), _self(); }
    Self& pop_back() { return Buffer::pop_back(), _self(); }

    Self& insert(unsigned int pos, const Buffer& src) { return Buffer::insert(pos, src), _self(); }
    Self& insert(unsigned int pos, const Buffer& src, unsigned int subpos, unsigned int n = npos) {
        return Buffer::insert(pos, src, subpos, n), _self();
    }
    Self& insert(unsigned int pos, const T* text) { return Buffer::insert(pos, text), _self(); }
    Self& insert(unsigned int pos, const T* elements, unsigned int n) {
        return Buffer::insert(pos, elements, n), _self();
    }
    Self& insert(unsigned int pos, unsigned int n, T element) {
        return Buffer::insert(pos, n, element), _self();
    }
    iterator insert(const_iterator where, T element = T(0)) {
        return Buffer::insert(where, element);
    }
    Self& insert(const_iterator where, unsigned int n, T element) {
        return Buffer::insert(where, n, element), _self();
    }
    template <BufferRangeEnd<T> It>
    Self& insert(const_iterator where, It first, It last) {
        return Buffer::insert(where, first, last), _self();
    }

    using Buffer::erase; // the iterator forms
    Self& erase(unsigned int pos = 0, unsigned int n = npos) {
        return Buffer::erase(pos, n), _self();
    }

    Self& replace(unsigned int pos, unsigned int n1, unsigned int n2, T element) {
        return Buffer::replace(pos, n1, n2, element), _self();
    }
    Self& replace(unsigned int pos, unsigned int n1, const Buffer& src) {
        return Buffer::replace(pos, n1, src), _self();
    }
    Self& replace(unsigned int pos, unsigned int n1, const Buffer& src, unsigned int subpos,
                  unsigned int n2 = npos) {
        return Buffer::replace(pos, n1, src, subpos, n2), _self();
    }
    Self& replace(unsigned int pos, unsigned int n1, const T* text) {
        return Buffer::replace(pos, n1, text), _self();
    }
    Self& replace(unsigned int pos, unsigned int n1, const T* elements, unsigned int n2) {
        return Buffer::replace(pos, n1, elements, n2), _self();
    }
    template <class... With>
    Self& replace(const_iterator first, const_iterator last, const With&... with) {
        return Buffer::replace(first, last, with...), _self();
    }

    Self& resize(unsigned int n, T element = T(0)) { return Buffer::resize(n, element), _self(); }
    Self& reserve(std::uint64_t n) { return Buffer::reserve(n), _self(); }
    Self& clear() { return Buffer::clear(), _self(); }
    Self& shrink() { return Buffer::shrink(), _self(); }
    Self& swap(Buffer& other) noexcept { return Buffer::swap(other), _self(); }

    /// Takes over a text that was built apart, since its sources may look into this one. A view is
    /// written through.
    Self& _Become(Self&& built) {
        return this->is_static() ? assign(built.data(), built.length()) : swap(built);
    }

    /// Both in one new block with no spare room.
    friend Self operator+(const Self& a, const Self& b) { return a._Sum(b); }
    friend Self operator+(const Self& a, const T* b) { return a._Sum({b, NOT_OWNER()}); }
    friend Self operator+(const Self& a, T b) { return a._Sum({&b, 1, NOT_OWNER()}); }
    friend Self operator+(const T* a, const Self& b) { return Self(a, NOT_OWNER())._Sum(b); }
    friend Self operator+(T a, const Self& b) { return Self(&a, 1, NOT_OWNER())._Sum(b); }
    /// A chain of sums appends to the block of its first one.
    friend Self operator+(Self&& a, const Self& b) { return a._Extended(b); }
    friend Self operator+(Self&& a, const T* b) { return a._Extended({b, NOT_OWNER()}); }
    friend Self operator+(Self&& a, T b) { return a._Extended({&b, 1, NOT_OWNER()}); }

    /// True if the string begins (ends) with `s`; an empty `s` always fits.
    bool begin_with(text_ref<T> s) const noexcept {
        return s.length <= this->length() &&
               Buffer::__Equal(this->data(), s.length, s.data, s.length);
    }
    bool end_with(text_ref<T> s) const noexcept {
        return s.length <= this->length() &&
               Buffer::__Equal(this->data() + this->length() - s.length, s.length, s.data,
                               s.length);
    }
    /// True if the first (last) element is one of `set`.
    bool begin_with_set(text_ref<T> set) const noexcept {
        return !this->empty() && Buffer::__findchr(set.data, set.length, this->front()) != nullptr;
    }
    bool end_with_set(text_ref<T> set) const noexcept {
        return !this->empty() && Buffer::__findchr(set.data, set.length, this->back()) != nullptr;
    }

protected:
    Self& _self() noexcept { return static_cast<Self&>(*this); }
    const Self& _self() const noexcept { return static_cast<const Self&>(*this); }

    Self _Sum(const Buffer& b) const { return Self(static_cast<const Buffer&>(*this) + b); }
    /// Only a temporary that owns its block may be extended: behind a view stands foreign memory.
    /// Nor may the block move under a `b` that looks into it.
    Self _Extended(const Buffer& b) {
        if (this->is_static() || this->_reaches(b.data(), b.length() * sizeof(T))) {
            return _Sum(b);
        }
        this->_grow_no_expand(std::uint64_t{this->length()} + b.length() + Buffer::sm_tail);
        return Self(std::move(append(b)));
    }
};

} // namespace Quil
