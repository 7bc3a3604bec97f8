// The moves of characters between colors. What a color is asked for is counted in `nchrs`, which
// must stay exact: by it a color that has given all its characters away is known to be free.
#include "regex/compile/color.h"

#include "regex/compile/nfa.h"
#include "regex/compile/regguts.h"

#include <algorithm>
#include <cstring>

namespace Quil::IMPL::engine {

namespace {

constexpr unsigned BYTBITS = 8;
constexpr std::size_t BYTMASK = BYTTAB - 1;

colordesc& desc(colormap* cm, color co) {
    return cm->cd[static_cast<std::size_t>(co)];
}

/// A block of the tree holds one color only, and stands for every run of it.
bool issolid(colormap* cm, const colorblock* b) {
    return desc(cm, b->cells[0]).block == b;
}

colorblock* newblock(colormap* cm) {
    colorblock* b = cm->spare;
    if (b != nullptr) {
        cm->spare = b->next;
        return b;
    }
    b = cm->v->mem.array<colorblock>(1);
    if (b == nullptr) {
        seterr(cm->v, REG_ESPACE);
    }
    return b;
}

void freeblock(colormap* cm, colorblock* b) {
    b->next = cm->spare;
    cm->spare = b;
}

/// Moves `n` characters from one color's count to another's.
void movecount(colormap* cm, color from, color to, std::size_t n) {
    desc(cm, from).nchrs -= static_cast<uchr>(n);
    desc(cm, to).nchrs += static_cast<uchr>(n);
}

/// Makes sure that a block may be written to: a solid one is left to the others that share it.
bool ownblock(colormap* cm, colorblock*& slot) {
    if (!issolid(cm, slot)) {
        return true;
    }
    colorblock* copy = newblock(cm);
    if (copy == nullptr) {
        return false;
    }
    *copy = *slot;
    slot = copy;
    return true;
}

/// The solid block of a color, made if need be; null on error.
colorblock* solidblock(colormap* cm, color co) {
    colordesc& d = desc(cm, co);
    if (d.block == nullptr) {
        d.block = newblock(cm);
        if (d.block != nullptr) {
            std::fill_n(d.block->cells, BYTTAB, co);
        }
    }
    return d.block;
}

/// Keeps in mind that cells may hold open subcolors.
bool touch(colormap* cm, std::size_t first, std::size_t last) {
    if (cm->ntouched == cm->touchedroom) {
        constexpr std::size_t FIRSTROOM = 64;
        const std::size_t room = std::max(FIRSTROOM, cm->touchedroom * 2);
        cellrange* grown = cm->v->mem.regrow(cm->touched, cm->touchedroom, room);
        if (grown == nullptr) {
            seterr(cm->v, REG_ESPACE);
            return false;
        }
        cm->touched = grown;
        cm->touchedroom = room;
    }
    cm->touched[cm->ntouched++] = {.first = first, .last = last};
    return true;
}

/// Gives the characters of a subcolor, which are all that its parent had, back to the parent, but
/// for their cells, and the subcolor's arcs.
void takeback(nfa* n, colormap* cm, color co, color sco) {
    desc(cm, co).nchrs = desc(cm, sco).nchrs;
    desc(cm, sco).flags |= RETURNED;
    desc(cm, sco).opennext = co;
    desc(cm, sco).sub = cm->returned;
    cm->returned = sco;
    while (arc* a = desc(cm, sco).arcs) {
        newarc(n, a->type, co, a->from, a->to);
        freearc(n, a);
    }
}

/// The color that a cell is to have.
color settled(colormap* cm, color co) {
    const colordesc& d = desc(cm, co);
    return (d.flags & RETURNED) != 0 ? d.opennext : co;
}

/// Writes returned characters' colors into the touched cells of one block.
void settlecells(colormap* cm, colorblock*& slot, std::size_t first, std::size_t last) {
    if (!issolid(cm, slot)) {
        for (std::size_t i = first; i <= last; i++) {
            slot->cells[i] = settled(cm, slot->cells[i]);
        }
        return;
    }
    const color co = slot->cells[0];
    if (settled(cm, co) == co) {
        return;
    }
    colorblock* solid = solidblock(cm, settled(cm, co));
    if (solid != nullptr) {
        slot = solid;
    }
}

/// Ends the return of characters: their cells, then the subcolors.
void settlereturned(colormap* cm) {
    for (std::size_t i = 0; i < cm->ntouched && !iserr(cm->v); i++) {
        const cellrange range = cm->touched[i];
        for (std::size_t at = range.first; at <= range.last && !iserr(cm->v);) {
            const std::size_t last = std::min(range.last, at | BYTMASK);
            settlecells(cm, cm->tree[at >> BYTBITS], at & BYTMASK, last & BYTMASK);
            at = last + 1;
        }
    }
    while (cm->returned != NOSUB) {
        const color sco = cm->returned;
        cm->returned = desc(cm, sco).sub;
        freecolor(cm, sco);
    }
}

/// Subcolors for the cells `first` to `last` of a block, with arcs, run by run of one color.
void splitruns(varsbase* v, colorblock*& slot, std::size_t first, std::size_t last, state* lp,
               state* rp) {
    // Cells in a row are much cheaper than arcs, but a class in each of thousands of atoms adds up.
    constexpr std::size_t CELLSPERARC = 64;
    v->work += static_cast<long>((last - first) / CELLSPERARC);
    if (v->work > REG_MAXWORK) {
        seterr(v, REG_ESPACE);
    }
    colormap* cm = v->cm;
    for (std::size_t i = first; i <= last;) {
        const color co = slot->cells[i];
        const color sco = newsub(cm, co);
        if (iserr(v)) {
            return;
        }
        newarc(v->nfa, PLAIN, sco, lp, rp);
        const std::size_t start = i;
        while (i <= last && slot->cells[i] == co) {
            ++i;
        }
        if (sco == co) {
            continue; // there already
        }
        if (!ownblock(cm, slot)) {
            return;
        }
        std::fill(slot->cells + start, slot->cells + i, sco);
        movecount(cm, co, sco, i - start);
    }
}

/// Subcolors for the whole block that begins at cell `start`, with arcs.
void subblock(varsbase* v, std::size_t start, state* lp, state* rp) {
    colormap* cm = v->cm;
    colorblock*& slot = cm->tree[start >> BYTBITS];
    if (!issolid(cm, slot)) {
        splitruns(v, slot, 0, BYTTAB - 1, lp, rp);
        return;
    }
    const color co = slot->cells[0];
    const color sco = newsub(cm, co);
    if (iserr(v)) {
        return;
    }
    colorblock* solid = solidblock(cm, sco);
    if (solid == nullptr) {
        return;
    }
    slot = solid;
    newarc(v->nfa, PLAIN, sco, lp, rp);
    movecount(cm, co, sco, BYTTAB);
}

/// The descriptor after the highest in use, in a larger array if need be.
color nextcolor(colormap* cm) {
    if (cm->max >= static_cast<std::size_t>(REG_MAXCOLORS)) {
        seterr(cm->v, REG_ESPACE);
        return COLORLESS;
    }
    if (cm->max + 1 == cm->ncds) {
        colordesc* grown = cm->v->mem.regrow(cm->cd, cm->ncds, cm->ncds * 2);
        if (grown == nullptr) {
            seterr(cm->v, REG_ESPACE);
            return COLORLESS;
        }
        cm->cd = grown;
        cm->ncds *= 2;
    }
    return static_cast<color>(++cm->max);
}

} // namespace

void initcm(varsbase* v, colormap* cm, std::size_t nchrs) {
    *cm = colormap{};
    cm->magic = CMMAGIC;
    cm->v = v;
    cm->ncds = NINLINECDS;
    cm->open = NOSUB;
    cm->returned = NOSUB;
    cm->cd = cm->cdspace;
    cm->cd[WHITE].nchrs = static_cast<uchr>(nchrs);
    cm->cd[WHITE].sub = NOSUB;
    cm->cd[WHITE].block = &cm->fill; // all zero: WHITE
    cm->nblocks = nchrs / BYTTAB;
    std::fill_n(cm->tree, cm->nblocks, &cm->fill);
}

void settlecolors(colormap* cm, arena* mem) {
    if (iserr(cm->v)) {
        return;
    }
    auto* table = static_cast<color*>(mem->alloc(cm->nblocks * sizeof cm->tree[0]->cells));
    if (table == nullptr) {
        seterr(cm->v, REG_ESPACE);
        return;
    }
    for (std::size_t i = 0; i < cm->nblocks; i++) {
        std::memcpy(table + i * BYTTAB, cm->tree[i]->cells, sizeof cm->tree[i]->cells);
    }
    cm->table = table;
    // What is left lies in the compile's arena.
    cm->nblocks = 0;
    cm->cd = nullptr;
    cm->spare = nullptr;
    cm->v = nullptr;
}

color treecolor(const colormap* cm, std::size_t index) {
    return cm->tree[index >> BYTBITS]->cells[index & BYTMASK];
}

color newcolor(colormap* cm) {
    if (iserr(cm->v)) {
        return COLORLESS;
    }
    color co = cm->free;
    if (co != 0) {
        cm->free = desc(cm, co).sub;
    } else {
        co = nextcolor(cm);
    }
    if (co == COLORLESS) {
        return COLORLESS;
    }
    desc(cm, co) = colordesc{
        .nchrs = 0, .sub = NOSUB, .opennext = NOSUB, .arcs = nullptr, .flags = 0, .block = nullptr};
    return co;
}

void freecolor(colormap* cm, color co) {
    if (co == WHITE) {
        return;
    }
    colordesc& d = desc(cm, co);
    d.flags = FREECOL;
    if (d.block != nullptr) {
        freeblock(cm, d.block);
    }
    d.block = nullptr;
    if (static_cast<std::size_t>(co) != cm->max) {
        d.sub = cm->free;
        cm->free = co;
        return;
    }
    while (cm->max > 0 && cm->cd[cm->max].unused()) {
        cm->max--;
    }
    // Colors above the new maximum are no longer free ones but none at all.
    color* link = &cm->free;
    while (*link != 0) {
        if (static_cast<std::size_t>(*link) > cm->max) {
            *link = desc(cm, *link).sub;
        } else {
            link = &desc(cm, *link).sub;
        }
    }
}

color pseudocolor(colormap* cm) {
    const color co = newcolor(cm);
    if (co == COLORLESS) {
        return COLORLESS;
    }
    desc(cm, co).nchrs = 1;
    desc(cm, co).flags = PSEUDO;
    return co;
}

color newsub(colormap* cm, color co) {
    if (iserr(cm->v)) {
        return COLORLESS;
    }
    if (desc(cm, co).sub != NOSUB) {
        return desc(cm, co).sub;
    }
    if (desc(cm, co).nchrs == 1) {
        return co;
    }
    const color sco = newcolor(cm);
    if (sco == COLORLESS) {
        return COLORLESS;
    }
    desc(cm, co).sub = sco;
    desc(cm, sco).sub = sco;
    desc(cm, co).opennext = cm->open;
    cm->open = co;
    return sco;
}

color subcolorat(colormap* cm, std::size_t index) {
    if (iserr(cm->v)) {
        return COLORLESS;
    }
    const color co = treecolor(cm, index);
    const color sco = newsub(cm, co);
    if (sco == COLORLESS || sco == co) {
        return sco;
    }
    colorblock*& slot = cm->tree[index >> BYTBITS];
    if (!ownblock(cm, slot)) {
        return COLORLESS;
    }
    slot->cells[index & BYTMASK] = sco;
    movecount(cm, co, sco, 1);
    return touch(cm, index, index) ? sco : COLORLESS;
}

void subrangeat(varsbase* v, std::size_t from, std::size_t to, state* lp, state* rp) {
    colormap* cm = v->cm;
    if (iserr(v) || !touch(cm, from, to)) {
        return;
    }
    while (from <= to && !iserr(v)) {
        const std::size_t last = std::min(to, from | BYTMASK); // of this block
        if (last - from == BYTMASK) {
            subblock(v, from, lp, rp);
        } else {
            splitruns(v, cm->tree[from >> BYTBITS], from & BYTMASK, last & BYTMASK, lp, rp);
        }
        from = last + 1;
    }
}

void okcolors(nfa* n, colormap* cm) {
    while (cm->open != NOSUB && !iserr(cm->v)) {
        const color co = cm->open;
        const color sco = desc(cm, co).sub;
        cm->open = desc(cm, co).opennext;
        desc(cm, co).sub = NOSUB;
        desc(cm, sco).sub = NOSUB;
        if (desc(cm, co).nchrs == 0) {
            takeback(n, cm, co, sco);
        } else {
            for (const arc* a = desc(cm, co).arcs; a != nullptr; a = a->colorchain) {
                newarc(n, a->type, sco, a->from, a->to);
            }
        }
    }
    if (cm->returned != NOSUB) {
        settlereturned(cm);
    }
    cm->ntouched = 0;
}

void colorchain(colormap* cm, arc* a) {
    arc*& head = cm->cd[a->co].arcs;
    a->colorprev = nullptr;
    a->colorchain = head;
    if (head != nullptr) {
        head->colorprev = a;
    }
    head = a;
}

void uncolorchain(colormap* cm, arc* a) {
    if (a->colorprev != nullptr) {
        a->colorprev->colorchain = a->colorchain;
    } else {
        cm->cd[a->co].arcs = a->colorchain;
    }
    if (a->colorchain != nullptr) {
        a->colorchain->colorprev = a->colorprev;
    }
    a->colorchain = nullptr;
    a->colorprev = nullptr;
}

void rainbow(nfa* n, colormap* cm, int type, color but, state* from, state* to) {
    for (std::size_t i = 0; i <= cm->max && !iserr(cm->v); i++) {
        const colordesc& d = cm->cd[i];
        const color co = static_cast<color>(i);
        const bool openparent = d.sub != NOSUB && d.sub != co;
        if (!d.unused() && !openparent && co != but && (d.flags & PSEUDO) == 0) {
            newarc(n, type, co, from, to);
        }
    }
}

void colorcomplement(nfa* n, colormap* cm, int type, state* of, state* from, state* to) {
    if (iserr(cm->v)) {
        return;
    }
    for (const arc* a = of->outs; a != nullptr; a = a->outchain) {
        if (a->type == PLAIN) {
            cm->cd[a->co].flags |= MARKED;
        }
    }
    for (std::size_t i = 0; i <= cm->max; i++) {
        if ((cm->cd[i].flags & (FREECOL | PSEUDO | MARKED)) == 0) {
            newarc(n, type, static_cast<int>(i), from, to);
        }
    }
    for (const arc* a = of->outs; a != nullptr; a = a->outchain) {
        if (a->type == PLAIN) {
            cm->cd[a->co].flags &= ~MARKED;
        }
    }
}

} // namespace Quil::IMPL::engine
