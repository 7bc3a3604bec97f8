#include "util/text/replace/cased_text.h"

#include "util/text/ConvStr.h"
#include "util/text/char_class.h"

namespace Quil::IMPL {

namespace {

using cls = char_class<wchar_t>;

/// Unicode's tables tell of no character above.
constexpr wchar_t LAST_WITH_CASE = 0xFFFF;

bool HasCase(wchar_t c) {
    return c >= 0 && c <= LAST_WITH_CASE;
}

wchar_t Upper(wchar_t c) {
    return HasCase(c) ? UniCharToUpper(c) : c;
}

wchar_t Lower(wchar_t c) {
    return HasCase(c) ? UniCharToLower(c) : c;
}

bool IsUpper(wchar_t c) {
    return Lower(c) != c;
}

bool IsLower(wchar_t c) {
    return Upper(c) != c;
}

/// An apostrophe is within a word.
bool IsInWord(wchar_t c) {
    return c == L'\'' || c == L'\x2019' || (HasCase(c) && cls::is_alnum(static_cast<int>(c)));
}

/// Calls `use(character, isFirst)` for each letter, and says whether it is its word's first.
template <class Char, class Use>
void EachLetter(Char* text, unsigned int length, Use use) {
    bool isInWord = false;
    for (unsigned int i = 0; i < length; ++i) {
        if (IsUpper(text[i]) || IsLower(text[i])) {
            use(text[i], !isInWord);
        }
        isInWord = IsInWord(text[i]);
    }
}

text_ref<wchar_t> Wide(text_ref<wchar_t> text, wstringEx& /*room*/) {
    return text;
}

text_ref<wchar_t> Wide(text_ref<unsigned char> text, wstringEx& room) {
    ConvStrUToW(room, stringEx(reinterpret_cast<const char*>(text.data), text.length));
    return room;
}

void Put(text_writer<wchar_t>& out, const wstringEx& text) {
    out.put(text);
}

void Put(text_writer<unsigned char>& out, const wstringEx& text) {
    stringEx bytes;
    ConvStrSToU(bytes, text);
    out.put({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.length()});
}

} // namespace

void change_case(wchar_t* text, unsigned int length, CASE_CHANGE change) {
    EachLetter(text, length, [change](wchar_t& c, bool isFirst) {
        const bool toUpper =
            change == CASE_CHANGE::UPPER || (change == CASE_CHANGE::TITLE && isFirst);
        c = change == CASE_CHANGE::NONE ? c : toUpper ? Upper(c) : Lower(c);
    });
}

CASE_STYLE case_style_of(text_ref<wchar_t> text) {
    unsigned int uppers = 0;
    unsigned int lowers = 0;
    unsigned int words = 0;
    unsigned int capitals = 0; // words that begin with one
    bool hasFirst = false;     // the first letter is a capital
    EachLetter(text.data, text.length, [&](wchar_t c, bool isFirst) {
        const bool isUpper = IsUpper(c);
        hasFirst = hasFirst || (isUpper && uppers + lowers == 0);
        words += isFirst ? 1 : 0;
        capitals += isFirst && isUpper ? 1 : 0;
        ++(isUpper ? uppers : lowers);
    });
    if (lowers == 0 && uppers > 1) {
        return CASE_STYLE::UPPER;
    }
    if (words > 1 && capitals == words && uppers == words) {
        return CASE_STYLE::TITLES;
    }
    return hasFirst && uppers == 1 ? CASE_STYLE::CAPITAL : CASE_STYLE::OTHER;
}

void apply_case_style(wchar_t* text, unsigned int length, CASE_STYLE style) {
    bool isBegun = false;
    EachLetter(text, length, [&](wchar_t& c, bool isFirst) {
        const bool toUpper = style == CASE_STYLE::UPPER ||
                             (style == CASE_STYLE::TITLES && isFirst) ||
                             (style == CASE_STYLE::CAPITAL && !isBegun);
        c = toUpper ? Upper(c) : c;
        isBegun = true;
    });
}

template <class T>
void put_changed(text_writer<T>& out, text_ref<T> text, CASE_CHANGE change) {
    if (change == CASE_CHANGE::NONE) {
        out.put(text);
        return;
    }
    wstringEx room;
    const text_ref<wchar_t> wide = Wide(text, room);
    wstringEx changed(wide.data, wide.length);
    change_case(changed.ref(), changed.length(), change);
    Put(out, changed);
}

template <class T>
void put_like(text_writer<T>& out, text_ref<T> text, text_ref<T> model) {
    wstringEx room;
    const CASE_STYLE style = case_style_of(Wide(model, room));
    if (style == CASE_STYLE::OTHER) {
        out.put(text);
        return;
    }
    const text_ref<wchar_t> wide = Wide(text, room);
    wstringEx changed(wide.data, wide.length);
    apply_case_style(changed.ref(), changed.length(), style);
    Put(out, changed);
}

template void put_changed(text_writer<unsigned char>&, text_ref<unsigned char>, CASE_CHANGE);
template void put_changed(text_writer<wchar_t>&, text_ref<wchar_t>, CASE_CHANGE);
template void put_like(text_writer<unsigned char>&, text_ref<unsigned char>,
                       text_ref<unsigned char>);
template void put_like(text_writer<wchar_t>&, text_ref<wchar_t>, text_ref<wchar_t>);

} // namespace Quil::IMPL
