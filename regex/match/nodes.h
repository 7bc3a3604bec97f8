// The scanners of one compiled expression: those of its tree's nodes and those of its lookaheads,
// made when first asked for and kept with the states that they have found.
#pragma once

#include "regex/match/scan.h"

#include <array>
#include <memory>
#include <vector>

namespace Quil::IMPL::engine {

/// An automaton turned round: it reads the characters of a match from the last to the first. Its
/// pre state is the other's post state, and the other way round.
class CReversed {
public:
    /// What the automaton turned round reads: matches, or all that matches can begin with.
    enum class reads { MATCHES, BEGINNINGS };
    /// Arcs that the reading of beginnings may have; an automaton with more states is not for it.
    static constexpr std::size_t MOSTARCS = std::size_t{1} << 14;

    explicit CReversed(const cnfa& automaton, reads what = reads::MATCHES);
    CReversed(const CReversed&) = delete;
    CReversed& operator=(const CReversed&) = delete;

    const cnfa& automaton() const { return __reversed; }

private:
    std::vector<carc> __arcs;
    std::vector<carc*> __states;
    cnfa __reversed;
};

/// Scanners of tree nodes, by node. Borrows the tree, which must outlive it.
template <class Chr>
class TNodes {
public:
    TNodes(scanenv<Chr>& env, int ntree) : __env(env), __nodes(static_cast<std::size_t>(ntree)) {}

    TScanner<Chr>& forward(const subre& node);
    /// The scanner of the node's reversed automaton.
    TScanner<Chr>& backward(const subre& node);
    /// The length of all the node's matches, or -1.
    static int length(const subre& node) {
        return node.cnfa.minlen == node.cnfa.maxlen ? node.cnfa.minlen : -1;
    }
    /// Whether the node matches exactly [begin, end].
    bool matches(const subre& node, const Chr* begin, const Chr* end) {
        return forward(node).longest(begin, end) == end;
    }
    void newtext();

private:
    struct entry {
        std::unique_ptr<TScanner<Chr>> forward;
        std::unique_ptr<CReversed> reversed;
        std::unique_ptr<TScanner<Chr>> backward;
    };
    entry& of(const subre& node) { return __nodes[static_cast<std::size_t>(node.retry)]; }

    scanenv<Chr>& __env;
    std::vector<entry> __nodes;
};

/// Decides lookaheads by the shortest match from the place, and remembers the last answers.
template <class Chr>
class TLookaheads final : public ILookahead {
public:
    TLookaheads(scanenv<Chr>& env, const subre* lacons, int nlacons)
        : __env(env), __lacons(lacons), __scanners(static_cast<std::size_t>(nlacons)) {}

    bool holds(int number, std::size_t position) override;
    void newtext();

private:
    static constexpr std::size_t ANSWERS = 256;
    struct answer {
        std::uint64_t key = 0; // 0: none
        bool holds = false;
    };

    scanenv<Chr>& __env;
    const subre* __lacons;
    std::vector<std::unique_ptr<TScanner<Chr>>> __scanners;
    std::array<answer, ANSWERS> __answers;
};

extern template class TNodes<char>;
extern template class TNodes<wchar_t>;
extern template class TNodes<unsigned char>;
extern template class TLookaheads<char>;
extern template class TLookaheads<wchar_t>;
extern template class TLookaheads<unsigned char>;

} // namespace Quil::IMPL::engine
