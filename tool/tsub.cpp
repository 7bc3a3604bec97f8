// The command: settles the switches in a fixed order, then passes over the inputs. The order in
// which switches are read decides which of several wins and which error is reported first, so it is
// part of the command's behaviour.
#include "tool/backup/Journal.h"
#include "tool/backup/undo.h"
#include "tool/charset_choice.h"
#include "tool/charset_names.h"
#include "tool/expression.h"
#include "tool/file_list.h"
#include "tool/listings.h"
#include "tool/locale_choice.h"
#include "tool/option/help.h"
#include "tool/option/long_options.h"
#include "tool/pass.h"
#include "tool/preview/Dialog.h"
#include "tool/report/CharsetReport.h"
#include "tool/road/ExactRoad.h"
#include "tool/rules/RuleList.h"
#include "tool/rules/rule_choice.h"
#include "tool/standard_output.h"
#include "tool/usage.h"
#include "util/file/dir.h"
#include "util/sys/errhdl.h"
#include "util/text/CmdArgParser.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <unistd.h>

namespace Quil {
namespace {

constexpr int EXIT_REPLACED = 0;
constexpr int EXIT_LISTED = 0;
constexpr int EXIT_NOTHING = 1;
constexpr int EXIT_ERROR = -1;

// --- Switches ------------------------------------------------------------------------------------

bool HasSwitch(const CCmdArgParser& parser, const char* name) {
    return parser.IsSwitchExistNoCase(name);
}

/// The find switches in the order in which they win; the first one present decides.
void SettleFind(const CCmdArgParser& parser, Run& run) {
    static constexpr struct {
        const char* name;
        FIND func;
        bool noCase;
        bool noNewline;
    } ROWS[] = {{"f", FIND::LITERAL, false, false}, {"fic", FIND::LITERAL_NO_CASE, false, false},
                {"r", FIND::REGEX, false, false},   {"ric", FIND::REGEX, true, false},
                {"rnnl", FIND::REGEX, false, true}, {"rnnlic", FIND::REGEX, true, true},
                {"any", FIND::ANY, false, false}};
    for (const auto& row : ROWS) {
        if (!HasSwitch(parser, row.name)) {
            continue;
        }
        run.findFunc = row.func;
        run.regexNoCase = row.noCase;
        run.regexNoNewline = row.noNewline;
        if (row.func != FIND::ANY) {
            run.findText = run.arg.converter->TtoWC(parser.GetSwitchNoCase(row.name, 0));
        }
        return;
    }
}

/// The replace switches, likewise. Case is folded last, so escapes and aliases have gone by then.
void SettleReplacement(const CCmdArgParser& parser, Run& run) {
    for (const char* name : {"t", "tu", "tl"}) {
        if (!HasSwitch(parser, name)) {
            continue;
        }
        run.hasReplace = true;
        run.replaceText = run.arg.converter->TtoWC(parser.GetSwitchNoCase(name, 0));
        if (run.findFunc == FIND::REGEX) {
            RegexExtendClassParser(run.replaceText);
        }
        if (name[1] == 'u') {
            run.replaceText.make_upper(0, wstringEx::npos);
        } else if (name[1] == 'l') {
            run.replaceText.make_lower(0, wstringEx::npos);
        }
        return;
    }
}

/// Whether the user asks for the usage, or says too little to run.
bool WantsUsage(const CCmdArgParser& parser, const Run& run) {
    const bool isAny = run.findFunc == FIND::ANY;
    const bool saysTooLittle = run.findFunc == FIND::NONE || (!run.hasReplace && !isAny) ||
                               (run.findText.empty() && !isAny);
    return HasSwitch(parser, "h") || parser.GetSwitchPos("?", 0) != CCmdArgParser::NOT_FOUND ||
           (saysTooLittle && run.ruleFiles.empty());
}

void SettleFlags(const CCmdArgParser& parser, Run& run) {
    run.useExpand = !HasSwitch(parser, "noexp");
    run.withSubDirs = HasSwitch(parser, "s");
    run.stdioMode =
        run.isFilter || HasSwitch(parser, "stdio") ||
        (parser.GetNoneSwitchCount() == 0 && run.names.empty() && run.filesFrom.empty());
    run.toStdout = HasSwitch(parser, "stdout");
    run.showFileCount = HasSwitch(parser, "frc");
    run.showTotalCount = HasSwitch(parser, "trc");
    run.addSign = HasSwitch(parser, "unisign");
    run.errStop = HasSwitch(parser, "errstop");
}

/// What the run is by a choice of matches, if it asks.
void SettleByMatch(Run& run) {
    if (run.asks && !run.detects && CExactRoad::CanServe(run)) {
        run.matchChoice = std::make_shared<CMatchChoice>();
        auto byMatch = std::make_shared<Run>(run);
        byMatch->fileList.clear();
        byMatch->choice = byMatch->matchChoice.get();
        run.byMatch = std::move(byMatch);
    }
}

/// False, after saying so, for options that have nothing to say to each other.
bool CheckCombinations(const Run& run) {
    if (run.show != SHOW::NOTHING && (run.stdioMode || run.toStdout)) {
        std::cerr
            << "[FATAL ERROR] a preview shows what would change in files, and this run changes "
               "none: name files, or leave the preview out\n";
        return false;
    }
    if (!run.asks) {
        return true;
    }
    const char* const obstacle =
        run.show != SHOW::NOTHING       ? "changes files, and a preview doesn't: leave one out"
        : run.stdioMode || run.toStdout ? "asks about files, and this run changes none: name files"
        : run.filesFrom == "-"
            ? "asks on the terminal, and can't read a pipe as well: put the names "
              "into a file"
        : !CDialog::IsPossible() ? "asks on a terminal, and there is none: --preview shows the "
                                   "same, and asks nothing"
                                 : nullptr;
    if (obstacle != nullptr) {
        std::cerr << "[FATAL ERROR] --interactive " << obstacle << "\n";
    }
    return obstacle == nullptr;
}

/// Reports the total and answers the exit status. A run that changed nothing since it could not
/// write must not look like one that did its work.
int Report(const Run& run) {
    if (run.wantsRuleReport) {
        const stringEx report = RuleReport(run);
        if (run.ruleReport.empty()) {
            PrintReport(report);
        } else {
            CDir::WriteFile(run.ruleReport, report);
        }
    }
    if (run.showTotalCount && run.totalCount != 0) {
        stringEx line("\n## total replaced ");
        line.append_ulong(run.totalCount, 10);
        PrintReport(line.append(" matchs\n"));
    }
    const bool isAmiss = run.isCareful && (run.failedToWrite || run.hasPassedOver);
    if (isAmiss || (run.failedToWrite && !run.changedFile)) {
        return EXIT_ERROR;
    }
    return run.foundAny ? EXIT_REPLACED : EXIT_NOTHING;
}

bool FindsNothing(const CCmdArgParser& parser, const Run& run) {
    return run.ruleFiles.empty() &&
           std::ranges::none_of(
               std::initializer_list<const char*>{"f", "fic", "r", "ric", "rnnl", "rnnlic", "any"},
               [&](const char* name) { return HasSwitch(parser, name); });
}

/// False, after saying so, where something is to be undone and something else to be done.
bool StandsAlone(const CCmdArgParser& parser, const Run& run) {
    const bool isAlone = FindsNothing(parser, run) && parser.GetNoneSwitchCount() == 0 &&
                         run.names.empty() && run.filesFrom.empty();
    if (!isAlone) {
        std::cerr
            << "[FATAL ERROR] --undo and --forget are about whole runs, and take no files and "
               "nothing to find: leave these out\n";
    }
    return isAlone;
}

/// Where what the run changes is kept, if it is to be.
std::unique_ptr<CJournal> OpenJournal(int argc, const char* const* argv, Run& run) {
    if (!run.makesBackup && !run.wantsUndo) {
        return nullptr;
    }
    stringEx command("tsub");
    for (int i = 1; i < argc; ++i) {
        command.append(" ").append(argv[i]);
    }
    auto journal =
        std::make_unique<CJournal>(CBackupFolder(run.backupFolder), command, run.keepRuns);
    run.journal = journal.get();
    return journal;
}

/// What charsets the files are in, instead of a run over them.
int ReportCharsets(const CCmdArgParser& parser, Run& run) {
    if (FindsNothing(parser, run)) {
        SettleFlags(parser, run);
        run.fromCode = run.fromCode.empty() ? stringEx("auto") : run.fromCode;
        if (!SettleTextEncodings(parser, run)) {
            return EXIT_ERROR;
        }
        if (run.detects) {
            if (!run.stdioMode && !BuildFileList(parser, run)) {
                return EXIT_ERROR;
            }
            return CCharsetReport(run).PrintAll() ? EXIT_LISTED : EXIT_ERROR;
        }
    }
    std::cerr << "[FATAL ERROR] --report finds out charsets and changes nothing: leave out what to "
                 "find, and what charset the input is in but for --from-code=auto:NAMES\n";
    return EXIT_ERROR;
}

int RunCommand(int argc, const char* const* argv) {
    Run run;
    CCmdArgParser parser("-", ":=", 1);
    const int end = FindOptionsEnd(argc, argv);
    parser.Parse(end, argv);
    run.names.assign(argv + std::min(end + 1, argc), argv + argc);
    if (HasSwitch(parser, "listenc")) {
        PrintText(EncodingListing());
        return EXIT_LISTED;
    }
    if (HasSwitch(parser, "listcmp")) {
        PrintText(ConversionListing());
        return EXIT_LISTED;
    }
    if (!SettleLongOptions(end, argv, run)) {
        return EXIT_ERROR;
    }
    if (run.wantsHelp || run.wantsVersion) {
        PrintText(run.wantsHelp ? HelpText() : VersionText());
        return EXIT_LISTED;
    }
    if (run.wantsCharsets) {
        PrintText(CharsetListing());
        return EXIT_LISTED;
    }
    run.isWatched = ::isatty(STDERR_FILENO) != 0;
    run.forces = HasSwitch(parser, "force");
    if (!CheckSwitches(parser, static_cast<unsigned int>(end), run)) {
        return EXIT_ERROR;
    }
    const std::unique_ptr<CJournal> journal = OpenJournal(argc, argv, run);
    if (run.wantsUndo) {
        return StandsAlone(parser, run) ? Undo(run) : EXIT_ERROR;
    }
    if (!SettleArgumentEncoding(parser, run)) {
        return EXIT_ERROR;
    }
    if (run.wantsReport) {
        return ReportCharsets(parser, run);
    }
    SettleFlags(parser, run);
    SettleFind(parser, run);
    SettleReplacement(parser, run);
    if (WantsUsage(parser, run)) {
        PrintText(stringEx(USAGE_TEXT));
        return EXIT_NOTHING;
    }
    if (!SettleRules(run)) {
        return EXIT_ERROR;
    }
    if (!SettleTextEncodings(parser, run) || !PassGate(run) || !CheckCombinations(run)) {
        return EXIT_ERROR;
    }
    if (!run.stdioMode && !BuildFileList(parser, run)) {
        return EXIT_ERROR;
    }
    if (!CompileExpression(run) || !SettleBigEndian(run)) {
        return EXIT_ERROR;
    }
    SettleByMatch(run);
    return PassOverInputs(run) == PASS::STOP ? EXIT_ERROR : Report(run);
}

} // namespace
} // namespace Quil

int main(int argc, char** argv) {
    std::set_new_handler(nullptr); // the library's ends the process at once, whatever is half done
    Quil::TakeLocale();
    try {
        const int status = Quil::RunCommand(argc, argv);
        Quil::FinishPrinting();
        return status;
    } catch (Quil::outputExp& cause) {
        std::cerr << "[FATAL ERROR] can't write to standard output: " << cause.GetErrString()
                  << "\n";
    } catch (Quil::qlExp& cause) {
        std::cerr << "[FATAL ERROR] Quil runtime lib error: " << cause.GetErrString() << "\n";
    } catch (std::exception& cause) {
        std::cerr << "[FATAL ERROR] vc runtime lib error: " << cause.what() << std::endl;
    } catch (...) {
        std::cerr << "[FATAL ERROR] unknown system error" << std::endl;
    }
    return Quil::EXIT_ERROR;
}
