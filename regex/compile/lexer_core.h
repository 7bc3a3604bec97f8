// The working face of the lexer, which its sources share: lexer.cpp reads tokens state by state,
// lexescape.cpp reads backslash sequences of AREs, lexprefix.cpp what stands before the expression.

#pragma once

#include "regex/compile/lexer.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Quil::IMPL::engine {

/// ASCII tests, whatever the locale.
template <class chr>
bool isdigitchr(chr c) {
    return c >= '0' && c <= '9';
}

template <class chr>
bool isletterchr(chr c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

template <class chr>
bool isalnumchr(chr c) {
    return isdigitchr(c) || isletterchr(c);
}

template <class chr>
bool isspacechr(chr c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// What a class escape such as \d stands for.
template <class chr>
struct shorthand {
    char letter;
    std::basic_string_view<chr> outside; ///< outside brackets
    std::basic_string_view<chr> inside;  ///< within; empty: not allowed there
};

/// The shorthand with that letter, null if there is none.
template <class chr>
const shorthand<chr>* findshorthand(celt letter);

/// The working face of the lexer: its state is all in `v`.
template <class chr>
struct lexer {
    vars<chr>* v;

    bool next();
    void prefixes();
    void startstate();
    void nest(std::basic_string_view<chr> text);

    /// What reading in one state came to.
    enum outcome { TOKEN, AGAIN };

    bool has(int flag) const { return (v->cflags & flag) == flag; }
    bool atend() const { return v->now == v->stop; }
    /// The present token begins here. One of a nested string begins where the shorthand does.
    void begintoken() {
        if (!v->savenow) {
            v->at = v->now - v->pattern;
        }
    }
    std::size_t left() const { return static_cast<std::size_t>(v->stop - v->now); }
    bool nextis(char c) const { return !atend() && *v->now == c; }
    bool nextare(std::string_view text) const;
    bool take(char c);
    bool quantified() { return has(REG_ADVF) && take('?'); }

    outcome token(int type, celt value = 0);
    outcome plain(chr c) { return token(PLAIN, c); }
    outcome fail(int code);
    outcome atpatternend();

    outcome read();
    outcome readbound(chr c);
    outcome readbrack(chr c);
    outcome readbrackescape();
    outcome readname(chr c, char punctuation);
    outcome readbre(chr c);
    outcome readbreescape();
    outcome readere(chr c);
    outcome readereescape();
    outcome readgroup();
    outcome readcomment();
    outcome openbrack();
    outcome plainescape(chr c);

    void escape();
    void escapeletter(chr c);
    void escapedigit();
    void octal();
    void named(std::string_view name, chr fallback);
    /// What the present token stands for if it is a class escape, else null.
    const shorthand<chr>* classescape() const {
        return v->nexttype == CCLASS && !iserr(v) ? findshorthand<chr>(v->nextvalue) : nullptr;
    }

    uchr digits(unsigned int base, int minlen, int maxlen);
    void skip();
    void director();
    void options();
    bool option(chr letter);
};

template <class chr>
bool lexer<chr>::nextare(std::string_view text) const {
    return left() >= text.size() && std::equal(text.begin(), text.end(), v->now);
}

template <class chr>
bool lexer<chr>::take(char c) {
    if (!nextis(c)) {
        return false;
    }
    ++v->now;
    return true;
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::token(int type, celt value) {
    if (!iserr(v)) { // else the token stays EOS
        v->nexttype = type;
        v->nextvalue = value;
    }
    return TOKEN;
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::fail(int code) {
    seterr(v, code, v->at);
    return TOKEN;
}

} // namespace Quil::IMPL::engine
