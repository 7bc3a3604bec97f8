// Tokens: one function a state, `next` above them.

#include "regex/compile/lexer_core.h"

namespace Quil::IMPL::engine {

template <class chr>
void lexer<chr>::nest(std::basic_string_view<chr> text) {
    v->savenow = v->now;
    v->savestop = v->stop;
    v->now = text.data();
    v->stop = text.data() + text.size();
}

template <class chr>
bool lexer<chr>::next() {
    if (iserr(v)) {
        return false;
    }
    v->lasttype = v->nexttype;
    if (v->nexttype == EMPTY && has(REG_BOSONLY)) {
        token(SBEGIN);
        return true;
    }
    while (read() == AGAIN) {
    }
    return !iserr(v);
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::read() {
    if (v->savenow && atend()) {
        v->now = v->savenow;
        v->stop = v->savestop;
        v->savenow = v->savestop = nullptr;
    }
    const bool maintext = v->lexcon == L_ERE || v->lexcon == L_BRE;
    if (has(REG_EXPANDED) && (maintext || v->lexcon == L_EBND || v->lexcon == L_BBND)) {
        skip();
    }
    begintoken();
    if (atend()) {
        return atpatternend();
    }
    const chr c = *v->now++;
    switch (v->lexcon) {
    case L_ERE:
        return readere(c);
    case L_BRE:
        return readbre(c);
    case L_Q:
        return plain(c);
    case L_EBND:
    case L_BBND:
        return readbound(c);
    case L_BRACK:
        return readbrack(c);
    case L_CEL:
        return readname(c, '.');
    case L_ECL:
        return readname(c, '=');
    case L_CCL:
        return readname(c, ':');
    default:
        return fail(REG_ASSERT);
    }
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::atpatternend() {
    switch (v->lexcon) {
    case L_ERE:
    case L_BRE:
    case L_Q:
        return token(EOS);
    case L_EBND:
    case L_BBND:
        v->at = v->opened;
        return fail(REG_EBRACE);
    default:
        v->at = v->opened;
        return fail(REG_EBRACK);
    }
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::readbound(chr c) {
    if (isdigitchr(c)) {
        return token(DIGIT, c - '0');
    }
    if (c == ',') {
        return token(',');
    }
    if (v->lexcon == L_EBND && c == '}') {
        v->lexcon = L_ERE;
        if (!quantified()) {
            return token('}', 1);
        }
        note(v, REG_UNONPOSIX);
        return token('}', 0);
    }
    if (v->lexcon == L_BBND && c == '\\' && take('}')) {
        v->lexcon = L_BRE;
        return token('}', 1);
    }
    return fail(REG_BADBR);
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::readbrack(chr c) {
    switch (c) {
    case ']':
        if (v->lasttype == '[') {
            return plain(c);
        }
        v->lexcon = has(REG_EXTENDED) ? L_ERE : L_BRE;
        return token(']');
    case '\\':
        return readbrackescape();
    case '-':
        if (v->lasttype == '[' || nextis(']')) {
            return plain(c);
        }
        return token(RANGE, c);
    case '[':
        if (atend()) {
            return atpatternend();
        }
        if (take('.')) {
            v->lexcon = L_CEL;
            return token(COLLEL);
        }
        if (take('=')) {
            v->lexcon = L_ECL;
            note(v, REG_ULOCALE);
            return token(ECLASS);
        }
        if (take(':')) {
            v->lexcon = L_CCL;
            note(v, REG_ULOCALE);
            return token(CCLASS);
        }
        return plain(c);
    default:
        return plain(c);
    }
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::readbrackescape() {
    note(v, REG_UBBS);
    if (!has(REG_ADVF)) {
        return plain('\\');
    }
    note(v, REG_UNONPOSIX);
    if (atend()) {
        return fail(REG_EESCAPE);
    }
    escape();
    if (v->nexttype == PLAIN || iserr(v)) {
        return TOKEN;
    }
    const shorthand<chr>* const row = classescape();
    if (!row || row->inside.empty()) {
        return fail(REG_EESCAPE);
    }
    nest(row->inside);
    v->nexttype = v->lasttype;
    return AGAIN;
}

/// In the name of a collating element or a class, up to its closing punctuation.
template <class chr>
typename lexer<chr>::outcome lexer<chr>::readname(chr c, char punctuation) {
    if (c != punctuation || !take(']')) {
        return plain(c);
    }
    v->lexcon = L_BRACK;
    return token(END, punctuation);
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::readbre(chr c) {
    switch (c) {
    case '*':
        if (v->lasttype == EMPTY || v->lasttype == '(' || v->lasttype == '^') {
            return plain(c);
        }
        return token('*', 1);
    case '[':
        return openbrack();
    case '.':
        return token('.');
    case '^':
        if (v->lasttype == EMPTY) {
            return token('^');
        }
        if (v->lasttype == '(') {
            note(v, REG_UUNSPEC);
            return token('^');
        }
        return plain(c);
    case '$':
        if (has(REG_EXPANDED)) {
            skip();
        }
        if (atend()) {
            return token('$');
        }
        if (nextare("\\)")) {
            note(v, REG_UUNSPEC);
            return token('$');
        }
        return plain(c);
    case '\\':
        return readbreescape();
    default:
        return plain(c);
    }
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::readbreescape() {
    if (atend()) {
        return fail(REG_EESCAPE);
    }
    const chr c = *v->now++;
    switch (c) {
    case '{':
        v->lexcon = L_BBND;
        v->opened = v->at;
        note(v, REG_UBOUNDS);
        return token('{');
    case '(':
        return token('(', has(REG_NOSUB) ? 0 : 1);
    case ')':
        return token(')', c);
    case '<':
    case '>':
        note(v, REG_UNONPOSIX);
        return token(c);
    default:
        if (c >= '1' && c <= '9') {
            note(v, REG_UBACKREF);
            return token(BACKREF, c - '0');
        }
        return plainescape(c);
    }
}

/// A backslash outside AREs that only takes away the meaning of what follows.
template <class chr>
typename lexer<chr>::outcome lexer<chr>::plainescape(chr c) {
    if (isalnumchr(c)) {
        note(v, REG_UBSALNUM | REG_UUNSPEC);
    }
    return plain(c);
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::readere(chr c) {
    switch (c) {
    case '|':
    case '.':
    case '^':
    case '$':
        return token(c);
    case '*':
    case '+':
    case '?':
        if (!quantified()) {
            return token(c, 1);
        }
        note(v, REG_UNONPOSIX);
        return token(c, 0);
    case '{':
        if (has(REG_EXPANDED)) {
            skip();
        }
        if (!atend() && isdigitchr(*v->now)) {
            note(v, REG_UBOUNDS);
            v->lexcon = L_EBND;
            v->opened = v->at;
            return token('{');
        }
        note(v, REG_UBRACES | REG_UUNSPEC);
        return plain(c);
    case '(':
        if (has(REG_ADVF) && take('?')) {
            return readgroup();
        }
        return token('(', has(REG_NOSUB) ? 0 : 1);
    case ')':
        if (v->lasttype == '(') {
            note(v, REG_UUNSPEC);
        }
        return token(')', c);
    case '[':
        return openbrack();
    case '\\':
        return readereescape();
    default:
        return plain(c);
    }
}

/// Behind "(?".
template <class chr>
typename lexer<chr>::outcome lexer<chr>::readgroup() {
    note(v, REG_UNONPOSIX);
    if (take(':')) {
        return token('(', 0);
    }
    if (take('#')) {
        return readcomment();
    }
    if (nextis('=') || nextis('!')) {
        note(v, REG_ULOOKAHEAD);
        return token(LACON, *v->now++ == '=' ? 1 : 0);
    }
    return fail(REG_BADRPT);
}

/// A comment leaves no token: what is read next stands where the comment stood.
template <class chr>
typename lexer<chr>::outcome lexer<chr>::readcomment() {
    while (!atend() && *v->now != ')') {
        ++v->now;
    }
    take(')');
    return AGAIN;
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::openbrack() {
    for (const char edge : {'<', '>'}) {
        const char rest[] = {'[', ':', edge, ':', ']', ']'};
        if (nextare({rest, sizeof(rest)})) {
            v->now += sizeof(rest);
            note(v, REG_UNONPOSIX);
            return token(edge);
        }
    }
    v->lexcon = L_BRACK;
    v->opened = v->at;
    return token('[', take('^') ? 0 : 1);
}

template <class chr>
typename lexer<chr>::outcome lexer<chr>::readereescape() {
    if (atend()) {
        return fail(REG_EESCAPE);
    }
    if (!has(REG_ADVF)) {
        return plainescape(*v->now++);
    }
    escape();
    const shorthand<chr>* const row = classescape();
    if (!row) {
        return TOKEN;
    }
    nest(row->outside);
    v->nexttype = v->lasttype;
    return AGAIN;
}

/// Moves over white space and comments of the expanded syntax.
template <class chr>
void lexer<chr>::skip() {
    const chr* const start = v->now;
    for (;;) {
        while (!atend() && isspacechr(*v->now)) {
            ++v->now;
        }
        if (!nextis('#')) {
            break;
        }
        while (!atend() && *v->now != '\n') {
            ++v->now;
        }
    }
    if (v->now != start) {
        note(v, REG_UNONPOSIX);
    }
}

template <class chr>
void lexer<chr>::startstate() {
    if (has(REG_QUOTE)) {
        v->lexcon = L_Q;
    } else {
        v->lexcon = has(REG_EXTENDED) ? L_ERE : L_BRE;
    }
}

template <class chr>
void lexstart(vars<chr>* v) {
    lexer<chr> lexer{v};
    lexer.prefixes();
    if (iserr(v)) {
        return;
    }
    lexer.startstate();
    v->nexttype = EMPTY;
    lexer.next();
}

template <class chr>
bool next(vars<chr>* v) {
    return lexer<chr>{v}.next();
}

template <class chr>
void lexword(vars<chr>* v) {
    lexer<chr>{v}.nest(findshorthand<chr>('w')->outside);
}

template void lexstart(vars<char>*);
template bool next(vars<char>*);
template void lexword(vars<char>*);

template void lexstart(vars<wchar_t>*);
template bool next(vars<wchar_t>*);
template void lexword(vars<wchar_t>*);

} // namespace Quil::IMPL::engine
