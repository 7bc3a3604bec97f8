// The rules of a run, and where each of them was read.
#pragma once

#include "tool/run.h"
#include "util/text/RuleSet.h"

#include <memory>
#include <vector>

namespace Quil {

/// A prepared set, read only. Any thread may use it.
struct RULE_LIST {
    struct PLACE {
        unsigned int file;
        unsigned int line;
    };

    explicit RULE_LIST(const CASE_RULES& cases) : set(cases) {}

    CRuleSet set;
    std::vector<stringEx> files;
    std::vector<PLACE> places; ///< of each rule
};

/// Reads the lists that the run names, all before any input. Null, after saying what is wrong
/// where, if they can't be used.
std::shared_ptr<const RULE_LIST> ReadRules(const Run& run);

/// A list of the run's one literal, for what only rules can do.
std::shared_ptr<const RULE_LIST> MakeRuleOfLiteral(const Run& run);

/// How often each rule was met, as lines: those that were, and then those that never were.
stringEx RuleReport(const Run& run);

} // namespace Quil
