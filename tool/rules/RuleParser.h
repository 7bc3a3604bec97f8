// Takes a list of rules apart: a line a rule, find and replacement parted by a tab, or a row of a
// table. Lines that begin with @ say how the rules behind them find; in lines of text, those that
// begin with # are for people.
//
// What complicates it: whoever wrote the list must find the place of what is wrong in it, so every
// complaint has a line and a column, and no rule counts before the last line is good.
#pragma once

#include "util/text/RuleSet.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <optional>
#include <string>

namespace Quil {

/// What is wrong with a list. Lines and columns, in characters, count from 1.
struct RULE_COMPLAINT {
    unsigned int line;
    unsigned int column;
    stringEx what;
};

/// Reads one list. Each begins with literals as they stand, whatever the one before ended with.
class CRuleParser {
public:
    using COMPLAINT = std::optional<RULE_COMPLAINT>;

    /// Where rules go.
    class ITaker {
    public:
        virtual ~ITaker() = default;
        virtual void Take(const RULE_KIND& kind, text_ref<wchar_t> find,
                          text_ref<wchar_t> replacement, unsigned int line) = 0;
    };

    explicit CRuleParser(ITaker& taker) : __taker(taker) {}

    /// A text of lines.
    COMPLAINT ParseLines(const wstringEx& text);
    /// A table: of cells parted by tabs if its first line has one, else by commas.
    COMPLAINT ParseTable(const wstringEx& text);

private:
    COMPLAINT __TakeLine(text_ref<wchar_t> line);
    COMPLAINT __TakeDirective(text_ref<wchar_t> line);
    COMPLAINT __TakeRule(text_ref<wchar_t> find, text_ref<wchar_t> replacement);
    COMPLAINT __Unescape(text_ref<wchar_t> line, unsigned int begin, unsigned int end,
                         std::wstring& to) const;
    COMPLAINT __Complaint(std::size_t at, stringEx what) const {
        return RULE_COMPLAINT{__line, static_cast<unsigned int>(at + 1), std::move(what)};
    }

    ITaker& __taker;
    RULE_KIND __kind;
    unsigned int __line = 0;
    std::wstring __find; ///< of the line at hand, without its escapes
    std::wstring __replacement;
};

/// A text as a list of literals has it, in one line.
wstringEx EscapedForRules(text_ref<wchar_t> text, bool isExpression);

} // namespace Quil
