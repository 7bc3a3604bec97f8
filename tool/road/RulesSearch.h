// Literal rules, looked for as the text comes.
//
// What complicates it: whether a word is whole depends on what stood in front of the text at hand,
// so that is remembered, and for a road that goes back to a block also what stood in front of that.
#pragma once

#include "tool/road/search.h"
#include "util/text/RuleSearch.h"

#include <memory>

namespace Quil {

/// Searches wide texts or texts in UTF-8. For one thread.
template <class T>
class CRulesSearch final : public ISearch<T> {
public:
    explicit CRulesSearch(const std::shared_ptr<const CRuleSet>& rules,
                          PIECES told = PIECES::BLOCKS)
        : __rules(rules), __search(rules), __told(told), __counts(rules->GetCount()) {}

    void Start(std::uint64_t size, std::uint64_t place, bool isAgain) override {
        this->_count = 0;
        __counts.Clear();
        __search.Restart(size);
        __isInWord = isAgain && place != 0 && __wasInWord;
    }

    std::size_t Take(text_ref<T> text, bool isLast, IPieces<T>& pieces) override {
        CTeller<T> teller(text, __told, pieces, __together);
        __wasInWord = __isInWord;
        __search.SetText(text, isLast, __isInWord);
        for (RULE_MATCH match; __search.Find(teller.GetDone(), match);) {
            ++this->_count;
            __counts.Add(match.rule);
            teller.Tell(match.begin, match.length,
                        [&](auto& writer) { __search.PutReplacement(writer, match); });
        }
        const unsigned int decided =
            isLast ? text.length : std::max(teller.GetDone(), __search.GetUndecided());
        teller.Finish(decided);
        if (decided != 0) {
            __isInWord = CRuleSearch<T>::EndsInWord({text.data, decided});
        }
        return decided;
    }

    std::uint64_t GetMost(std::uint64_t size) const override {
        return __rules->GetMost(size, sizeof(T) == 1);
    }
    bool KeepsPlaces() const override { return __rules->KeepsPlaces(sizeof(T) == 1); }
    const CRuleCounts* GetRuleCounts() const override { return &__counts; }

private:
    std::shared_ptr<const CRuleSet> __rules;
    CRuleSearch<T> __search;
    PIECES __told;
    CRuleCounts __counts;
    basic_buffer<T> __together;
    bool __isInWord = false;  ///< in front of what comes
    bool __wasInWord = false; ///< in front of the text taken last
};

} // namespace Quil
