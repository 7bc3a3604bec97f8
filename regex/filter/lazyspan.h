// Matches of expressions that prefer the shortest, like `<.*?>`, without a search beforehand: a
// match is tried from each place that could begin one, and the first try that succeeds is the
// match, as nothing behind its end is asked for. While the automaton waits inside a match for what
// may end it, it leaps. Tries that fail may cost more than a search would; so it is counted what
// they cost, and the search takes over.
#pragma once

#include "regex/filter/fingerprint.h"
#include "regex/match/scan.h"

#include <array>
#include <optional>

namespace Quil::IMPL::engine {

/// Finds shortest matches. Borrows the automaton and the environment. Owns DFA states.
template <class Chr>
class TLazySpan {
public:
    enum class outcome { FOUND, NONE, UNKNOWN };

    TLazySpan(const cnfa& automaton, scanenv<Chr>& env);

    /// Whether it pays to ask.
    bool usable() const {
        return __usable && !__off && !__env.limits.smallcache &&
               (__ready || __env.stop - __env.start >= WORTHWHILE);
    }
    /// Matches can only begin where `begins`, which is kept elsewhere, finds something.
    void leapby(const TFingerprint<Chr>* begins) { __begins = begins; }
    /// The text is another one, or ends in another way.
    void newtext() { __off = false, __wasted = __advanced = 0; }
    /// Looks for the first match of the environment's text. UNKNOWN: a search must find it, which
    /// may begin at `begin`.
    outcome find(const Chr*& begin, const Chr*& end);

private:
    using transition = CDfa::transition;
    static constexpr std::ptrdiff_t WORTHWHILE = chrtraits<Chr>::NCHRS / 16;
    static constexpr std::size_t MOSTWAITS = 4;
    static constexpr std::size_t FEW = 3; // characters to be found by vectors
    static constexpr transition NOWAIT = CDfa::DEAD;

    /// A character with one of a few behind it, or one of other characters.
    struct pairing {
        Chr first{};
        std::array<Chr, FEW> second{};
        std::array<Chr, FEW - 1> others{};
        std::size_t nothers = 0;
    };
    /// A state in which the automaton stays until one of few characters comes.
    struct wait {
        transition row = NOWAIT;
        TSkip<Chr> leaving;
        std::optional<pairing> pair; // the state is left for good only where it stands
    };

    bool prepare();
    const Chr* nextbegin(const Chr* from) const;
    outcome attempt(const Chr* begin, const Chr*& end, const Chr*& reached);
    void consider(transition state);
    std::optional<pairing> pair(transition from, transition home, const std::vector<Chr>& away);
    std::vector<Chr> behind(transition from, transition home, Chr first);
    colorset leaving(transition from, transition home);
    std::vector<Chr> characters(const colorset& colors) const;
    const Chr* leap(transition state, const Chr* from) const;
    const Chr* leappair(const pairing& pair, const Chr* from) const;
    /// The cache was emptied: no state that was known before is known now.
    bool flushed() const { return __dfa.generation() != 0; }
    transition step(transition at, int co) { return __dfa.step(at, co, 0, *__env.lookahead); }

    scanenv<Chr>& __env;
    CDfa __dfa;
    TSkip<Chr> __beginnings;
    std::optional<pairing> __beginpair; // all matches begin with it
    const TFingerprint<Chr>* __begins = nullptr;
    std::array<wait, MOSTWAITS> __waits;
    std::size_t __nwaits = 0;
    int __considerings = 32;       // states yet to be looked at closer
    colorset __used;               // colors that characters have
    transition __entered = NOWAIT; // the state behind any character before a match
    std::ptrdiff_t __leapt = 0;    // characters that the last try leapt over
    std::uint64_t __wasted = 0;    // characters that tries looked at in vain
    std::uint64_t __advanced = 0;  // characters that are done with
    int __patience = 4;            // texts in which tries may yet turn out to cost too much
    bool __usable;
    bool __ready = false;
    bool __off = false;
};

extern template class TLazySpan<char>;
extern template class TLazySpan<wchar_t>;
extern template class TLazySpan<unsigned char>;

} // namespace Quil::IMPL::engine
