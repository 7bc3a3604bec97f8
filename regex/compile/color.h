// The color map: characters that a pattern can't tell apart share a color, and automata run on
// colors.
//
// The map starts as one color. When an arc needs some characters alone, they move to an open
// subcolor of the color they have; okcolors() closes the subcolors by giving every arc of the
// parent a parallel arc of the subcolor, so the language built so far doesn't change. Where all of
// a color's characters went over there was nothing to split: they go back to it, and the few arcs
// of the subcolor with them, so that a class in each of thousands of words costs no more than its
// characters. While a
// pattern is read the map is a tree of blocks of 256 cells, so that a class of thousands of
// characters touches one pointer for each full block; for matching, settlecolors() lays it out as a
// plain table, one read a character.
#pragma once

#include "regex/compile/arena.h"
#include "regex/compile/chrtraits.h"

#include <cstddef>
#include <cstdint>

namespace Quil::IMPL::engine {

struct arc;
struct nfa;
struct state;
struct varsbase;

using color = std::int16_t;

inline constexpr color WHITE = 0;      ///< the color of what no pattern mentions
inline constexpr color COLORLESS = -1; ///< no color
inline constexpr color NOSUB = COLORLESS;

inline constexpr std::size_t BYTTAB = 256; ///< cells of a block
inline constexpr std::size_t NINLINECDS = 10;

/// 256 colors: the cells of an aligned run of characters. A solid block, which holds one color
/// only, is shared by all pointers that stand for such a run and never written to.
union colorblock {
    color cells[BYTTAB];
    colorblock* next; ///< of a block given back: the next such
};

inline constexpr int FREECOL = 1;  ///< descriptor is free
inline constexpr int PSEUDO = 2;   ///< pseudocolor: no character has it
inline constexpr int MARKED = 4;   ///< met by colorcomplement(), during it only
inline constexpr int RETURNED = 8; ///< subcolor whose characters go back, during okcolors() only

/// Cells of the map, both ends included.
struct cellrange {
    std::size_t first;
    std::size_t last;
};

/// Descriptor of one color.
struct colordesc {
    uchr nchrs;        ///< characters of this color; a pseudocolor counts 1
    color sub;         ///< open subcolor or NOSUB; an open subcolor names itself; free: next free
    color opennext;    ///< next color with an open subcolor, NOSUB at the end; RETURNED: its parent
    arc* arcs;         ///< chain of the arcs of this color
    int flags;         ///< FREECOL, PSEUDO, MARKED, RETURNED
    colorblock* block; ///< this color's solid block, if it has one

    bool unused() const { return (flags & FREECOL) != 0; }
};

inline constexpr int CMMAGIC = 0x876;

/// The map. Its tree and descriptors belong to the compile (they lie in `v->mem`); `table`, which
/// the matcher reads, lies in the arena given to settlecolors().
struct colormap {
    int magic;                     ///< CMMAGIC
    varsbase* v;                   ///< for error reports; meaningless after compile
    std::size_t ncds;              ///< descriptors allocated
    std::size_t max;               ///< highest color in use
    color free;                    ///< head of the free list, 0 if none
    color open;                    ///< head of the colors with an open subcolor, or NOSUB
    color returned;                ///< head of the RETURNED colors, through `sub`, or NOSUB
    colordesc* cd;                 ///< descriptors
    colordesc cdspace[NINLINECDS]; ///< the first of them
    std::size_t nblocks;           ///< blocks of `tree`: 1 narrow, 256 wide
    colorblock* tree[BYTTAB];      ///< by the high byte of a character's 16 bits
    colorblock fill;               ///< WHITE's solid block
    colorblock* spare;             ///< blocks given back, linked through `next`
    cellrange* touched;            ///< where characters moved since the last okcolors()
    std::size_t ntouched;
    std::size_t touchedroom; ///< elements of `touched`
    const color* table;      ///< after settlecolors(): color by chrtraits<chr>::index()
};

/// The color of a character, by the table of a settled map. The only lookup of the matcher's inner
/// loop.
template <class chr>
inline color GETCOLOR(const color* table, chr c) {
    return table[chrtraits<chr>::index(c)];
}

/// Sets up a map of `nchrs` characters, 256 or 0x10000, all WHITE.
void initcm(varsbase* v, colormap* cm, std::size_t nchrs);

/// Lays the finished map out as a table in `mem` and drops the tree. REG_ESPACE through `cm->v`.
void settlecolors(colormap* cm, arena* mem);

/// The color of the cell `index` while the map is being built.
color treecolor(const colormap* cm, std::size_t index);

/// A color without characters, or COLORLESS. REG_ESPACE past REG_MAXCOLORS.
color newcolor(colormap* cm);
/// Gives a color back. WHITE never is.
void freecolor(colormap* cm, color co);
/// A color that no character has, for a place in the text; or COLORLESS.
color pseudocolor(colormap* cm);
/// The open subcolor of a color, made if need be; `co` itself if it has one character.
color newsub(colormap* cm, color co);

/// Moves the character of cell `index` into the open subcolor of its color, which it returns.
color subcolorat(colormap* cm, std::size_t index);
/// The same by character.
template <class chr>
inline color subcolor(colormap* cm, chr c) {
    return subcolorat(cm, chrtraits<chr>::index(c));
}

/// Subcolors, and arcs of them from `lp` to `rp`, for the cells `from` to `to`, both included.
/// Goes by whole blocks where it can.
void subrangeat(varsbase* v, std::size_t from, std::size_t to, state* lp, state* rp);

/// The same for the characters `from` to `to` (from <= to). A range of more values than the map has
/// cells selects them all; one that passes a multiple of the map's size wraps.
template <class chr>
inline void subrange(varsbase* v, chr from, chr to, state* lp, state* rp) {
    constexpr std::size_t NCHRS = chrtraits<chr>::NCHRS;
    const std::int64_t span =
        std::int64_t{chrtraits<chr>::order(to)} - std::int64_t{chrtraits<chr>::order(from)};
    const bool whole = span >= static_cast<std::int64_t>(NCHRS) - 1;
    const std::size_t first = whole ? 0 : chrtraits<chr>::index(from);
    const std::size_t last = whole ? NCHRS - 1 : chrtraits<chr>::index(to);
    if (first > last) {
        subrangeat(v, first, NCHRS - 1, lp, rp);
        subrangeat(v, 0, last, lp, rp);
    } else {
        subrangeat(v, first, last, lp, rp);
    }
}

/// Closes all open subcolors: between atoms the map is settled.
void okcolors(nfa* n, colormap* cm);

/// Puts an arc on the chain of its color, and takes it off.
void colorchain(colormap* cm, arc* a);
void uncolorchain(colormap* cm, arc* a);

/// An arc of every real color but `but` (COLORLESS: of every one) between two states.
void rainbow(nfa* n, colormap* cm, int type, color but, state* from, state* to);

/// An arc of every real color that `of` has no PLAIN out-arc of, between two states.
void colorcomplement(nfa* n, colormap* cm, int type, state* of, state* from, state* to);

} // namespace Quil::IMPL::engine
