// How the literals of a set look at elements of a text: without their case, if need be, and whether
// they are part of a word.
//
// A set is searched in wide text or in the bytes of UTF-8. There only ASCII has case; who searches
// has to see to it that this is enough.
#pragma once

#include "util/base/unicode_units.h"
#include "util/text/char_class.h"
#include "util/text/string/string_face.h"

#include <cstdint>

namespace Quil::IMPL {

inline wchar_t fold_literal(wchar_t c) noexcept {
    return UniCharToLower(c);
}

inline unsigned char fold_literal(unsigned char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c | 0x20U) : c;
}

/// Letters, digits and the underscore make words.
inline bool is_word_element(wchar_t c) noexcept {
    return static_cast<std::uint32_t>(c) < UNICODE_END && c <= 0xFFFF &&
           (c == L'_' || char_class<wchar_t>::is_alnum(static_cast<int>(c)));
}

/// What stands at a place: part of a word, something else, or the beginning of a character whose
/// other bytes are still to come.
enum class EDGE { WORD, OTHER, OPEN };

inline EDGE edge_at(text_ref<wchar_t> text, unsigned int at) noexcept {
    return at < text.length && is_word_element(text.data[at]) ? EDGE::WORD : EDGE::OTHER;
}

/// Bytes that make no character are part of no word.
inline EDGE edge_at(text_ref<unsigned char> text, unsigned int at) noexcept {
    if (at >= text.length) {
        return EDGE::OTHER;
    }
    const unsigned int lead = text.data[at];
    if (lead < 0x80) {
        return is_word_element(static_cast<wchar_t>(lead)) ? EDGE::WORD : EDGE::OTHER;
    }
    const unsigned int length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    std::uint32_t character = lead & (0xFFU >> (length + 1));
    for (unsigned int i = 1; i < length; ++i) {
        if (at + i == text.length) {
            return EDGE::OPEN;
        }
        if (!IsContinuation(text.data[at + i])) {
            return EDGE::OTHER;
        }
        character = character << 6 | (text.data[at + i] & 0x3FU);
    }
    return is_word_element(static_cast<wchar_t>(character)) ? EDGE::WORD : EDGE::OTHER;
}

/// Where the last character begins that the text's end cuts; its length if none is.
inline unsigned int cut_begin(text_ref<wchar_t> text) noexcept {
    return text.length;
}

inline unsigned int cut_begin(text_ref<unsigned char> text) noexcept {
    unsigned int begin = text.length;
    while (begin > 0 && text.length - begin < 3 && IsContinuation(text.data[begin - 1])) {
        --begin;
    }
    return begin > 0 && edge_at(text, begin - 1) == EDGE::OPEN ? begin - 1 : text.length;
}

/// Whether what stands before a place, which isn't the text's start, is part of a word.
inline bool is_word_before(text_ref<wchar_t> text, unsigned int at) noexcept {
    return is_word_element(text.data[at - 1]);
}

inline bool is_word_before(text_ref<unsigned char> text, unsigned int at) noexcept {
    unsigned int begin = at - 1;
    while (begin > 0 && at - begin < 4 && IsContinuation(text.data[begin])) {
        --begin;
    }
    return edge_at({text.data + begin, at - begin}, 0) == EDGE::WORD;
}

} // namespace Quil::IMPL
