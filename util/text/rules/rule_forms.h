// A set's rules as searches in one kind of text need them: their texts in that form, the literals
// as a set, the replacements of the expressions taken apart.
#pragma once

#include "util/text/RuleSet.h"
#include "util/text/replace/regex_replace.h"
#include "util/text/rules/literal_search.h"

#include <memory>
#include <optional>
#include <vector>

namespace Quil::IMPL {

/// Expressions that are searched together: one, or the alternatives of a larger one.
struct rule_unit {
    struct MEMBER {
        unsigned int rule;
        unsigned int group;  ///< of the unit's expression, that is this rule's match
        unsigned int groups; ///< of the rule, the whole match included
    };

    wstringEx::regex_handle expression;
    std::vector<MEMBER> members;
};

/// The rules' texts: wide ones as they were added, bytes in UTF-8.
template <class T>
struct rule_forms {
    /// @param sample a text as those that will be searched
    rule_forms(const CRuleSet& set, text_ref<T> sample);

    text_ref<T> find(unsigned int rule) const { return finds[rule].in(text.data()); }
    text_ref<T> replacement(unsigned int rule) const { return replacements[rule].in(text.data()); }
    const cased_template<T>& filler(unsigned int rule) const { return *fillers[rule]; }

    basic_buffer<T> text;
    std::vector<TEXT_PLACE> finds; ///< of each rule, in the text
    std::vector<TEXT_PLACE> replacements;
    std::unique_ptr<literal_set<T>> literals;
    /// Of the expressions; borrow from the replacements.
    std::vector<std::unique_ptr<basic_buffer<T>>> templates;
    std::vector<std::unique_ptr<cased_template<T>>> fillers;
};

} // namespace Quil::IMPL
