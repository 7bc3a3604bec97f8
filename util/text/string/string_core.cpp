// Case, trimming, folded search and appending for both text widths.
#include "util/text/string/string_core.h"

#include "util/text/byteEx.h"
#include "util/text/text_search.h"

#include <functional>

namespace Quil {

// --- Case, C string helpers ----------------------------------------------------------------------

template <class Self, class T>
template <class Map>
Self& string_core<Self, T>::__MakeCase(unsigned int pos, unsigned int n, Map map) {
    T* const elements = this->make_tail();
    const unsigned int end = std::uint64_t{pos} + n > this->length() ? this->length() : n;
    std::transform(elements, elements + end, elements,
                   [map](T element) { return static_cast<T>(map(element)); });
    return this->_self();
}

template <class Self, class T>
Self& string_core<Self, T>::make_upper(unsigned int pos, unsigned int n) {
    return __MakeCase(pos, n, [](T element) { return to_upper(element); });
}

template <class Self, class T>
Self& string_core<Self, T>::make_lower(unsigned int pos, unsigned int n) {
    return __MakeCase(pos, n, [](T element) { return to_lower(element); });
}

template <class Self, class T>
int string_core<Self, T>::strcmp(const T* a, const T* b, unsigned int n) noexcept {
    return Buffer::__cmp(a, b, n != npos ? n : std::min(strlen(a), strlen(b)));
}

template <class Self, class T>
T* string_core<Self, T>::strcpy(T* to, const T* from, unsigned int n) noexcept {
    Buffer::__copy(to, from, n != npos ? n : strlen(from));
    return to;
}

template <class Self, class T>
T* string_core<Self, T>::strmov(T* to, const T* from, unsigned int n) noexcept {
    Buffer::__move(to, from, n != npos ? n : strlen(from));
    return to;
}

// --- Trimming, prefix and suffix -----------------------------------------------------------------

template <class Self, class T>
unsigned int string_core<Self, T>::__LeadingSpaces() const noexcept {
    const auto word = std::find_if_not(this->begin(), this->end(), is_space);
    return static_cast<unsigned int>(word - this->begin());
}

template <class Self, class T>
unsigned int string_core<Self, T>::__TrailingSpaces() const noexcept {
    const auto word = std::find_if_not(this->rbegin(), this->rend(), is_space);
    return static_cast<unsigned int>(word - this->rbegin());
}

template <class Self, class T>
Self& string_core<Self, T>::trim_left() {
    const unsigned int n = __LeadingSpaces();
    return n != 0 ? this->erase(0, n) : this->_self();
}

template <class Self, class T>
Self& string_core<Self, T>::trim_right() {
    const unsigned int n = __TrailingSpaces();
    return n != 0 ? this->erase(this->length() - n) : this->_self();
}

template <class Self, class T>
Self string_core<Self, T>::trim_left_static() const {
    const unsigned int n = __LeadingSpaces();
    return n != this->length() ? this->substr_static(n) : Self();
}

template <class Self, class T>
Self string_core<Self, T>::trim_right_static() const {
    const unsigned int n = this->length() - __TrailingSpaces();
    return n != 0 ? this->substr_static(0, n) : Self();
}

template <class Self, class T>
bool string_core<Self, T>::begin_with_no_case(text_ref<T> s) const noexcept {
    return s.length <= this->length() && compare_no_case(0, s.length, s) == 0;
}

template <class Self, class T>
bool string_core<Self, T>::end_with_no_case(text_ref<T> s) const noexcept {
    return s.length <= this->length() &&
           compare_no_case(this->length() - s.length, s.length, s) == 0;
}

namespace {

template <class S, class T>
bool HasNoCase(text_ref<T> set, T element) noexcept {
    const int lowered = S::to_lower(element);
    return std::any_of(set.data, set.data + set.length,
                       [lowered](T one) { return S::to_lower(one) == lowered; });
}

} // namespace

template <class Self, class T>
bool string_core<Self, T>::begin_with_set_no_case(text_ref<T> set) const noexcept {
    return !this->empty() && HasNoCase<Self>(set, this->front());
}

template <class Self, class T>
bool string_core<Self, T>::end_with_set_no_case(text_ref<T> set) const noexcept {
    return !this->empty() && HasNoCase<Self>(set, this->back());
}

// --- Folded compare and search -------------------------------------------------------------------

template <class Self, class T>
int string_core<Self, T>::compare_no_case(unsigned int pos, unsigned int n,
                                          text_ref<T> s) const noexcept {
    const auto range = this->__Clamp(pos, n);
    const T* const elements = this->data() + range.pos;
    const unsigned int common = elements == s.data ? 0 : std::min(range.n, s.length);
    for (unsigned int i = 0; i < common; ++i) {
        const int a = to_lower(elements[i]);
        const int b = to_lower(s.data[i]);
        if (a != b) {
            return a < b ? -1 : 1;
        }
    }
    return (range.n > s.length) - (range.n < s.length);
}

template <class Self, class T>
Self string_core<Self, T>::_Lowered(text_ref<T> text) {
    Self lowered;
    T* const elements = lowered._eofbuf(text.length);
    std::transform(text.data, text.data + text.length, elements,
                   [](T element) { return static_cast<T>(to_lower(element)); });
    return lowered;
}

template <class Self, class T>
unsigned int string_core<Self, T>::find_no_case(text_ref<T> s, unsigned int pos) const {
    if (pos >= this->length() || s.length > this->length() - pos) {
        return npos;
    }
    if (s.length == 0) {
        return pos;
    }
    // Callers look for one delimiter after the other, so there is nothing to prepare for the length
    // of the text.
    IMPL::text_search<T, IMPL::lower_fold<Self>> search(s.data, s.length, 0);
    return search.find(this->data(), this->length(), pos);
}

template <class Self, class T>
unsigned int string_core<Self, T>::rfind_no_case(text_ref<T> s, unsigned int pos) const {
    if (s.length == 0) {
        return std::min(this->length(), pos);
    }
    IMPL::text_search<T, IMPL::lower_fold<Self>> search(s.data, s.length, 0);
    return search.find_last(this->data(), this->length(), pos);
}

namespace {

/// Whether the lowered element is in the lowered set.
template <class S>
auto IsIn(const S& set) {
    using T = typename S::value_type;
    return [&set](T element) { return set.find(static_cast<T>(S::to_lower(element))) != S::npos; };
}

} // namespace

template <class Self, class T>
unsigned int string_core<Self, T>::find_first_of_no_case(text_ref<T> set, unsigned int pos) const {
    const Self lowered = _Lowered(set);
    return IMPL::find_first_that(this->data(), this->length(), pos, IsIn(lowered));
}

template <class Self, class T>
unsigned int string_core<Self, T>::find_first_not_of_no_case(text_ref<T> set,
                                                             unsigned int pos) const {
    const Self lowered = _Lowered(set);
    return IMPL::find_first_that(this->data(), this->length(), pos, std::not_fn(IsIn(lowered)));
}

template <class Self, class T>
unsigned int string_core<Self, T>::find_last_of_no_case(text_ref<T> set, unsigned int pos) const {
    const Self lowered = _Lowered(set);
    return IMPL::find_last_that(this->data(), this->length(), pos, IsIn(lowered));
}

template <class Self, class T>
unsigned int string_core<Self, T>::find_last_not_of_no_case(text_ref<T> set,
                                                            unsigned int pos) const {
    const Self lowered = _Lowered(set);
    return IMPL::find_last_that(this->data(), this->length(), pos, std::not_fn(IsIn(lowered)));
}

// --- Appending -----------------------------------------------------------------------------------

template <class Self, class T>
Self& string_core<Self, T>::append_text(const Other* text, unsigned int n) {
    const unsigned int length = this->length();
    const std::uint64_t need = std::uint64_t{length} + n + Buffer::sm_tail;
    if (this->_reaches(text, n * sizeof(Other), need)) { // bytes of this very string, say
        const basic_buffer<Other> copy(text, n);
        return append_text(copy.data(), n);
    }
    this->_grow(need);
    std::transform(text, text + n, this->ref() + length, [](Other element) {
        if constexpr (sm_isWide) {
            return static_cast<T>(static_cast<signed char>(element));
        } else {
            return static_cast<T>(element);
        }
    });
    this->_eofonly(length + n);
    return this->_self();
}

template <class Self, class T>
Self& string_core<Self, T>::operator<<(const Other* text) {
    return append_text(
        text, basic_buffer<Other>(text, typename basic_buffer<Other>::NOT_OWNER()).length());
}

// The members that are defined here.
template class string_face<stringEx, char>;
template class string_core<stringEx, char>;
template class string_face<wstringEx, wchar_t>;
template class string_core<wstringEx, wchar_t>;
template class string_face<byteEx, unsigned char>;
template class string_core<byteEx, unsigned char>;

} // namespace Quil
