#include "tool/preview/Preview.h"

#include "tool/rules/RuleList.h"
#include "tool/standard_output.h"
#include "util/text/RegexReplacer.h"

namespace Quil {

namespace {

/// Whether each line of a text becomes one line.
bool KeepsLines(const Run& run) {
    if (run.findFunc == FIND::RULES) {
        return run.rules->set.KeepsLines();
    }
    if (run.findFunc == FIND::REGEX) {
        // A line feed may come by an escape.
        return CRegexReplacer::IsLocalToLines(run.regexComp) &&
               run.replaceText.find(L'\n') == wstringEx::npos &&
               run.replaceText.find(L"\\n") == wstringEx::npos;
    }
    return run.findText.find(L'\n') == wstringEx::npos &&
           run.replaceText.find(L'\n') == wstringEx::npos &&
           !(run.findFunc == FIND::ANY && run.hasReplace);
}

} // namespace

CPreview::CPreview(const Run& run)
    : __printer(run),
      __diff(KeepsLines(run), [this](const DIFF_HUNK& hunk) { __printer.Print(hunk); }) {}

void PrintName(const Run& run, const stringEx& path, unsigned long count) {
    stringEx line(ShownPath(path));
    if (run.endsByNull) {
        line.push_back('\0');
    } else if (run.show == SHOW::COUNTS) {
        line.push_back(':');
    }
    if (run.show == SHOW::COUNTS) {
        line.append_ulong(count, 10);
    }
    if (run.show == SHOW::COUNTS || !run.endsByNull) {
        line.push_back('\n');
    }
    PrintText(line);
}

} // namespace Quil
