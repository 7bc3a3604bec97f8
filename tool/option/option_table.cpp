#include "tool/option/option_table.h"

#include "tool/run.h"
#include "util/base/PlatInfo.h"

#include <algorithm>
#include <cstdlib>

namespace Quil {

namespace {

constexpr unsigned int MOST_DIGITS = 4;

/// A number from 1 on; 0 if the text is none.
unsigned int NumberOf(const stringEx& text) {
    const bool isNumber = !text.empty() && text.length() <= MOST_DIGITS &&
                          std::all_of(text.begin(), text.end(),
                                      [](char digit) { return digit >= '0' && digit <= '9'; });
    return isNumber ? static_cast<unsigned int>(std::atoi(text.c_str())) : 0;
}

const char* SettleJobs(Run& run, const stringEx& value) {
    run.jobs = value.empty() ? CPlatInfo::Get().GetOnlineCpuCount() : NumberOf(value);
    return run.jobs != 0 ? nullptr : "a number from 1 to 9999";
}

/// An option that sets one member of the run.
template <bool Run::*Member>
const char* Set(Run& run, const stringEx& /*value*/) {
    run.*Member = true;
    return nullptr;
}

/// The same for one that asks for care.
template <bool Run::*Member>
const char* Guard(Run& run, const stringEx& /*value*/) {
    run.isGuarded = true;
    run.*Member = true;
    return nullptr;
}

template <SHOW Show>
const char* SetShow(Run& run, const stringEx& /*value*/) {
    run.show = Show;
    return nullptr;
}

const char* SettleColor(Run& run, const stringEx& value) {
    run.color = value == "always" ? COLOR::ALWAYS : value == "never" ? COLOR::NEVER : COLOR::AUTO;
    return nullptr;
}

const char* SettleBackup(Run& run, const stringEx& value) {
    run.isGuarded = true;
    run.makesBackup = true;
    run.backupFolder = value;
    return nullptr;
}

const char* SettleUndo(Run& run, const stringEx& value) {
    run.wantsUndo = true;
    run.undo = value;
    return nullptr;
}

const char* SettleForget(Run& run, const stringEx& value) {
    run.wantsUndo = true;
    run.forget = value;
    return nullptr;
}

const char* SettleKeepRuns(Run& run, const stringEx& value) {
    run.keepRuns = NumberOf(value);
    return run.keepRuns != 0 ? nullptr : "a number from 1 to 9999";
}

template <stringEx Run::*Member>
const char* SettleCode(Run& run, const stringEx& value) {
    run.isGuarded = true;
    run.*Member = value;
    return nullptr;
}

const char* SettleConfidence(Run& run, const stringEx& value) {
    constexpr unsigned int CERTAIN = 100;
    run.confidence = NumberOf(value);
    return run.confidence != 0 && run.confidence <= CERTAIN ? nullptr : "a number from 1 to 100";
}

const char* SettleReport(Run& run, const stringEx& /*value*/) {
    run.isGuarded = run.wantsReport = true;
    return nullptr;
}

const char* SettleBom(Run& run, const stringEx& value) {
    run.mark = value == "yes" ? MARK::YES : value == "no" ? MARK::NO : MARK::KEEP;
    return nullptr;
}

const char* SettleCareful(Run& run, const stringEx& /*value*/) {
    run.isGuarded = run.isCareful = true;
    run.keepsBytes = true;
    run.excludeBinary = run.excludeVcs = run.skipBroken = true;
    run.makesBackup = true;
    return nullptr;
}

const char* UnsetProgress(Run& run, const stringEx& /*value*/) {
    run.wantsProgress = false;
    return nullptr;
}

const char* SettleExclude(Run& run, const stringEx& value) {
    run.isGuarded = true;
    // A folder's name may come with a slash behind it, and a path with the folder here in front.
    stringEx glob(value);
    while (glob.length() > 1 && glob.end_with("/")) {
        glob.erase(glob.length() - 1, 1);
    }
    while (glob.begin_with("./")) {
        glob.erase(0, 2);
    }
    run.excludes.push_back(glob);
    return nullptr;
}

const char* SettleFilesFrom(Run& run, const stringEx& value) {
    run.isGuarded = true;
    run.filesFrom = value;
    return nullptr;
}

const char* SettleRules(Run& run, const stringEx& value) {
    run.isGuarded = true;
    run.ruleFiles.push_back(value);
    return nullptr;
}

const char* SettleRulesFormat(Run& run, const stringEx& value) {
    run.rulesAsTable = value == "csv";
    return nullptr;
}

const char* SettleRulesReport(Run& run, const stringEx& value) {
    run.wantsRuleReport = true;
    run.ruleReport = value;
    return nullptr;
}

const char* SettleCaseChange(Run& run, const stringEx& value) {
    run.cases.groups = value == "upper"   ? CASE_CHANGE::UPPER
                       : value == "lower" ? CASE_CHANGE::LOWER
                                          : CASE_CHANGE::TITLE;
    return nullptr;
}

const char* SettlePreserveCase(Run& run, const stringEx& /*value*/) {
    run.cases.follows = true;
    return nullptr;
}

constexpr OPTION OPTIONS[] = {
    {TASK::FIND, VALUE::NEEDED, "f", "TEXT", "the text as it stands", nullptr},
    {TASK::FIND, VALUE::NEEDED, "fic", "TEXT", "the same in any case", nullptr},
    {TASK::FIND, VALUE::NEEDED, "r", "REGEX", "a regular expression", nullptr},
    {TASK::FIND, VALUE::NEEDED, "ric", "REGEX", "the same in any case", nullptr},
    {TASK::FIND, VALUE::NEEDED, "rnnl", "REGEX", "an expression to which line ends are as others",
     nullptr},
    {TASK::FIND, VALUE::NEEDED, "rnnlic", "REGEX", "the same in any case", nullptr},
    {TASK::FIND, VALUE::NONE, "any", "", "all of the text: to convert its charset", nullptr},

    {TASK::FIND, VALUE::NEEDED, "rules", "FILE",
     "many at once: lines of a text, a tab, its replacement", SettleRules, KIND::FILE},
    {TASK::FIND, VALUE::NEEDED, "rules-format", "FORM",
     "text (as above), or csv: a table of two columns", SettleRulesFormat, KIND::WORD, "text csv"},
    {TASK::FIND, VALUE::NEEDED, "rules-charset", "NAME", "charset of these files (UTF-8)",
     SettleCode<&Run::rulesCharset>, KIND::CHARSET},

    {TASK::REPLACE, VALUE::NEEDED, "t", "TEXT",
     "this text; \\0 to \\9 are what an expression found", nullptr},
    {TASK::REPLACE, VALUE::NEEDED, "tu", "TEXT", "the text in upper case", nullptr},
    {TASK::REPLACE, VALUE::NEEDED, "tl", "TEXT", "the text in lower case", nullptr},
    {TASK::REPLACE, VALUE::NEEDED, "change-case", "CASE",
     "what \\0 to \\9 put in becomes upper, lower, title", SettleCaseChange, KIND::WORD,
     "upper lower title"},
    {TASK::REPLACE, VALUE::NONE, "preserve-case", "", "write it as what it replaces: foo, Foo, FOO",
     SettlePreserveCase},

    {TASK::FILES, VALUE::NONE, "s", "", "go into folders", nullptr},
    {TASK::FILES, VALUE::NONE, "errstop", "", "end at the first error; leave out hidden files",
     nullptr},
    {TASK::FILES, VALUE::NEEDED, "files-from", "FILE",
     "the files that it names, a line each; - reads a pipe", SettleFilesFrom, KIND::FILE},
    {TASK::FILES, VALUE::NONE, "null", "", "names of files end in NUL, not in a line end",
     Set<&Run::endsByNull>},
    {TASK::FILES, VALUE::NEEDED, "exclude", "GLOB",
     "leave such files and folders alone (repeatable)", SettleExclude},
    {TASK::FILES, VALUE::NONE, "exclude-vcs", "", "leave .git, .hg, .svn, .bzr, CVS, _darcs alone",
     Guard<&Run::excludeVcs>},
    {TASK::FILES, VALUE::NONE, "exclude-binary", "",
     "leave files with NUL in their first 8 KiB alone", Guard<&Run::excludeBinary>},
    {TASK::FILES, VALUE::NONE, "skip-broken", "", "report what can't be looked into, and go on",
     Guard<&Run::skipBroken>},
    {TASK::FILES, VALUE::OPTIONAL, "jobs", "N", "work on N files at once; one a core", SettleJobs},

    {TASK::SHOW, VALUE::NONE, "interactive", "", "show each file's diff and ask", Set<&Run::asks>},

    {TASK::UNDO, VALUE::NONE, "careful", "", "harm nothing, and take nothing amiss lightly",
     SettleCareful},
    {TASK::UNDO, VALUE::OPTIONAL, "backup", "DIR", "keep what is changed, for --undo", SettleBackup,
     KIND::FOLDER},
    {TASK::UNDO, VALUE::OPTIONAL, "undo", "RUN", "give back what the newest run, or RUN, changed",
     SettleUndo, KIND::RUN},
    {TASK::UNDO, VALUE::NEEDED, "keep-runs", "N", "keep the last N runs (10)", SettleKeepRuns},
    {TASK::UNDO, VALUE::NEEDED, "forget", "RUN", "drop what is kept of RUN, or of all",
     SettleForget, KIND::RUN},

    {TASK::CHARSETS, VALUE::NEEDED, "from-code", "NAME",
     "charset of the input; auto[:NAMES] finds each's", SettleCode<&Run::fromCode>, KIND::CHARSET},
    {TASK::CHARSETS, VALUE::NEEDED, "to-code", "NAME", "charset of the output (the input's)",
     SettleCode<&Run::toCode>, KIND::CHARSET},
    {TASK::CHARSETS, VALUE::NEEDED, "confidence", "N",
     "leave files alone whose charset is found by less (70)", SettleConfidence},
    {TASK::CHARSETS, VALUE::NONE, "report", "",
     "show what charset each file is in; nothing to find", SettleReport},
    {TASK::CHARSETS, VALUE::NONE, "whole", "", "read files for that to their ends, not 1 MiB",
     Set<&Run::readsAll>},
    {TASK::CHARSETS, VALUE::NONE, "json", "", "print that as JSON, a line each", Set<&Run::asJson>},
    {TASK::CHARSETS, VALUE::NEEDED, "bom", "WHEN", "byte-order mark with these: yes, no, keep",
     SettleBom, KIND::WORD, "yes no keep"},
    {TASK::CHARSETS, VALUE::NONE, "list-charsets", "", "list the names that these take",
     Set<&Run::wantsCharsets>},
    {TASK::CHARSETS, VALUE::NONE, "keep-bytes", "", "bytes that belong to no character stay",
     Guard<&Run::keepsBytes>},
    {TASK::CHARSETS, VALUE::NONE, "strict", "", "leave files alone of which anything would be lost",
     Guard<&Run::isStrict>},
    {TASK::CHARSETS, VALUE::NEEDED, "encin", "NAME", "charset of the input (the locale's)", nullptr,
     KIND::ENCODING},
    {TASK::CHARSETS, VALUE::NEEDED, "encout", "NAME", "charset of the output (the input's)",
     nullptr, KIND::ENCODING},
    {TASK::CHARSETS, VALUE::NEEDED, "encarg", "NAME", "charset of the arguments (the locale's)",
     nullptr, KIND::ENCODING},
    {TASK::CHARSETS, VALUE::NONE, "unisign", "", "write a byte-order mark to files", nullptr},
    {TASK::CHARSETS, VALUE::NONE, "force", "", "convert though it may lose characters", nullptr},
    {TASK::CHARSETS, VALUE::NONE, "listenc", "", "list the charsets", nullptr},
    {TASK::CHARSETS, VALUE::NONE, "listcmp", "", "list the conversions that lose nothing", nullptr},

    {TASK::SHOW, VALUE::NONE, "preview", "", "show what would change, as a diff; write nothing",
     SetShow<SHOW::DIFFS>},
    {TASK::SHOW, VALUE::NONE, "dry-run", "", "the same", SetShow<SHOW::DIFFS>},
    {TASK::SHOW, VALUE::NONE, "files-with-matches", "", "show the names of files that would change",
     SetShow<SHOW::NAMES>},
    {TASK::SHOW, VALUE::NONE, "count", "", "the same with the number of replacements",
     SetShow<SHOW::COUNTS>},
    {TASK::SHOW, VALUE::NEEDED, "color", "WHEN", "color diffs: auto (on a terminal), always, never",
     SettleColor, KIND::WORD, "auto always never"},

    {TASK::OUTPUT, VALUE::NONE, "stdio", "", "standard input to standard output", nullptr},
    {TASK::OUTPUT, VALUE::NONE, "stdout", "", "write to standard output, change no file", nullptr},
    {TASK::OUTPUT, VALUE::NONE, "filter", "", "like -stdio, but without a byte for the input's end",
     Set<&Run::isFilter>},
    {TASK::OUTPUT, VALUE::NONE, "frc", "", "tell each file's number of replacements", nullptr},
    {TASK::OUTPUT, VALUE::NONE, "trc", "", "tell the total number of replacements", nullptr},
    {TASK::OUTPUT, VALUE::OPTIONAL, "rules-report", "FILE", "tell how often each rule matched",
     SettleRulesReport, KIND::FILE},

    {TASK::OTHER, VALUE::NONE, "no-progress", "", "no line that tells how far a long run is",
     UnsetProgress},
    {TASK::OTHER, VALUE::NONE, "exp", "", "build results beside the text (as ever)", nullptr},
    {TASK::OTHER, VALUE::NONE, "noexp", "", "build results within the text", nullptr},
    {TASK::OTHER, VALUE::NONE, "h", "", "the long usage text, also by -?", nullptr},
    {TASK::OTHER, VALUE::NONE, "help", "", "this page", Set<&Run::wantsHelp>},
    {TASK::OTHER, VALUE::NONE, "version", "", "version, compiler and libraries",
     Set<&Run::wantsVersion>},
};

constexpr TASK_TITLE TITLES[] = {
    {TASK::FIND, "What to find (the first that is given counts)"},
    {TASK::REPLACE, "What to put in its place"},
    {TASK::FILES, "Which files, and how"},
    {TASK::SHOW, "See it first"},
    {TASK::UNDO, "With care (--undo=list shows the runs that can be undone)"},
    {TASK::CHARSETS, "Charsets"},
    {TASK::OUTPUT, "What is written where"},
    {TASK::OTHER, "Other"}};

} // namespace

std::span<const TASK_TITLE> GetTasks() {
    return TITLES;
}

std::vector<std::string_view> GetWords(const OPTION& option) {
    std::vector<std::string_view> words;
    for (std::string_view rest = option.words; !rest.empty();) {
        const std::size_t end = std::min(rest.find(' '), rest.size());
        words.push_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return words;
}

std::span<const OPTION> GetOptions() {
    return OPTIONS;
}

} // namespace Quil
