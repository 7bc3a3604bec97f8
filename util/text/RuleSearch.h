// Looking for the rules of a set in one text after another, and what each match becomes.
#pragma once

#include "util/base/visibility.h"
#include "util/text/ITextReplacer.h"
#include "util/text/RuleSet.h"
#include "util/text/rule_match.h"
#include "util/text/text_build.h"

#include <memory>
#include <span>
#include <vector>

namespace QUIL_PUBLIC Quil {

/// How often each rule of a set was met. Value type.
class CRuleCounts {
public:
    explicit CRuleCounts(std::size_t rules = 0) : __counts(rules) {}

    void Add(unsigned int rule, std::uint64_t count = 1) {
        if (__counts[rule] == 0) {
            __met.push_back(rule);
        }
        __counts[rule] += count;
    }
    void Clear() {
        for (const unsigned int rule : __met) {
            __counts[rule] = 0;
        }
        __met.clear();
    }
    std::uint64_t Get(unsigned int rule) const { return __counts[rule]; }
    /// Those that were met at all, in the order in which they first were.
    const std::vector<unsigned int>& GetMet() const { return __met; }

private:
    std::vector<std::uint64_t> __counts;
    std::vector<unsigned int> __met;
};

/// Searches texts of wide characters, or of bytes: those of UTF-8, which have to be ASCII if the
/// set has expressions, or ignores case beyond ASCII. For one thread; shares the set.
template <class T>
class CRuleSearch {
public:
    explicit CRuleSearch(std::shared_ptr<const CRuleSet> rules);
    ~CRuleSearch();
    CRuleSearch(const CRuleSearch&) = delete;
    CRuleSearch& operator=(const CRuleSearch&) = delete;

    /// The text, which stays as it is until the next one is set.
    /// @param isLast nothing comes behind it; so it must be if the set has expressions
    /// @param isInWord a word's character stands before it
    void SetText(text_ref<T> text, bool isLast = true, bool isInWord = false);
    /// The next match that begins at or behind `from`. False if there is none; of a text that isn't
    /// the last, also if what comes behind it decides.
    bool Find(unsigned int from, RULE_MATCH& match) {
        if (__ahead.empty() || from != __aheadFrom) {
            return __Find(from, match);
        }
        match = __ahead.front();
        __Ahead(__ahead.subspan(1), match.end());
        return true;
    }
    /// Behind the last match, from where on what comes behind the text decides.
    unsigned int GetUndecided() const;
    /// Appends what the match that was found last becomes.
    void PutReplacement(IMPL::text_writer<T>& out, const RULE_MATCH& match) const {
        if (__replacements == nullptr) {
            __PutReplacement(out, match);
            return;
        }
        out.put_part(__replacements[match.rule].in(__texts.data), __texts.data + __texts.length);
    }
    /// Whether a text ends within a word.
    static bool EndsInWord(text_ref<T> text);
    /// Forgets what the texts so far have taught. Those that come have about `size` elements, as
    /// far as is known: long ones are worth more preparation.
    void Restart(std::uint64_t size = 0);

private:
    struct machine;

    bool __Find(unsigned int from, RULE_MATCH& match);
    void __PutReplacement(IMPL::text_writer<T>& out, const RULE_MATCH& match) const;
    /// These come next, if the search goes on from here. What they become is asked for from memory.
    void __Ahead(std::span<const RULE_MATCH> matches, unsigned int from) {
        constexpr std::size_t FAR = 16;
        constexpr std::size_t NEAR = FAR / 2;
        __ahead = matches;
        __aheadFrom = from;
        if (__replacements != nullptr && matches.size() > FAR) {
            __builtin_prefetch(&__replacements[matches[FAR].rule]);
            __builtin_prefetch(__texts.data + __replacements[matches[NEAR].rule].begin);
        }
    }

    std::shared_ptr<const CRuleSet> __rules;
    std::unique_ptr<machine> __machine; ///< made for the first text
    std::uint64_t __size = 0;           ///< of the texts that come, if known
    std::span<const RULE_MATCH> __ahead;
    unsigned int __aheadFrom = 0;                     ///< where the match before those ends
    const IMPL::TEXT_PLACE* __replacements = nullptr; ///< of the rules, if no match changes them
    text_ref<T> __texts{nullptr, 0};
};

extern template class CRuleSearch<unsigned char>;
extern template class CRuleSearch<wchar_t>;

/// Replaces all matches of a set's rules, and counts them.
class CRuleReplacer final : public ITextReplacer {
public:
    explicit CRuleReplacer(std::shared_ptr<const CRuleSet> rules);
    ~CRuleReplacer() override;

    unsigned int Replace(basic_buffer<wchar_t>& to, text_ref<wchar_t> text,
                         REPLACED_MATCHES* matches) override;
    unsigned int Replace(basic_buffer<unsigned char>& to, text_ref<unsigned char> text,
                         REPLACED_MATCHES* matches) override;

    void StartText() override { __counts.Clear(); }
    const CRuleCounts* GetRuleCounts() const override { return &__counts; }

private:
    template <class T>
    unsigned int __Replace(std::unique_ptr<CRuleSearch<T>>& search, basic_buffer<T>& to,
                           text_ref<T> text, REPLACED_MATCHES* matches);

    std::shared_ptr<const CRuleSet> __rules;
    std::unique_ptr<CRuleSearch<wchar_t>> __wide;
    std::unique_ptr<CRuleSearch<unsigned char>> __bytes;
    CRuleCounts __counts;
};

} // namespace Quil
