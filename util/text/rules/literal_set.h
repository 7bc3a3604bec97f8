// A set of literals of any size, as searches need it: in order, as a tree with its filter, or as an
// automaton, whichever texts like a sample are better searched by.
#pragma once

#include "util/text/rules/literal_automaton.h"
#include "util/text/rules/literal_dfa.h"
#include "util/text/rules/literal_tree.h"
#include "util/text/rules/prefix_filter.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace Quil::IMPL {

/// The set, for any number of searches at once. The texts of the literals must stay; at equal
/// lengths the literal that comes first counts.
template <class T>
class literal_set {
public:
    /// @param sample a text as those that will be searched: what is looked at in them depends on
    ///        what is frequent there
    literal_set(std::span<const LITERAL<T>> literals, text_ref<T> sample);

    const literal_list<T>& list() const noexcept { return __list; }
    const literal_tree<T>& tree() const noexcept { return __tree; }
    std::span<const prefix_class> classes() const noexcept { return __classes; }
    /// How long texts like the sample have to be for dfa() to pay; of no length does it if a
    /// literal doesn't match wherever it stands.
    std::uint64_t dfa_pays_from() const noexcept { return __dfaPaysFrom; }
    /// What finds dense matches. Made when it is first asked for, for texts like that sample.
    const literal_dfa<T>& dfa(text_ref<T> sample) const;
    /// Whether a literal doesn't match wherever it stands.
    bool has_conditions() const noexcept { return __hasConditions; }
    /// Made when it is first asked for.
    const literal_automaton<T>& automaton() const;

private:
    static constexpr std::uint64_t NEVER = ~std::uint64_t{0};

    void __MakeClass(unsigned int least, unsigned int behind);
    void __MakeTable(prefix_class& of, unsigned int least, unsigned int behind);
    prefix_table::ROOT __MakeRoot(const T* text, std::span<const std::uint32_t> members);
    std::uint64_t __DfaPaysFrom(double cost) const;

    literal_list<T> __list;
    literal_tree<T> __tree;
    std::vector<prefix_class> __classes;
    bool __hasConditions = false;
    std::uint64_t __dfaPaysFrom = NEVER;
    mutable std::once_flag __dfaOnce;
    mutable std::unique_ptr<literal_dfa<T>> __dfa;
    mutable std::once_flag __automatonOnce;
    mutable std::unique_ptr<literal_automaton<T>> __automaton;
};

extern template class literal_set<unsigned char>;
extern template class literal_set<wchar_t>;

} // namespace Quil::IMPL
