// Replaces a list of terms in one pass, and tells how often each of them was met.

#include "util/text/RuleSearch.h"
#include "util/text/wstringEx.h"

#include <iostream>
#include <memory>

using namespace Quil;

int main() {
    CASE_RULES cases;
    cases.follows = true; // what is found in any case is replaced in its case
    const auto rules = std::make_shared<CRuleSet>(cases);
    rules->Add({}, L"York", L"Yk");
    rules->Add({}, L"New York", L"NYC");
    rules->Add({.noCase = true, .wholeWord = true}, L"foo", L"bar");
    rules->Add({.isExpression = true}, LR"(([0-9]+)-([0-9]+))", LR"(\2-\1)");

    // A set that can't be used says why: an expression is wrong, or a rule could never match.
    CRuleSet::TROUBLE trouble;
    if (!rules->Prepare(trouble)) {
        std::wcout << L"rule " << trouble.rule << L": " << trouble.error.text << L"\n";
        return 1;
    }

    // Once prepared, it serves any number of threads, each with a replacer of its own.
    CRuleReplacer replacer(rules);
    wstringEx result;
    const wstringEx text(L"New York, York; foo, Foo, FOO, food; 12-34");
    const unsigned int count = replacer.Replace(result, text, nullptr);
    std::wcout << count << L" replaced: " << result << L"\n";
    for (const unsigned int rule : replacer.GetRuleCounts()->GetMet()) {
        std::wcout << rules->GetFind(rule).data[0] << L"...: "
                   << replacer.GetRuleCounts()->Get(rule) << L"\n";
    }
    return 0;
}
