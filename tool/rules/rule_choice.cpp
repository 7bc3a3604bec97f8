#include "tool/rules/rule_choice.h"

#include "tool/rules/RuleList.h"
#include "util/text/RuleSearch.h"

#include <algorithm>
#include <iostream>

namespace Quil {

namespace {

/// Why the rules of a run can't be used with its other switches; null if they can.
const char* ObstacleToRules(const Run& run) {
    const bool readsInput = std::ranges::find(run.ruleFiles, stringEx("-")) != run.ruleFiles.end();
    return run.findFunc != FIND::NONE || run.hasReplace
               ? "says what to find and what to put in its place: leave the other switches for "
                 "that out"
           : std::ranges::count(run.ruleFiles, stringEx("-")) > 1
               ? "reads standard input, and can do that but once"
           : readsInput && (run.stdioMode || run.filesFrom == "-")
               ? "reads standard input, which is the run's own input: put the rules into a file"
               : nullptr;
}

/// Why what is said of case can't be done; null if it can.
const char* ObstacleToCases(const Run& run) {
    const bool noCase = run.findFunc == FIND::RULES || run.findFunc == FIND::LITERAL_NO_CASE ||
                        (run.findFunc == FIND::REGEX && run.regexNoCase);
    if (run.cases.follows && !noCase) {
        return "--preserve-case is about what is found in any case: by -fic:, -ric:, -rnnlic: or "
               "rules behind @nocase";
    }
    const bool hasGroups = run.findFunc == FIND::RULES || run.findFunc == FIND::REGEX;
    return run.cases.groups != CASE_CHANGE::NONE && !hasGroups
               ? "--change-case is about what \\0 to \\9 put in, which expressions have: -r: is "
                 "one; "
                 "-tu: and -tl: change the replacement's own letters"
               : nullptr;
}

} // namespace

bool SettleRules(Run& run) {
    if (!run.ruleFiles.empty()) {
        if (const char* const obstacle = ObstacleToRules(run)) {
            std::cerr << "[FATAL ERROR] --rules " << obstacle << "\n";
            return false;
        }
        run.findFunc = FIND::RULES;
        run.hasReplace = true;
    } else if (run.wantsRuleReport) {
        std::cerr
            << "[FATAL ERROR] --rules-report tells of rules, and there are none: --rules=FILE "
               "names a list\n";
        return false;
    }
    if (const char* const obstacle = ObstacleToCases(run)) {
        std::cerr << "[FATAL ERROR] " << obstacle << "\n";
        return false;
    }
    if (run.findFunc == FIND::RULES) {
        run.rules = ReadRules(run);
    } else if (run.cases.follows && run.findFunc == FIND::LITERAL_NO_CASE) {
        run.rules = MakeRuleOfLiteral(run);
        run.findFunc = FIND::RULES;
    } else {
        return true;
    }
    if (run.rules) {
        run.ruleCounts = std::make_shared<CRuleCounts>(run.rules->set.GetCount());
    }
    return run.rules != nullptr;
}

} // namespace Quil
