// The search for the leftmost of a set's literals, and there the longest.
//
// The loop: where the filter says that a literal may begin, go down the tree of those with that
// prefix as far as the text goes with it; the last complete one on the way is the match. What
// complicates it: where something may begin at every other place, an automaton that reads element
// by element is faster. A text that nearly matches again and again would be read as often as
// literals are long, so a search that spends too much goes over to an automaton that reads each
// element once. And a literal may be wanted as a whole word, or in one case only in a set where
// others are wanted in any, so each complete one on the way has to be asked for.
#pragma once

#include "util/text/rule_match.h"
#include "util/text/rules/literal_set.h"
#include "util/text/rules/match_chain.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Quil::IMPL {

/// A search in one text after the other. For one thread. The set must stay.
template <class T>
class literal_search {
public:
    explicit literal_search(const literal_set<T>& set);

    /// Goes on in another text, which must stay meanwhile.
    /// @param isLast nothing comes behind it
    /// @param isInWord what stands before it is part of a word
    void set_text(text_ref<T> text, bool isLast, bool isInWord);

    /// The leftmost match that begins at or behind `from`, and of those the longest. False if there
    /// is none, or none that is decided on.
    bool find(unsigned int from, RULE_MATCH& match);
    /// The matches behind the one found last, if they are known: those that searches find that go
    /// on from the end of the one before.
    std::span<const RULE_MATCH> ahead() const noexcept {
        return __isByChain ? __chain->ahead() : std::span<const RULE_MATCH>();
    }
    /// After a search in vain: from where on matches depend on what comes behind the text. Its
    /// length if none does.
    unsigned int undecided() const noexcept { return __undecided; }
    /// Forgets what the texts so far have taught.
    /// @param size elements of those that come, as far as is known
    void restart(std::uint64_t size) {
        __given = std::max(__given, size);
        __credit = ALLOWANCE;
        __isByAutomaton = false;
        if (__chain) {
            __chain->restart();
        }
    }

private:
    using tree = literal_tree<T>;
    using word = prefix_word<T>;
    enum class OUTCOME { NONE, FOUND, OPEN };

    /// What ways down may cost, in nodes and stretches of their texts, before they are done
    /// without: so much, and so much for each element of the text.
    static constexpr std::int64_t ALLOWANCE = 1 << 16;
    static constexpr std::int64_t COST_FACTOR = 16;
    static constexpr unsigned int STRETCH = 16;
    static constexpr unsigned int UNDECIDED = ~0U; ///< in place of a rule
    /// Places of which the automaton tells at a time.
    static constexpr unsigned int CHUNK = 1 << 16;
    /// Places that are looked at together, so that what one of them waits for from memory comes
    /// while others are looked at.
    static constexpr unsigned int BATCH = 1024;

    /// A place where literals may begin, with the root of their tree.
    struct CANDIDATE {
        unsigned int place;
        std::uint32_t root;
    };

    /// A place, and a table that may have what begins there.
    struct HIT {
        unsigned int place;
        const prefix_table* table;
        std::uint64_t hash;
    };

    bool __FindByTree(unsigned int& at, unsigned int end, RULE_MATCH& match);
    void __Gather(unsigned int begin, unsigned int end);
    template <bool Folds, bool Long>
    void __GatherOf(const prefix_class& one, unsigned int begin, unsigned int end);
    template <bool Folds>
    bool __MayBe(const prefix_table::ROOT& root, unsigned int place) const;
    bool __MayBegin(unsigned int at) const;
    bool __FindAtEnd(unsigned int at, RULE_MATCH& match);
    bool __FindByChain(unsigned int& at, RULE_MATCH& match);
    bool __FindByAutomaton(unsigned int& at, unsigned int end, RULE_MATCH& match);
    void __TellChunk(unsigned int begin, unsigned int end);
    OUTCOME __Try(unsigned int at, const PREFIX& front, unsigned int count, RULE_MATCH& match);
    OUTCOME __Finish(unsigned int at, OUTCOME outcome, RULE_MATCH& match);
    void __GoDown(unsigned int at, std::uint32_t root, OUTCOME& outcome, RULE_MATCH& match);
    bool __Fits(const T* literal, text_ref<T> text, unsigned int from, unsigned int end) const;
    OUTCOME __Choose(std::uint32_t entry, unsigned int at, unsigned int& rule) const;
    bool __IsInWord(unsigned int at) const {
        return at == 0 ? __isInWord : is_word_before(__text, at);
    }

    const literal_set<T>& __set;
    const bool __folds;
    text_ref<T> __text{nullptr, 0};
    bool __isLast = true;
    bool __isInWord = false;
    unsigned int __closed = 0; ///< up to here a literal that begins ends within the text
    unsigned int __undecided = 0;
    std::int64_t __credit = ALLOWANCE; ///< for ways down; below 0: no more of them
    bool __isByAutomaton = false;
    bool __isByChain = false;              ///< the match found last is
    std::uint64_t __given = 0;             ///< elements of all texts, and of what is known to come
    std::optional<match_chain<T>> __chain; ///< once there were so many that it pays
    std::vector<HIT> __hits;
    std::vector<CANDIDATE> __candidates; ///< of the places up to the batch's end, by place
    std::size_t __next = 0;              ///< of the candidates
    unsigned int __batchEnd = 0;
    unsigned int __chunkBegin = 0;
    unsigned int __chunkEnd = 0;
    std::vector<RULE_MATCH> __chunk; ///< of each place; of no length: none
};

extern template class literal_search<unsigned char>;
extern template class literal_search<wchar_t>;

} // namespace Quil::IMPL
