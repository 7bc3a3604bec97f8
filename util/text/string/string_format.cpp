// printf into a string of either width. The room is fixed and there is no second try: the caller
// who expects more than the usual room says how much.
//
// The arguments may be texts of the very string, and so may the format: what is formatted is
// written apart from it, and appended when all are read.
#include "util/text/byteEx.h"
#include "util/text/string/wide_format.h"

#include <array>
#include <cstdio>

namespace Quil {

namespace {

constexpr unsigned int FORMAT_ROOM = 256;

/// What is formatted, apart from any string; at most `size` elements.
template <class S>
class formatted_text {
    using T = typename S::value_type;

public:
    formatted_text(unsigned int size, const T* format, va_list arguments) {
        T* const room = size <= FORMAT_ROOM ? __usual.data() : __large._eofbuf(size);
        // The C library counts the terminator as part of the room, the wide formatter doesn't.
        constexpr unsigned int TAIL = sizeof(T) == 1 ? 1 : 0;
        const int wanted = S::vsnprintf(room, size + TAIL, format, arguments);
        __data = room;
        __length = std::min(wanted > 0 ? static_cast<unsigned int>(wanted) : 0U, size);
    }
    formatted_text(const formatted_text&) = delete;
    formatted_text& operator=(const formatted_text&) = delete;

    const T* data() const noexcept { return __data; }
    unsigned int length() const noexcept { return __length; }

private:
    std::array<T, FORMAT_ROOM + 1> __usual;
    basic_buffer<T> __large;
    const T* __data;
    unsigned int __length;
};

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
    const formatted_text<Self> formatted(size, format, arguments);
    this->reserve(std::uint64_t{this->length()} + size + 1);
    return append_text(formatted.data(), formatted.length());
}

template <class Self, class T>
Self& string_core<Self, T>::append_vformat(const T* format, va_list arguments) {
    return append_vformat(FORMAT_ROOM, format, arguments);
}

template <class Self, class T>
Self& string_core<Self, T>::vformat(unsigned int size, const T* format, va_list arguments) {
    const formatted_text<Self> formatted(size, format, arguments);
    this->clear().reserve(std::uint64_t{size} + 1);
    return append_text(formatted.data(), formatted.length());
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
