// The matches of a text by the automaton, each the leftmost one behind the one before, found some
// thousand elements ahead of who asks for them.
//
// The loop: several stretches of the text are read side by side, an element of each in turn, so
// that none waits for another one's look into the table; what is decided on is noted without a
// branch. What complicates it: only of the first stretch is it known in which state it begins. The
// others begin as if nothing stood before them, and are read again from their front up to where
// that makes no difference any more, mostly a word or two.
#pragma once

#include "util/text/basic_buffer.h"
#include "util/text/rules/literal_dfa.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Quil::IMPL {

/// The matches of one text after the other. For one thread. The automaton must stay.
template <class T>
class match_chain {
public:
    explicit match_chain(const literal_dfa<T>& dfa);

    /// Goes on in another text, which must stay meanwhile.
    /// @param closed matches that begin from here on aren't wanted
    void set_text(text_ref<T> text, unsigned int closed);

    /// The leftmost match that begins at or behind `from`, and of those the longest. False if there
    /// is none, or if the search was given up.
    bool find(unsigned int from, RULE_MATCH& match);
    /// The matches behind the one found last, as far as they are known: those that searches find
    /// that go on from the end of the one before.
    std::span<const RULE_MATCH> ahead() const noexcept { return __ahead; }
    /// Whether searches are given up, since the texts would be read again and again.
    bool is_spent() const noexcept { return __credit < 0; }
    /// Forgets what the texts so far have cost.
    void restart() {
        __credit = ALLOWANCE;
        set_text(__text, __closed);
    }

private:
    using state = typename literal_dfa<T>::state;
    using decided = typename literal_dfa<T>::DECIDED;

    /// Stretches that are read side by side: with more of them their states don't fit into
    /// registers.
    static constexpr unsigned int LANES = 6;
    static constexpr unsigned int STRETCH = 4096;
    /// Shorter ones aren't worth it.
    static constexpr unsigned int LEAST_STRETCH = 128;
    /// Elements that may be read again: so many, and so many for each that is read at all.
    static constexpr std::int64_t ALLOWANCE = 1 << 16;
    static constexpr std::int64_t READ_AGAIN = 4;

    /// A state that is left by the element at a place.
    struct EVENT {
        unsigned int place;
        state left;
    };
    struct LANE {
        unsigned int begin = 0;
        state at = literal_dfa<T>::ROOT;
        unsigned int events = 0;
        unsigned int dropped = 0; ///< events from the front on that weren't so
    };

    void __Gather();
    void __ReadLanes(unsigned int stretch);
    void __Join(LANE& lane, unsigned int end, state before);
    void __ReadRest();
    void __Finish();
    void __Decide(EVENT event) {
        const decided& what = __dfa.decided(event.left);
        if (!is_spent() && __Note(event.place, what) && what.hasMore) {
            __DecideMore(event.place, what);
        }
    }
    void __DecideMore(unsigned int place, const decided& first);
    /// False if the match isn't wanted, nor any behind it.
    bool __Note(unsigned int place, const decided& what) {
        const unsigned int begin = place - what.behind - what.length;
        if (begin < __closed) {
            __found.push_back({begin, what.length, what.rule});
        }
        return begin < __closed;
    }
    bool __FindFrom(unsigned int from, RULE_MATCH& match);

    const literal_dfa<T>& __dfa;
    text_ref<T> __text{basic_buffer<T>()};
    unsigned int __closed = 0;
    std::int64_t __credit = ALLOWANCE;
    state __state = literal_dfa<T>::ROOT; ///< before the element at __place
    unsigned int __place = 0;             ///< up to here the matches are known
    std::vector<RULE_MATCH> __found;
    std::size_t __next = 0;
    std::span<const RULE_MATCH> __ahead;
    unsigned int __before = 0;   ///< where the match before the next one ends
    std::vector<EVENT> __events; ///< of each lane, STRETCH of them
};

extern template class match_chain<unsigned char>;
extern template class match_chain<wchar_t>;

} // namespace Quil::IMPL
