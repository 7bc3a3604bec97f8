// The parser proper: expression, branch, item, quantifier.

#include "regex/compile/parser.h"

#include "regex/compile/divide.h"
#include "regex/compile/lexer.h"

namespace Quil::IMPL::engine {

namespace {

/// The parser's working face: its state is all in `v`.
template <class chr>
struct parser {
    vars<chr>* v;

    subre* parse(int stopper, int type, state* init, state* final, std::ptrdiff_t opened);

private:
    struct atominfo {
        int type;                 // token, PLAIN for a group that doesn't capture
        subre* node;              // null if it needs none
        std::size_t groupsbefore; // groups opened before it
    };

    bool failed() const { return iserr(v); }
    bool see(int token) const { return v->nexttype == token; }
    bool eat(int token) { return see(token) && next(v); }
    bool branchends(int stopper) const { return see('|') || see(stopper) || see(EOS); }
    void emptyarc(state* from, state* to) { newarc(v->nfa, EMPTY, 0, from, to); }
    void newstates(state*& s, state*& s2);
    bool newinner(state* init, state* final, state*& left, state*& right);
    bool deeper();
    void forgetgroups(std::size_t before);

    subre* alternatives(int stopper, int type, state* init, state* final);
    subre* simplified(subre* branches);
    subre* parsebranch(int stopper, int type, state* left, state* right);
    void parseqatom(int type, state* lp, state* rp, subre* top);

    bool constraint(state* lp, state* rp);
    void edge(int type, int adjacent, state* lp, state* rp);
    void stringedge(int type, state* lp, state* rp);
    void word(int type, state* lp, state* rp);
    void nonword(int type, state* lp, state* rp);
    void wordpath(bool before, bool behind, state* lp, state* rp);
    void lookahead(state* lp, state* rp);
    int newlacon(state* begin, state* end, bool positive);

    atominfo parseatom(int type, state* lp, state* rp);
    void closingparen(state* lp, state* rp);
    void plainchr(state* lp, state* rp);
    void group(atominfo& atom, int type, state* lp, state* rp);
    bool remember(std::size_t number, const subre* content);
    subre* backref(state* lp, state* rp);

    quantifier parsequantifier();
    int preferenceof(int value) const { return value != 0 ? LONGER : SHORTER; }
    quantifier bound();
    int scannum();

