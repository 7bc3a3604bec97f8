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
    static constexpr struct {
        const char* name;
        COLOR color;
    } ROWS[] = {{"auto", COLOR::AUTO}, {"always", COLOR::ALWAYS}, {"never", COLOR::NEVER}};
    const auto* const row =
        std::ranges::find_if(ROWS, [&value](const auto& known) { return value == known.name; });
    if (row == std::end(ROWS)) {
        return "auto, always or never";
    }
    run.color = row->color;
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
    run.*Member = value;
    return nullptr;
}

const char* SettleBom(Run& run, const stringEx& value) {
    run.mark = value == "yes" ? MARK::YES : value == "no" ? MARK::NO : MARK::KEEP;
    return run.mark != MARK::KEEP || value == "keep" ? nullptr : "yes, no or keep";
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
    run.excludes.push_back(value);
    return nullptr;
}

const char* SettleFilesFrom(Run& run, const stringEx& value) {
    run.isGuarded = true;
    run.filesFrom = value;
    return nullptr;
}

constexpr OPTION OPTIONS[] = {
    {TASK::FIND, "f", VALUE::NEEDED, "TEXT", "the text as it stands", nullptr},
    {TASK::FIND, "fic", VALUE::NEEDED, "TEXT", "the same in any case", nullptr},
    {TASK::FIND, "r", VALUE::NEEDED, "REGEX", "a regular expression", nullptr},
    {TASK::FIND, "ric", VALUE::NEEDED, "REGEX", "the same in any case", nullptr},
    {TASK::FIND, "rnnl", VALUE::NEEDED, "REGEX", "an expression to which line ends are as others",
     nullptr},
    {TASK::FIND, "rnnlic", VALUE::NEEDED, "REGEX", "the same in any case", nullptr},
    {TASK::FIND, "any", VALUE::NONE, "", "all of the text: to convert its charset", nullptr},

    {TASK::REPLACE, "t", VALUE::NEEDED, "TEXT",
     "this text; \\0 to \\9 are what an expression found", nullptr},
    {TASK::REPLACE, "tu", VALUE::NEEDED, "TEXT", "the text in upper case", nullptr},
    {TASK::REPLACE, "tl", VALUE::NEEDED, "TEXT", "the text in lower case", nullptr},

    {TASK::FILES, "s", VALUE::NONE, "", "go into folders", nullptr},
    {TASK::FILES, "errstop", VALUE::NONE, "", "end at the first error; leave out hidden files",
     nullptr},
    {TASK::FILES, "files-from", VALUE::NEEDED, "FILE",
     "the files that it names, a line each; - reads a pipe", SettleFilesFrom},
    {TASK::FILES, "null", VALUE::NONE, "", "names of files end in NUL, not in a line end",
     Set<&Run::endsByNull>},
    {TASK::FILES, "exclude", VALUE::NEEDED, "GLOB",
     "leave such files and folders alone (repeatable)", SettleExclude},
    {TASK::FILES, "exclude-vcs", VALUE::NONE, "", "leave .git, .hg, .svn, .bzr, CVS, _darcs alone",
     Guard<&Run::excludeVcs>},
    {TASK::FILES, "exclude-binary", VALUE::NONE, "",
     "leave files with NUL in their first 8 KiB alone", Guard<&Run::excludeBinary>},
    {TASK::FILES, "skip-broken", VALUE::NONE, "", "report what can't be looked into, and go on",
     Guard<&Run::skipBroken>},
    {TASK::FILES, "jobs", VALUE::OPTIONAL, "N", "work on N files at once; one a core", SettleJobs},

    {TASK::SHOW, "interactive", VALUE::NONE, "", "show each file's diff and ask", Set<&Run::asks>},

    {TASK::UNDO, "careful", VALUE::NONE, "", "harm nothing, and take nothing amiss lightly",
     SettleCareful},
    {TASK::UNDO, "backup", VALUE::OPTIONAL, "DIR", "keep what is changed, for --undo",
     SettleBackup},
    {TASK::UNDO, "undo", VALUE::OPTIONAL, "RUN", "give back what the newest run, or RUN, changed",
     SettleUndo},
    {TASK::UNDO, "keep-runs", VALUE::NEEDED, "N", "keep the last N runs (10)", SettleKeepRuns},
    {TASK::UNDO, "forget", VALUE::NEEDED, "RUN", "drop what is kept of RUN, or of all",
     SettleForget},

    {TASK::CHARSETS, "from-code", VALUE::NEEDED, "NAME", "charset of the input, by any usual name",
     SettleCode<&Run::fromCode>},
    {TASK::CHARSETS, "to-code", VALUE::NEEDED, "NAME", "charset of the output (the input's)",
     SettleCode<&Run::toCode>},
    {TASK::CHARSETS, "bom", VALUE::NEEDED, "WHEN", "byte-order mark with these: yes, no, keep",
     SettleBom},
    {TASK::CHARSETS, "list-charsets", VALUE::NONE, "", "list the names that these take",
     Set<&Run::wantsCharsets>},
    {TASK::CHARSETS, "keep-bytes", VALUE::NONE, "", "bytes that belong to no character stay",
     Guard<&Run::keepsBytes>},
    {TASK::CHARSETS, "strict", VALUE::NONE, "", "leave files alone of which anything would be lost",
     Guard<&Run::isStrict>},
    {TASK::CHARSETS, "encin", VALUE::NEEDED, "NAME", "charset of the input (the locale's)",
     nullptr},
    {TASK::CHARSETS, "encout", VALUE::NEEDED, "NAME", "charset of the output (the input's)",
     nullptr},
    {TASK::CHARSETS, "encarg", VALUE::NEEDED, "NAME", "charset of the arguments (the locale's)",
     nullptr},
    {TASK::CHARSETS, "unisign", VALUE::NONE, "", "write a byte-order mark to files", nullptr},
    {TASK::CHARSETS, "force", VALUE::NONE, "", "convert though it may lose characters", nullptr},
    {TASK::CHARSETS, "listenc", VALUE::NONE, "", "list the charsets", nullptr},
    {TASK::CHARSETS, "listcmp", VALUE::NONE, "", "list the conversions that lose nothing", nullptr},

    {TASK::SHOW, "preview", VALUE::NONE, "", "show what would change, as a diff; write nothing",
     SetShow<SHOW::DIFFS>},
    {TASK::SHOW, "dry-run", VALUE::NONE, "", "the same", SetShow<SHOW::DIFFS>},
    {TASK::SHOW, "files-with-matches", VALUE::NONE, "", "show the names of files that would change",
     SetShow<SHOW::NAMES>},
    {TASK::SHOW, "count", VALUE::NONE, "", "the same with the number of replacements",
     SetShow<SHOW::COUNTS>},
    {TASK::SHOW, "color", VALUE::NEEDED, "WHEN", "color diffs: auto (on a terminal), always, never",
     SettleColor},

    {TASK::OUTPUT, "stdio", VALUE::NONE, "", "standard input to standard output", nullptr},
    {TASK::OUTPUT, "stdout", VALUE::NONE, "", "write to standard output, change no file", nullptr},
    {TASK::OUTPUT, "filter", VALUE::NONE, "", "like -stdio, but without a byte for the input's end",
     Set<&Run::isFilter>},
    {TASK::OUTPUT, "frc", VALUE::NONE, "", "tell each file's number of replacements", nullptr},
    {TASK::OUTPUT, "trc", VALUE::NONE, "", "tell the total number of replacements", nullptr},

    {TASK::OTHER, "no-progress", VALUE::NONE, "", "no line that tells how far a long run is",
     UnsetProgress},
    {TASK::OTHER, "exp", VALUE::NONE, "", "build results beside the text (as ever)", nullptr},
    {TASK::OTHER, "noexp", VALUE::NONE, "", "build results within the text", nullptr},
    {TASK::OTHER, "h", VALUE::NONE, "", "the long usage text, also by -?", nullptr},
    {TASK::OTHER, "help", VALUE::NONE, "", "this page", Set<&Run::wantsHelp>},
    {TASK::OTHER, "version", VALUE::NONE, "", "version, compiler and libraries",
     Set<&Run::wantsVersion>},
};

} // namespace

std::span<const OPTION> GetOptions() {
    return OPTIONS;
}

} // namespace Quil
