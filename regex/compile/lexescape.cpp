// Backslash sequences of AREs.

#include "regex/compile/lexer_core.h"

#include <span>

namespace Quil::IMPL::engine {

namespace {

constexpr int MAXDIGITS = 255; // that a number without a fixed length may have

constexpr shorthand<char> NARROW_SHORTHANDS[] = {
    {'d', "[[:digit:]]", "[:digit:]"},   {'D', "[^[:digit:]]", {}},
    {'s', "[[:space:]]", "[:space:]"},   {'S', "[^[:space:]]", {}},
    {'w', "[[:alnum:]_]", "[:alnum:]_"}, {'W', "[^[:alnum:]_]", {}},
};

constexpr shorthand<wchar_t> WIDE_SHORTHANDS[] = {
    {'d', L"[[:digit:]]", L"[:digit:]"},   {'D', L"[^[:digit:]]", {}},
    {'s', L"[[:space:]]", L"[:space:]"},   {'S', L"[^[:space:]]", {}},
    {'w', L"[[:alnum:]_]", L"[:alnum:]_"}, {'W', L"[^[:alnum:]_]", {}},
};

std::span<const shorthand<char>> shorthands(char) {
    return NARROW_SHORTHANDS;
}
std::span<const shorthand<wchar_t>> shorthands(wchar_t) {
    return WIDE_SHORTHANDS;
}

} // namespace

template <class chr>
const shorthand<chr>* findshorthand(celt letter) {
    for (const shorthand<chr>& row : shorthands(chr())) {
        if (row.letter == letter) {
            return &row;
        }
    }
    return nullptr;
}

/// The escape behind a backslash in an ARE. A class escape gives CCLASS with its letter.
template <class chr>
void lexer<chr>::escape() {
    const chr c = *v->now++;
    if (!isalnumchr(c)) {
        plain(c);
        return;
    }
    note(v, REG_UNONPOSIX);
    if (isdigitchr(c)) {
        escapedigit();
    } else {
        escapeletter(c);
    }
}

template <class chr>
void lexer<chr>::escapeletter(chr c) {
    constexpr int SHORTDIGITS = 4;
    constexpr int LONGDIGITS = 8;
    constexpr int CONTROLBITS = 0x1F;
    switch (c) {
    case 'a':
        named("alert", '\a');
        break;
    case 'A':
        token(SBEGIN);
        break;
    case 'b':
        plain('\b');
        break;
    case 'B':
        plain('\\');
        break;
    case 'c':
        note(v, REG_UUNPORT);
        if (atend()) {
            fail(REG_EESCAPE);
        } else {
            plain(static_cast<chr>(*v->now++ & CONTROLBITS));
        }
        break;
    case 'd':
    case 'D':
    case 's':
    case 'S':
    case 'w':
    case 'W':
        note(v, REG_ULOCALE);
        token(CCLASS, c);
        break;
    case 'e':
        note(v, REG_UUNPORT);
        named("ESC", '\x1B');
        break;
    case 'f':
        plain('\f');
        break;
    case 'm':
        token('<');
        break;
    case 'M':
        token('>');
        break;
    case 'n':
        plain('\n');
        break;
    case 'r':
        plain('\r');
        break;
    case 't':
        plain('\t');
        break;
    case 'u':
        plain(static_cast<chr>(digits(16, SHORTDIGITS, SHORTDIGITS)));
        break;
    case 'U':
        plain(static_cast<chr>(digits(16, LONGDIGITS, LONGDIGITS)));
        break;
    case 'v':
        plain('\v');
        break;
    case 'x':
        note(v, REG_UUNPORT);
        plain(static_cast<chr>(digits(16, 1, MAXDIGITS)));
        break;
    case 'y':
        note(v, REG_ULOCALE);
        token(WBDRY);
        break;
    case 'Y':
        note(v, REG_ULOCALE);
        token(NWBDRY);
        break;
    case 'Z':
        token(SEND);
        break;
    default:
        fail(REG_EESCAPE);
    }
}

/// A back reference or an octal number; `now` stands behind its first digit. A number of more than
/// one digit refers to a group only if so many have been opened.
template <class chr>
void lexer<chr>::escapedigit() {
    const chr* const first = --v->now;
    if (*first != '0') {
        const uchr number = digits(10, 1, MAXDIGITS);
        if (v->now - first == 1 || number <= static_cast<uchr>(v->nsubexp)) {
            note(v, REG_UBACKREF);
            token(BACKREF, static_cast<celt>(number));
            return;
        }
        v->now = first;
    }
    octal();
}

template <class chr>
void lexer<chr>::octal() {
    constexpr int OCTALDIGITS = 3;
    note(v, REG_UUNPORT);
    plain(static_cast<chr>(digits(8, 1, OCTALDIGITS)));
}

/// A character that a locale might know by `name`. None gives it another value than `fallback`;
/// to ask makes the expression one that depends on the locale.
template <class chr>
void lexer<chr>::named(std::string_view name, chr fallback) {
    if (name.size() > 1) {
        note(v, REG_ULOCALE);
    }
    plain(fallback);
}

/// Reads a number of at most `maxlen` digits; fewer than `minlen` are an error. Wraps.
template <class chr>
uchr lexer<chr>::digits(unsigned int base, int minlen, int maxlen) {
    uchr number = 0;
    int length = 0;
    for (; length < maxlen && !atend(); ++length, ++v->now) {
        const chr c = *v->now;
        unsigned int digit = base;
        if (isdigitchr(c)) {
            digit = static_cast<unsigned int>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            digit = static_cast<unsigned int>(c - 'a' + 10);
        } else if (c >= 'A' && c <= 'F') {
            digit = static_cast<unsigned int>(c - 'A' + 10);
        }
        if (digit >= base) {
            break;
        }
        number = number * base + digit;
    }
    if (length < minlen) {
        fail(REG_EESCAPE);
    }
    return number;
}

template const shorthand<char>* findshorthand(celt);
template void lexer<char>::escape();

template const shorthand<wchar_t>* findshorthand(celt);
template void lexer<wchar_t>::escape();

} // namespace Quil::IMPL::engine
