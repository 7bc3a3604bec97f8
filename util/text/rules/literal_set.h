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
    /// Whether texts like the sample are better searched by an automaton than by the tree.
    bool has_dfa() const noexcept { return __dfa || __array; }
    /// The leftmost match and there the longest, by that; `reached` is how far it read.
    DFA_MATCH<T> find_by_dfa(const T* from, const T* end, const T*& reached) const {
        return __dfa ? __dfa->find(from, end, reached) : __array->find(from, end, reached);
    }
    /// Whether a literal doesn't match wherever it stands.
    bool has_conditions() const noexcept { return __hasConditions; }
    /// Made when it is first asked for.
    const literal_automaton<T>& automaton() const;

private:
    void __MakeClass(unsigned int least, unsigned int behind);
    void __MakeTable(prefix_class& of, unsigned int least, unsigned int behind);
    prefix_table::ROOT __MakeRoot(const T* text, std::span<const std::uint32_t> members);
    void __MakeDfa(double cost);

    literal_list<T> __list;
    literal_tree<T> __tree;
    std::vector<prefix_class> __classes;
    bool __hasConditions = false;
    std::unique_ptr<literal_dfa<T>> __dfa; ///< or the other one, if any
    std::unique_ptr<literal_double_array<T>> __array;
    mutable std::once_flag __once;
    mutable std::unique_ptr<literal_automaton<T>> __automaton;
};

extern template class literal_set<unsigned char>;
extern template class literal_set<wchar_t>;

} // namespace Quil::IMPL
