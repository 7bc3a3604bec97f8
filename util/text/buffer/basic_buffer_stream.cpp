// Text buffers in the standard streams, with the meaning that a standard string has there.
#include "util/base/CancelHold.h"
#include "util/text/basic_buffer.h"

#include <istream>
#include <locale>
#include <ostream>

namespace QUIL_PUBLIC Quil { // a template is as visible as its definition is

namespace {

template <class T, class Traits>
bool Pad(std::basic_streambuf<T, Traits>& to, std::streamsize n, T fill) {
    for (; n > 0; --n) {
        if (Traits::eq_int_type(to.sputc(fill), Traits::eof())) {
            return false;
        }
    }
    return true;
}

} // namespace

template <class T, class Traits>
std::basic_ostream<T, Traits>& operator<<(std::basic_ostream<T, Traits>& stream,
                                          const basic_buffer<T, Traits>& buffer) {
    const typename std::basic_ostream<T, Traits>::sentry sentry(stream);
    if (!sentry) {
        return stream;
    }
    const std::streamsize length = buffer.length();
    const std::streamsize padding = std::max<std::streamsize>(stream.width() - length, 0);
    const bool left = (stream.flags() & std::ios_base::adjustfield) == std::ios_base::left;
    bool written = false;
    try {
        std::basic_streambuf<T, Traits>& to = *stream.rdbuf();
        written = (left || Pad(to, padding, stream.fill())) &&
                  to.sputn(buffer.data(), length) == length &&
                  (!left || Pad(to, padding, stream.fill()));
    } catch (...) {
        IMPL::PassThreadEnd();
        stream.setstate(std::ios_base::badbit);
        return stream;
    }
    stream.width(0);
    if (!written) {
        stream.setstate(std::ios_base::badbit);
    }
    return stream;
}

template <class T, class Traits>
std::basic_istream<T, Traits>& operator>>(std::basic_istream<T, Traits>& stream,
                                          basic_buffer<T, Traits>& buffer) {
    const typename std::basic_istream<T, Traits>::sentry sentry(stream);
    if (!sentry) {
        return stream;
    }
    std::ios_base::iostate state = std::ios_base::goodbit;
    try {
        buffer.clear();
        const auto& classes = std::use_facet<std::ctype<T>>(stream.getloc());
        const std::streamsize limit =
            stream.width() > 0 ? stream.width() : std::streamsize{buffer.max_size()};
        std::basic_streambuf<T, Traits>& from = *stream.rdbuf();
        for (auto next = from.sgetc(); buffer.length() < limit; next = from.snextc()) {
            if (Traits::eq_int_type(next, Traits::eof())) {
                state |= std::ios_base::eofbit;
                break;
            }
            const T element = Traits::to_char_type(next);
            if (classes.is(std::ctype_base::space, element)) {
                break;
            }
            buffer.push_back(element);
        }
        stream.width(0);
    } catch (...) {
        IMPL::PassThreadEnd();
        stream.setstate(std::ios_base::badbit);
        return stream;
    }
    if (buffer.empty()) {
        state |= std::ios_base::failbit;
    }
    stream.setstate(state);
    return stream;
}

template <class T, class Traits>
std::basic_istream<T, Traits>& getline(std::basic_istream<T, Traits>& stream,
                                       basic_buffer<T, Traits>& buffer, T delimiter) {
    const typename std::basic_istream<T, Traits>::sentry sentry(stream, true);
    if (!sentry) {
        return stream;
    }
    std::ios_base::iostate state = std::ios_base::goodbit;
    try {
        buffer.clear();
        std::basic_streambuf<T, Traits>& from = *stream.rdbuf();
        for (auto next = from.sgetc();; next = from.snextc()) {
            if (Traits::eq_int_type(next, Traits::eof())) {
                state |= std::ios_base::eofbit;
                if (buffer.empty()) {
                    state |= std::ios_base::failbit;
                }
                break;
            }
            const T element = Traits::to_char_type(next);
            if (Traits::eq(element, delimiter)) {
                from.sbumpc();
                break;
            }
            if (buffer.length() >= buffer.max_size() - buffer.sm_tail) {
                state |= std::ios_base::failbit;
                break;
            }
            buffer.push_back(element);
        }
    } catch (...) {
        IMPL::PassThreadEnd();
        stream.setstate(std::ios_base::badbit);
        return stream;
    }
    stream.setstate(state);
    return stream;
}

template std::ostream& operator<<(std::ostream&, const basic_buffer<char>&);
template std::istream& operator>>(std::istream&, basic_buffer<char>&);
template std::istream& getline(std::istream&, basic_buffer<char>&, char);
template std::wostream& operator<<(std::wostream&, const basic_buffer<wchar_t>&);
template std::wistream& operator>>(std::wistream&, basic_buffer<wchar_t>&);
template std::wistream& getline(std::wistream&, basic_buffer<wchar_t>&, wchar_t);

} // namespace Quil
