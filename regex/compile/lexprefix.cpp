// Directors and embedded options: what a pattern may say about itself before it begins.

#include "regex/compile/lexer_core.h"

namespace Quil::IMPL::engine {

template <class chr>
void lexer<chr>::prefixes() {
    if (has(REG_QUOTE)) {
        return;
    }
    begintoken();
    constexpr std::size_t DIRECTORLENGTH = 4;
    if (left() >= DIRECTORLENGTH && nextare("***")) {
        director();
    }
    constexpr std::size_t OPTIONSLENGTH = 3;
    if (!iserr(v) && has(REG_ADVANCED) && left() >= OPTIONSLENGTH && nextare("(?") &&
        isletterchr(v->now[2])) {
        options();
    }
}

template <class chr>
void lexer<chr>::director() {
    v->now += 3;
    switch (*v->now++) {
    case '=':
        note(v, REG_UNONPOSIX);
        v->cflags |= REG_QUOTE;
        v->cflags &= ~(REG_ADVANCED | REG_EXPANDED | REG_NEWLINE);
        break;
    case ':':
        note(v, REG_UNONPOSIX);
        v->cflags |= REG_ADVANCED;
        break;
    case '?':
        fail(REG_BADPAT);
        break;
    default:
        fail(REG_BADRPT);
    }
}

template <class chr>
void lexer<chr>::options() {
    note(v, REG_UNONPOSIX);
    v->now += 2;
    for (; !atend() && isletterchr(*v->now); ++v->now) {
        if (!option(*v->now)) {
            begintoken();
            fail(REG_BADOPT);
            return;
        }
    }
    begintoken();
    if (!take(')')) {
        fail(REG_BADOPT);
    } else if (has(REG_QUOTE)) {
        v->cflags &= ~(REG_EXPANDED | REG_NEWLINE);
    }
}

/// Applies one embedded option, the later over the earlier; false if there is none of that letter.
template <class chr>
bool lexer<chr>::option(chr letter) {
    static constexpr struct {
        char letter;
        int cleared, set;
    } ALL[] = {
        {'b', REG_ADVANCED | REG_QUOTE, 0},
        {'c', REG_ICASE, 0},
        {'e', REG_ADVF | REG_QUOTE, REG_EXTENDED},
        {'i', 0, REG_ICASE},
        {'m', 0, REG_NEWLINE},
        {'n', 0, REG_NEWLINE},
        {'p', REG_NLANCH, REG_NLSTOP},
        {'q', REG_ADVANCED, REG_QUOTE},
        {'s', REG_NEWLINE, 0},
        {'t', REG_EXPANDED, 0},
        {'w', REG_NLSTOP, REG_NLANCH},
        {'x', 0, REG_EXPANDED},
    };
    for (const auto& row : ALL) {
        if (row.letter == letter) {
            v->cflags = (v->cflags & ~row.cleared) | row.set;
            return true;
        }
    }
    return false;
}

template void lexer<char>::prefixes();
template void lexer<wchar_t>::prefixes();

} // namespace Quil::IMPL::engine
