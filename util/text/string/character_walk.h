// Walking over text by characters that take one unit or several, whatever the encoding: all that it
// needs to know is at which units a character starts.
#pragma once

#include "util/text/string/string_face.h"

namespace Quil::IMPL {

/// Characters of a text of units `T`, where `Starts(text, i)` tells whether one starts at unit `i`.
/// It may look at the units before `i`. Broken text is walked as it is: units that start nothing
/// belong to the character before them.
template <class T, bool (*Starts)(const T*, unsigned int)>
class character_walk {
public:
    static constexpr unsigned int npos = basic_buffer<T>::npos;

    explicit character_walk(text_ref<T> text) noexcept : __text(text) {}

    /// The number of characters.
    unsigned int Count() const noexcept {
        unsigned int count = 0;
        for (unsigned int i = 0; i < __text.length; ++i) {
            count += Starts(__text.data, i) ? 1 : 0;
        }
        return count;
    }

    /// The first unit of the character that `pos` lies in.
    unsigned int StartOf(unsigned int pos) const noexcept {
        if (pos >= __text.length) {
            return pos;
        }
        while (pos > 0 && !Starts(__text.data, pos)) {
            --pos;
        }
        return pos;
    }

    /// The first unit of the next character behind `pos`; `npos` at the end.
    unsigned int Next(unsigned int pos) const noexcept {
        const unsigned int end = __EndOf(pos);
        return end < __text.length ? end : npos;
    }

    /// The first unit of the `n`-th character, counted from 1; `npos` if there is none.
    unsigned int Find(unsigned int n) const noexcept {
        unsigned int count = 0;
        for (unsigned int i = 0; i < __text.length; ++i) {
            if (Starts(__text.data, i) && ++count == n) {
                return i;
            }
        }
        return npos;
    }

    /// The units of the character that `pos` lies in; 0 behind the text.
    unsigned int LengthAt(unsigned int pos) const noexcept {
        return pos < __text.length ? __EndOf(pos) - StartOf(pos) : 0;
    }

private:
    unsigned int __EndOf(unsigned int pos) const noexcept {
        if (pos >= __text.length) {
            return __text.length;
        }
        do {
            ++pos;
        } while (pos < __text.length && !Starts(__text.data, pos));
        return pos;
    }

    text_ref<T> __text;
};

} // namespace Quil::IMPL
