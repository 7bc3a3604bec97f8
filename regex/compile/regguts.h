// The records that the stages of the engine share: the subexpression tree, the compiled form, and
// the working record of a compile.
//
// Error discipline: the first error wins. seterr() records it, and where in the pattern it was
// found, and makes the token stream look ended, so the parser runs out of work; every later step
// that sees iserr() does nothing.
#pragma once

#include "regex/compile/arena.h"
#include "regex/compile/color.h"
#include "regex/compile/nfa.h"
#include "regex/regex.h"

#include <cstddef>
#include <cstdio>

namespace Quil::IMPL::engine {

inline constexpr int REMAGIC = 0xFED7;
inline constexpr int GUTSMAGIC = 0xFED9;

/// \name Tokens, besides those that are the character they stand for and the arc types
/// @{
inline constexpr int EOS = 'e';     ///< end of the pattern, or an error
inline constexpr int DIGIT = 'd';   ///< digit inside a bound
inline constexpr int BACKREF = 'b'; ///< back reference
inline constexpr int COLLEL = 'I';  ///< `[.`
inline constexpr int ECLASS = 'E';  ///< `[=`
inline constexpr int CCLASS = 'C';  ///< `[:`; a class escape inside lexescape()
inline constexpr int END = 'X';     ///< `.]`, `=]`, `:]`
inline constexpr int RANGE = 'R';   ///< `-` inside brackets that may delimit a range
inline constexpr int WBDRY = 'w';   ///< `\y`
inline constexpr int NWBDRY = 'W';  ///< `\Y`
inline constexpr int SBEGIN = 'A';  ///< `\A`
inline constexpr int SEND = 'Z';    ///< `\Z`
/// @}

inline constexpr int DUPMAX = 255; ///< largest count of a bound
inline constexpr int DUPINF = 256; ///< an open bound (<cmath> has taken the name INFINITY)

/// \name Flags of a tree node
/// @{
inline constexpr int LONGER = 1;  ///< prefers the longest match
inline constexpr int SHORTER = 2; ///< prefers the shortest match
inline constexpr int MIXED = 4;   ///< holds parts with both preferences
inline constexpr int CAP = 8;     ///< holds a capturing group
inline constexpr int BACKR = 16;  ///< holds a back reference
inline constexpr int INUSE = 64;  ///< reachable from the root
inline constexpr int ASKED = 128; ///< the matcher asks for the node's automaton
inline constexpr int LOCAL = LONGER | SHORTER;

/// What a parent takes over from a child.
constexpr int UP(int f) {
    return (f & ~LOCAL) | ((f & LOCAL) == LOCAL ? MIXED : 0);
}
/// Needs a node: a plain automaton can't answer for it.
constexpr bool MESSY(int f) {
    return (f & (MIXED | CAP | BACKR)) != 0;
}
constexpr int PREF(int f) {
    return f & LOCAL;
}
constexpr int PREF2(int f1, int f2) {
    return PREF(f1) != 0 ? PREF(f1) : PREF(f2);
}
constexpr int COMBINE(int f1, int f2) {
    return UP(f1 | f2) | PREF2(f1, f2);
}
/// @}

/// Node of the subexpression tree. Lies in the arena of the compiled form, `vars::g->mem`.
struct subre {
    char op; ///< '=' terminal, '.' concatenation, '|' alternation, '(' capture, 'b' back reference
    int flags; ///< bits above
    int retry; ///< number of the node, index into the matcher's retry memory
    int subno; ///< '(': group; 'b': group referred to; a lookahead: 1 positive, 0 negative
    int min;   ///< 'b': repetition bounds; 1 and 1 elsewhere
    int max;
    subre* left; ///< children; on the free list, the next free node
    subre* right;
    state* begin; ///< stretch of the main automaton; stale after compile
    state* end;
    struct cnfa cnfa; ///< compact form of that stretch, if ASKED; its lengths stand in any case
    subre* chain;     ///< all nodes of this compile; then the node that has this one on its right
};

/// The compiled form. It lies in the arena that it owns: releasing `mem` releases all.
template <class chr>
struct guts {
    int magic;        ///< GUTSMAGIC once compiled
    int cflags;       ///< compile flags in force after prefixes and options
    long info;        ///< copy of `re_info`
    std::size_t nsub; ///< copy of `re_nsub`
    subre* tree;      ///< root of the subexpression tree
    cnfa search;      ///< search automaton
    int ntree;        ///< one more than the highest node number
    colormap cmap;    ///< the color map
    /// Compares two runs of characters, zero if equal: cmp() or casecmp().
    int (*compare)(const chr* a, const chr* b, std::size_t len);
    subre* lacons; ///< lookahead constraints; element 0 is never used
    int nlacons;   ///< elements of it
    arena mem;     ///< holds everything below the handle, this record included
};

/// A compiled form in an arena of its own, all zero; null if there is no memory.
template <class chr>
guts<chr>* newguts();

/// Releases what hangs below a handle; nothing if its magic is wrong. A compile may have ended
/// before there was a compiled form.
template <class chr>
void rfree(regex_t* re);

/// What the parser remembers of a closed group: its stretch of the main automaton, null if it can't
/// be referred to (not closed yet, or cancelled).
struct capture {
    state* begin;
    state* end;
};

inline constexpr std::size_t NINLINESUBS = 10;

/// Working record of a compile, as far as it doesn't depend on the character type.
struct varsbase {
    regex_t* re;                ///< the handle; null once the compile has succeeded
    int err;                    ///< first error, 0 if none
    std::ptrdiff_t errat;       ///< where in the pattern it was found; REG_NOWHERE
    std::ptrdiff_t at;          ///< where the present token begins; REG_NOWHERE behind the parser
    std::ptrdiff_t opened;      ///< where the bracket or bound being read was opened
    std::ptrdiff_t construct;   ///< where what errors are told of began; REG_NOWHERE: the token
    int cflags;                 ///< flags in force
    int lasttype;               ///< previous token
    int nexttype;               ///< current token
    celt nextvalue;             ///< its value
    int lexcon;                 ///< lexer state
    int nsubexp;                ///< groups opened so far
    capture* subs;              ///< by group number
    std::size_t nsubs;          ///< slots of it
    capture sub10[NINLINESUBS]; ///< the first of them; larger tables lie in `mem`
    struct nfa* nfa;            ///< the main automaton; borrowed
    colormap* cm;               ///< the color map
    color nlcolor;              ///< the newline's color, COLORLESS if it has none of its own
    state* wordchrs;            ///< state whose out-arcs are the word characters
    subre* tree;
    subre* treechain; ///< all nodes
    subre* treefree;  ///< nodes to use again
    int ntree;
    subre* lacons; ///< lookaheads
    int nlacons;
    int lookahead;     ///< depth of lookaheads being parsed: no back reference inside
    int depth;         ///< levels of the parser, up to REG_MAXDEPTH
    long work;         ///< arcs and states made so far, up to REG_MAXWORK
    std::FILE* stream; ///< diagnostic dump, null if not asked for
    arena* keep;       ///< the compiled form's arena, for what outlives the compile
    arena mem;         ///< for what doesn't
    arena spare;       ///< memory of the automaton that ended last, for the next one
};

template <class chr>
struct cvec;

/// Working record of a compile. Lives on the stack of the compile call; every routine of the parser
/// takes it first.
template <class chr>
struct vars : varsbase {
    const chr* pattern; ///< the whole of it
    const chr* now;     ///< what is still to read
    const chr* stop;
    const chr* savenow; ///< the outer pattern while a nested string is read
    const chr* savestop;
    cvec<chr>* cv; ///< working list of characters and ranges
    guts<chr>* g;  ///< the compiled form being filled
};

inline bool iserr(const varsbase* v) {
    return v->err != 0;
}

/// Records an error, unless there is one already, and ends the token stream. Returns the recorded
/// one. `at` is the place in the pattern that is to be told.
inline int seterr(varsbase* v, int e, std::ptrdiff_t at) {
    v->nexttype = EOS;
    if (v->err == 0) {
        v->err = e;
        v->errat = at;
    }
    return v->err;
}

/// The same at the present token, or at the construct that it belongs to.
inline int seterr(varsbase* v, int e) {
    return seterr(v, e, v->construct != REG_NOWHERE ? v->construct : v->at);
}

/// While it lives, errors of the parser are told of what begins with the token present when it was
/// made: a range is found to be bad only when all of it has been read.
class construct {
public:
    explicit construct(varsbase* v) : __v(v) { v->construct = v->at; }
    ~construct() { __v->construct = REG_NOWHERE; }
    construct(const construct&) = delete;
    construct& operator=(const construct&) = delete;

private:
    varsbase* __v;
};

/// Notes an information bit.
inline void note(varsbase* v, long bit) {
    v->re->re_info |= bit;
}

} // namespace Quil::IMPL::engine
