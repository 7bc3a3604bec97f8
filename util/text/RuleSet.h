// Many replacements at once: rules, each a literal or an expression with what becomes of it.
//
// A text is told in one pass. The leftmost match of any rule counts, of those at one place the
// longest, of equally long ones that of the rule that was added first; the search goes on behind
// it, and no rule sees what another one has put in. An expression sees the text around its match as
// it was. A match has one character at least: what an expression finds of no length is passed over.
#pragma once

#include "util/base/visibility.h"
#include "util/text/case_change.h"
#include "util/text/regex_error.h"
#include "util/text/wstringEx.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace QUIL_PUBLIC Quil {

namespace IMPL {
template <class T>
struct rule_forms;
struct rule_unit;

/// Where a text stands among others.
struct TEXT_PLACE {
    std::uint32_t begin = 0;
    std::uint32_t length = 0;

    template <class T>
    text_ref<T> in(const T* texts) const noexcept {
        return {texts + begin, length};
    }
};
} // namespace IMPL

/// How a rule finds.
struct RULE_KIND {
    bool isExpression = false; ///< of the extended syntax, or behind *** as that says
    bool noCase = false;
    bool wholeWord = false; ///< of a literal: neither letter, digit nor underscore stands beside it
    bool noNewline = false; ///< of an expression: line ends are to it as other characters

    friend bool operator==(const RULE_KIND&, const RULE_KIND&) = default;
};

/// The rules. First they are added, by one thread; once prepared, the set doesn't change and serves
/// any number of searches in any threads.
class CRuleSet {
public:
    /// Why a set can't be.
    struct TROUBLE {
        unsigned int rule = 0;  ///< by its number, from 0 on
        bool isTwice = false;   ///< it could never match, since all it finds is another one's:
        unsigned int other = 0; ///< an earlier one's
        REGEX_ERROR error;      ///< else: its expression doesn't compile
    };

    explicit CRuleSet(const CASE_RULES& cases = {});
    ~CRuleSet();
    CRuleSet(const CRuleSet&) = delete;
    CRuleSet& operator=(const CRuleSet&) = delete;

    /// Makes room for so many more rules, with texts of so many elements in all.
    void Reserve(std::size_t rules, std::size_t elements);
    /// @param find not empty, of Unicode characters only
    /// @param replacement of a literal: the text; of an expression: with \0 to \9 and escapes
    void Add(const RULE_KIND& kind, text_ref<wchar_t> find, text_ref<wchar_t> replacement);
    /// Ends the adding. False, with the first trouble, if the rules can't be used. `follows` of the
    /// case rules is about those of them that take any case.
    bool Prepare(TROUBLE& trouble);

    std::size_t GetCount() const { return __rules.size(); }
    const RULE_KIND& GetKind(unsigned int rule) const { return __rules[rule].kind; }
    text_ref<wchar_t> GetFind(unsigned int rule) const;
    text_ref<wchar_t> GetReplacement(unsigned int rule) const;

    bool HasExpressions() const { return __hasExpressions; }
    /// True if a text may be cut behind any line feed, and the pieces' results put together are
    /// that of the whole.
    bool IsLocalToLines() const { return __isLocal; }
    /// Whether each line of a text becomes one line.
    bool KeepsLines() const { return __keepsLines; }
    /// Whether case is ignored beyond ASCII, too.
    bool FoldsBeyondAscii() const { return __foldsBeyond; }
    /// The characters of the rules that ignore case.
    wstringEx GetFoldedText() const;
    /// Elements of the longest find text of a literal.
    unsigned int GetLongest() const { return __longest; }
    /// Elements that a result of a text of so many has at most; bytes, if in UTF-8.
    std::uint64_t GetMost(std::uint64_t size, bool inBytes) const;
    /// Whether every replacement is as long as what it replaces, in elements or bytes.
    bool KeepsPlaces(bool inBytes) const;

private:
    template <class T>
    friend class CRuleSearch;
    template <class T>
    friend struct IMPL::rule_forms;

    struct RULE {
        RULE_KIND kind;
        IMPL::TEXT_PLACE find;
        IMPL::TEXT_PLACE replacement;
    };
    struct FORMS;

    bool __FindTwins(TROUBLE& trouble) const;
    bool __Covers(const RULE& earlier, const RULE& later) const;
    bool __Compile(TROUBLE& trouble);
    void __Join();
    void __Measure();
    template <class T>
    const IMPL::rule_forms<T>& __GetForms(text_ref<T> sample) const;

    CASE_RULES __cases;
    std::vector<RULE> __rules;
    std::vector<wchar_t> __texts;
    std::vector<IMPL::rule_unit> __units; ///< the expressions
    bool __hasExpressions = false;
    bool __isLocal = true;
    bool __keepsLines = true;
    bool __foldsBeyond = false;
    unsigned int __longest = 0;
    double __growth[2] = {1, 1}; ///< most elements, and bytes, for one that is replaced
    bool __keepsPlaces[2] = {true, true};
    std::unique_ptr<FORMS> __forms; ///< made when they are first asked for
};

} // namespace Quil
