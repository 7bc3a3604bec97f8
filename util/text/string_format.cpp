// printf into a string of either width. The room is fixed and there is no second try: the caller
// who expects more than the usual room says how much.
#include "util/text/byteEx.h"
#include "util/text/wide_format.h"

#include <cstdio>

namespace Quil {

namespace {

constexpr unsigned int FORMAT_ROOM = 256;

} // namespace

template <class Self, class T>
int string_core<Self, T>::vsnprintf(T* to, unsigned int n, const T* format, va_list arguments) {
    if constexpr (sm_isWide) {
        return IMPL::my_vsnwprintf(to, n, format, arguments);
    } else {
        return std::vsnprintf(to, n, format, arguments);
    }
}

template <class Self, class T>
int string_core<Self, T>::snprintf(T* to, unsigned int n, const T* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int written = vsnprintf(to, n, format, arguments);
    va_end(arguments);
    return written;
}

template <class Self, class T>
Self& string_core<Self, T>::append_vformat(unsigned int size, const T* format, va_list arguments) {
    const unsigned int length = this->length();
    this->_grow_no_expand(std::uint64_t{length} + size + 1);
    // The C library counts the terminator as part of the room, the wide formatter doesn't.
    const unsigned int room = sm_isWide ? size : size + 1;
    const int wanted = vsnprintf(this->ref() + length, room, format, arguments);
    const unsigned int written = wanted > 0 ? static_cast<unsigned int>(wanted) : 0;
    this->ref()[length + size] = T(0);
    this->_eofonly(length + std::min(written, size));
    return this->_self();
}

template <class Self, class T>
Self& string_core<Self, T>::append_vformat(const T* format, va_list arguments) {
    return append_vformat(FORMAT_ROOM, format, arguments);
}

template <class Self, class T>
Self& string_core<Self, T>::vformat(unsigned int size, const T* format, va_list arguments) {
    this->clear();
    return append_vformat(size, format, arguments);
}

template <class Self, class T>
Self& string_core<Self, T>::vformat(const T* format, va_list arguments) {
    return vformat(FORMAT_ROOM, format, arguments);
}

template <class Self, class T>
Self& string_core<Self, T>::format(const T* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vformat(format, arguments);
    va_end(arguments);
    return this->_self();
}

template <class Self, class T>
Self& string_core<Self, T>::format(unsigned int size, const T* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vformat(size, format, arguments);
    va_end(arguments);
    return this->_self();
}

template <class Self, class T>
Self& string_core<Self, T>::append_format(const T* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    append_vformat(format, arguments);
    va_end(arguments);
    return this->_self();
}

template <class Self, class T>
Self& string_core<Self, T>::append_format(unsigned int size, const T* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    append_vformat(size, format, arguments);
    va_end(arguments);
    return this->_self();
}

// The members that are defined here.
template class string_core<stringEx, char>;
template class string_core<wstringEx, wchar_t>;

} // namespace Quil
