// Finding where the groups of a match lie: the span is divided along the expression's tree, each
// part taking its place by its own preference, the earlier parts first.
// Two ways: where the automata alone decide (`dissect`), each division is final and costs a pass or
// two over its span; where back references stand below a node (`cdissect`), the automata only
// propose, and the way goes back when a proposal fails. Both keep their place in lists of their
// own, so neither the text's length nor the tree's depth costs stack.
#pragma once

#include "regex/filter/hinge.h"
#include "regex/match/nodes.h"

#include <optional>
#include <vector>

namespace Quil::IMPL::engine {

/// Divides matches. Borrows all it works on. One per context.
template <class Chr>
class TDissector {
    using pattern = typename chrtraits<Chr>::pattern;

public:
    TDissector(const guts<pattern>& g, scanenv<Chr>& env, TNodes<Chr>& nodes);

    /// The match vector in force. Groups at or above `nmatch` are not reported.
    void setmatches(regmatch_t* pmatch, std::size_t nmatch);
    /// All groups take no part, slot 0 stays.
    void clear();
    /// Divides [begin, end], which is known to match `root`. REG_OKAY, or REG_ASSERT if it doesn't.
    int dissect(const subre* root, const Chr* begin, const Chr* end);
    /// The same with back references: REG_NOMATCH if the span doesn't match after all.
    int cdissect(const subre* root, const Chr* begin, const Chr* end);
    /// The groups below `root` take no part, as long as nothing else is found. All nodes are asked:
    /// an alternation's flags tell of all alternatives, those of one alternative not of the rest.
    void zap(const subre* root);

private:
    struct piece {
        const subre* node;
        const Chr* begin;
        const Chr* end;
    };
    enum stage { ENTERED, INLEFT, INRIGHT };
    /// A node that `cdissect` is at work on.
    struct frame {
        piece span;
        stage at = ENTERED;
        const subre* alternative = nullptr; // of an alternation: the node of the one tried now
        const Chr* mid = nullptr;           // of a concatenation: the division tried now
        bool only = false;                  // ... and no other is possible
        std::size_t candidates = NONE; // place in `bits_` of the divisions that both sides allow
    };
    static constexpr std::size_t NONE = ~std::size_t{0};
    static constexpr int PENDING = -1; // no result yet: a child was entered

    void note(const subre& group, const Chr* begin, const Chr* end);
    const Chr* split(const subre& node, const Chr* begin, const Chr* end);
    const Chr* onlymid(const subre& node, const Chr* begin, const Chr* end);
    const Chr* splitlinear(const subre& node, const Chr* begin, const Chr* end);
    const Chr* firstmid(const subre& left, const Chr* begin, const Chr* end);
    const Chr* stepmid(const subre& left, const Chr* begin, const Chr* mid, const Chr* end);
    CPlaces places(std::size_t at, const Chr* begin, const Chr* end);
    const Chr* preferred(const subre& left, const CPlaces& among, const Chr* begin,
                         const Chr* from) const;
    void collect(const subre& node, const Chr* begin, const Chr* end);
    bool collectable(const Chr* begin, const Chr* end) const;

    void enter(const subre* node, const Chr* begin, const Chr* end);
    int advance(int er);
    int capture(int er);
    int concatenate(int er);
    int concatenatefixed(int er);
    int nextmid();
    int alternate(int er);
    int refer(const subre& node, const Chr* begin, const Chr* end) const;
    int compare(const Chr* a, const Chr* b, std::size_t length) const;

    const guts<pattern>& __guts;
    scanenv<Chr>& __env;
    TNodes<Chr>& __nodes;
    regmatch_t* __pmatch = nullptr; // borrowed
    std::size_t __nmatch = 0;
    std::vector<std::optional<CHinge>> __hinges; // by node, made when first asked for
    std::vector<piece> __pieces;
    std::vector<frame> __frames;
    std::vector<const subre*> __zapping;
    std::vector<std::uint64_t> __bits; // sets of divisions, a stack as `frames_` is
};

extern template class TDissector<char>;
extern template class TDissector<wchar_t>;
extern template class TDissector<unsigned char>;

} // namespace Quil::IMPL::engine