    void cancel(const atominfo& atom, state* lp, state* rp);
};

template <class chr>
void parser<chr>::newstates(state*& s, state*& s2) {
    s = newstate(v->nfa);
    s2 = newstate(v->nfa);
}

/// Room for a part between `init` and `final`: states of its own, tied to these two. False after an
/// error.
template <class chr>
bool parser<chr>::newinner(state* init, state* final, state*& left, state*& right) {
    newstates(left, right);
    if (failed()) {
        return false;
    }
    emptyarc(init, left);
    emptyarc(right, final);
    return true;
}

/// Goes a level down; false, with REG_ESPACE, if that is one too many.
template <class chr>
bool parser<chr>::deeper() {
    if (++v->depth <= REG_MAXDEPTH) {
        return true;
    }
    seterr(v, REG_ESPACE);
    return false;
}

/// Makes all groups opened after the first `before` ones unknown to back references.
template <class chr>
void parser<chr>::forgetgroups(std::size_t before) {
    for (std::size_t i = before + 1; i <= static_cast<std::size_t>(v->nsubexp) && i < v->nsubs;
         ++i) {
        v->subs[i] = {};
    }
}

/// An expression up to `stopper`, which stays the present token. `opened` is where the parenthesis
/// stands that it closes.
template <class chr>
subre* parser<chr>::parse(int stopper, int type, state* init, state* final, std::ptrdiff_t opened) {
    if (!deeper()) {
        return nullptr;
    }
    subre* const branches = alternatives(stopper, type, init, final);
    --v->depth;
    if (failed()) {
        return nullptr;
    }
    if (!see(stopper)) {
        seterr(v, REG_EPAREN, opened);
        return nullptr;
    }
    return simplified(branches);
}

template <class chr>
subre* parser<chr>::alternatives(int stopper, int type, state* init, state* final) {
    subre* const branches = newsubre(v, '|', LONGER, init, final);
    for (subre* branch = branches; branch; branch = branch->right) {
        state *left, *right;
        if (!newinner(init, final, left, right)) {
            break;
        }
        branch->left = parsebranch(stopper, type, left, right);
        if (failed()) {
            break;
        }
        branch->flags |= UP(branch->flags | branch->left->flags);
        if (branch->flags & ~branches->flags) {
            for (subre* t = branches; t != branch; t = t->right) {
                t->flags |= branch->flags;
            }
        }
        if (!eat('|')) {
            break;
        }
        branch->right = newsubre(v, '|', LONGER, init, final);
    }
    return branches;
}

template <class chr>
subre* parser<chr>::simplified(subre* branches) {
    if (!branches->right) {
        subre* const only = branches->left;
        branches->left = nullptr;
        freesubre(v, branches);
        return only;
    }
    if (!MESSY(branches->flags)) {
        freesubre(v, branches->left);
        freesubre(v, branches->right);
        branches->left = branches->right = nullptr;
        branches->op = '=';
    }
    return branches;
}

/// Hands the flags of the rests of a divided branch up, from the last to the first. There may be
/// many: each rest points back to the branch it belongs to, on the way down.
void settleflags(subre* t) {
    subre* back = nullptr;
    while (t->op == '.') {
        subre* const rest = t->right->right;
        t->right->right = back;
        back = t;
        t = rest;
    }
    while (back) {
        subre* const rest = t;
        t = back;
        back = t->right->right;
        t->right->right = rest;
        t->right->flags |= COMBINE(t->right->flags, rest->flags);
        t->flags |= COMBINE(t->flags, t->right->flags);
    }
}

/// A branch. An atom that divides it leaves the rest of the branch to a node of its own; a back
/// reference there may be to that very atom, so the atom's part must be complete by then.
template <class chr>
subre* parser<chr>::parsebranch(int stopper, int type, state* left, state* right) {
    subre* const whole = newsubre(v, '=', 0, left, right);
    subre* top = whole;
    state* lp = left;
    bool seencontent = false;
    while (!failed() && !branchends(stopper)) {
        if (seencontent) {
            lp = newstate(v->nfa);
            if (failed()) {
                return nullptr;
            }
            moveins(v->nfa, right, lp);
        }
        parseqatom(type, lp, right, top);
        if (failed()) {
            return nullptr;
        }
        seencontent = top->op != '.';
        if (!seencontent) {
            top = top->right->right;
            lp = top->begin;
        }
    }
    if (failed()) {
        return nullptr;
    }
    if (!seencontent) {
        if (top == whole) {
            note(v, REG_UUNSPEC);
        }
        emptyarc(lp, right);
    }
    settleflags(whole);
    return whole;
}

/// One item between `lp`, which has no out-arcs, and `rp`, which has no in-arcs. Divides `top` if
/// the tree must know of the item: it is a concatenation then, and its right child's right child
/// stands for the rest of the branch, not parsed yet.
template <class chr>
void parser<chr>::parseqatom(int type, state* lp, state* rp, subre* top) {
    if (constraint(lp, rp) || failed()) {
        return;
    }
    atominfo atom = parseatom(type, lp, rp);
    if (failed()) {
        return;
    }
    const construct quantified(v);
    const quantifier q = parsequantifier();
    if (failed()) {
        return;
    }
    if (q.never()) {
        cancel(atom, lp, rp);
        return;
    }
    const int flags = top->flags | q.preference | (atom.node ? atom.node->flags : 0);
    if (atom.type != '(' && atom.type != BACKREF && !MESSY(UP(flags))) {
        if (!q.once()) {
            repeat(v, lp, rp, q.min, q.max);
        }
        freesubre(v, atom.node);
        top->flags = flags;
        return;
    }
    if (!atom.node) {
        atom.node = newsubre(v, '=', 0, lp, rp);
    }
    divide(v, atom.node, q, lp, rp, top);
}

/// A constraint, which takes no quantifier; false if the present token is none.
template <class chr>
bool parser<chr>::constraint(state* lp, state* rp) {
    switch (v->nexttype) {
    case BOL:
        edge(BOL, BEHIND, lp, rp);
        return true;
    case EOL:
        edge(EOL, AHEAD, lp, rp);
        return true;
    case SBEGIN:
        stringedge(BOL, lp, rp);
        return true;
    case SEND:
        stringedge(EOL, lp, rp);
        return true;
    case '<':
        wordchrs(v);
        wordpath(false, true, lp, rp);
        return true;
    case '>':
        wordchrs(v);
        wordpath(true, false, lp, rp);
        return true;
    case WBDRY:
        wordchrs(v);
        wordpath(false, true, lp, rp);
        wordpath(true, false, lp, rp);
        return true;
    case NWBDRY:
        wordchrs(v);
        wordpath(true, true, lp, rp);
        wordpath(false, false, lp, rp);
        return true;
    case LACON:
        lookahead(lp, rp);
        return true;
    default:
        return false;
    }
}

template <class chr>
void parser<chr>::edge(int type, int adjacent, state* lp, state* rp) {
    newarc(v->nfa, type, 1, lp, rp);
    if (v->cflags & REG_NLANCH) {
        newarc(v->nfa, adjacent, v->nlcolor, lp, rp);
    }
    next(v);
}

template <class chr>
void parser<chr>::stringedge(int type, state* lp, state* rp) {
    newarc(v->nfa, type, 1, lp, rp);
    newarc(v->nfa, type, 0, lp, rp);
    next(v);
}

template <class chr>
void parser<chr>::word(int type, state* lp, state* rp) {
    cloneouts(v->nfa, v->wordchrs, lp, rp, type);
}

/// The edges of the string count as no word characters.
template <class chr>
void parser<chr>::nonword(int type, state* lp, state* rp) {
    const int anchor = type == AHEAD ? EOL : BOL;
    newarc(v->nfa, anchor, 1, lp, rp);
    newarc(v->nfa, anchor, 0, lp, rp);
    colorcomplement(v->nfa, v->cm, type, v->wordchrs, lp, rp);
}

/// A path that holds where a word character stands, or stands not, before the place and behind it.
template <class chr>
void parser<chr>::wordpath(bool before, bool behind, state* lp, state* rp) {
    state* const s = newstate(v->nfa);
    if (failed()) {
        return;
    }
    if (before) {
        word(BEHIND, lp, s);
    } else {
        nonword(BEHIND, lp, s);
    }
    if (behind) {
        word(AHEAD, s, rp);
    } else {
        nonword(AHEAD, s, rp);
    }
}

template <class chr>
void parser<chr>::lookahead(state* lp, state* rp) {
    const bool positive = v->nextvalue != 0;
    const auto before = static_cast<std::size_t>(v->nsubexp);
    const std::ptrdiff_t opened = v->at;
    next(v);
    state *s, *s2;
    newstates(s, s2);
    if (failed()) {
        return;
    }
    ++v->lookahead;
    subre* const content = parse(')', LACON, s, s2, opened);
    --v->lookahead;
    if (failed()) {
        return;
    }
    freesubre(v, content);
    forgetgroups(before);
    next(v);
    const int number = newlacon(s, s2, positive);
    if (!failed()) {
        newarc(v->nfa, LACON, number, lp, rp);
    }
}

/// Registers a lookahead; its number, 0 after an error.
template <class chr>
int parser<chr>::newlacon(state* begin, state* end, bool positive) {
    constexpr int FIRSTROOM = 8;
    const int number = v->nlacons == 0 ? 1 : v->nlacons;
    // Room is for powers of two, so that it is known from the count.
    const bool full = number >= FIRSTROOM && (number & (number - 1)) == 0;
    if (v->nlacons == 0 || full) {
        const int room = full ? number * 2 : FIRSTROOM;
        subre* const grown = v->keep->regrow(v->lacons, static_cast<std::size_t>(v->nlacons),
                                             static_cast<std::size_t>(room));
        if (!grown) {
            seterr(v, REG_ESPACE);
            return 0;
        }
        v->lacons = grown;
    }
    v->nlacons = number + 1;
    subre& record = v->lacons[number];
    record.begin = begin;
    record.end = end;
    record.subno = positive ? 1 : 0;
    return number;
}

template <class chr>
typename parser<chr>::atominfo parser<chr>::parseatom(int type, state* lp, state* rp) {
    atominfo atom = {v->nexttype, nullptr, static_cast<std::size_t>(v->nsubexp)};
    switch (v->nexttype) {
    case '*':
    case '+':
    case '?':
    case '{':
        seterr(v, REG_BADRPT);
        break;
    case ')':
        closingparen(lp, rp);
        break;
    case PLAIN:
        plainchr(lp, rp);
        break;
    case '[':
        if (v->nextvalue != 0) {
            bracket(v, lp, rp);
        } else {
            cbracket(v, lp, rp);
        }
        next(v);
        break;
    case '.':
        rainbow(v->nfa, v->cm, PLAIN, (v->cflags & REG_NLSTOP) ? v->nlcolor : COLORLESS, lp, rp);
        next(v);
        break;
    case '(':
        group(atom, type, lp, rp);
        break;
    case BACKREF:
        atom.node = backref(lp, rp);
        break;
    default:
        seterr(v, REG_ASSERT);
    }
    return atom;
}

/// A parenthesis that closes nothing: an ordinary character in a plain ERE.
template <class chr>
void parser<chr>::closingparen(state* lp, state* rp) {
    if ((v->cflags & REG_ADVANCED) == REG_EXTENDED) {
        note(v, REG_UPBOTCH);
        plainchr(lp, rp);
    } else {
        seterr(v, REG_EPAREN);
    }
}

template <class chr>
void parser<chr>::plainchr(state* lp, state* rp) {
    onechr(v, static_cast<chr>(v->nextvalue), lp, rp);
    okcolors(v->nfa, v->cm);
    next(v);
}

template <class chr>
void parser<chr>::group(atominfo& atom, int type, state* lp, state* rp) {
    const bool capturing = type != LACON && v->nextvalue != 0;
    const std::size_t number = capturing ? static_cast<std::size_t>(++v->nsubexp) : 0;
    const std::ptrdiff_t opened = v->at;
    next(v);
    state *s, *s2;
    if (!newinner(lp, rp, s, s2)) {
        return;
    }
    atom.node = parse(')', PLAIN, s, s2, opened);
    if (failed()) {
        return;
    }
    next(v);
    if (!capturing) {
        atom.type = PLAIN;
        return;
    }
    subre* const t = newsubre(v, '(', atom.node->flags | CAP, lp, rp);
    if (!remember(number, atom.node) || failed()) {
        return;
    }
    t->subno = static_cast<int>(number);
    t->left = atom.node;
    atom.node = t;
}

/// Enters a closed group in the table for back references.
template <class chr>
bool parser<chr>::remember(std::size_t number, const subre* content) {
    if (number >= v->nsubs) {
        const std::size_t grown = number * 3 / 2 + 1;
        capture* const subs = v->mem.regrow(v->subs, v->nsubs, grown);
        if (!subs) {
            seterr(v, REG_ESPACE);
            return false;
        }
        v->subs = subs;
        v->nsubs = grown;
    }
    v->subs[number] = {content->begin, content->end};
    return true;
}

template <class chr>
subre* parser<chr>::backref(state* lp, state* rp) {
    const auto number = static_cast<uchr>(v->nextvalue);
    // Within a lookahead there is nothing that could compare.
    if (v->lookahead > 0 || number >= v->nsubs || !v->subs[number].begin) {
        seterr(v, REG_ESUBREG);
        return nullptr;
    }
    subre* const t = newsubre(v, 'b', BACKR, lp, rp);
    if (!t) {
        return nullptr;
    }
    t->subno = static_cast<int>(number);
    emptyarc(lp, rp); // keeps the place
    next(v);
    return t;
}

template <class chr>
quantifier parser<chr>::parsequantifier() {
    quantifier q;
    switch (v->nexttype) {
    case '*':
        q = {0, DUPINF, preferenceof(v->nextvalue)};
        break;
    case '+':
        q = {1, DUPINF, preferenceof(v->nextvalue)};
        break;
    case '?':
        q = {0, 1, preferenceof(v->nextvalue)};
        break;
    case '{':
        return bound();
    default:
        return q;
    }
    next(v);
    return q;
}

template <class chr>
quantifier parser<chr>::bound() {
    quantifier q;
    next(v);
    q.min = q.max = scannum();
    const bool pair = eat(',');
    if (pair) {
        q.max = see(DIGIT) ? scannum() : DUPINF;
        if (q.min > q.max) {
            seterr(v, REG_BADBR);
        }
        q.preference = preferenceof(v->nextvalue); // of the closing brace
    }
    if (!see('}')) {
        seterr(v, REG_BADBR);
    }
    next(v);
    return q;
}

template <class chr>
int parser<chr>::scannum() {
    constexpr int BASE = 10;
    int number = 0;
    while (see(DIGIT) && number < DUPMAX) {
        number = number * BASE + v->nextvalue;
        next(v);
    }
    if (see(DIGIT) || number > DUPMAX) {
        seterr(v, REG_BADBR);
        return 0;
    }
    return number;
}

/// An atom that must stand no times. Its groups keep their numbers, but are none to refer to.
template <class chr>
void parser<chr>::cancel(const atominfo& atom, state* lp, state* rp) {
    freesubre(v, atom.node);
    forgetgroups(atom.groupsbefore);
    delsub(v->nfa, lp, rp);
    emptyarc(lp, rp);
}

} // namespace

template <class chr>
subre* parse(vars<chr>* v, state* init, state* final) {
    return parser<chr>{v}.parse(EOS, PLAIN, init, final, v->at);
}

template subre* parse(vars<char>*, state*, state*);
template subre* parse(vars<wchar_t>*, state*, state*);

} // namespace Quil::IMPL::engine
