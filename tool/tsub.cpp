// The command: settles the switches in a fixed order, then passes over the inputs. The order in
// which switches are read decides which of several wins and which error is reported first, so it is
// part of the command's behaviour.
#include "tool/expression.h"
#include "tool/listings.h"
#include "tool/pass.h"
#include "tool/usage.h"
#include "util/file/dir.h"
#include "util/sys/errhdl.h"
#include "util/text/CmdArgParser.h"

#include <clocale>
#include <exception>
#include <iostream>

namespace Quil {
namespace {

constexpr int EXIT_REPLACED = 0;
constexpr int EXIT_LISTED = 0;
constexpr int EXIT_NOTHING = 1;
constexpr int EXIT_ERROR = -1;

// ---- Switches ----

bool HasSwitch(const CCmdArgParser& parser, const char* name) {
    return parser.IsSwitchExistNoCase(name);
}

stringEx TrimmedValue(const CCmdArgParser& parser, const char* name) {
    stringEx value = parser.GetSwitchNoCase(name, 0);
    value.trim_right();
    value.trim_left();
    return value;
}

/// The converter for an encoding that the user named. Throws the conversion library's own exception
/// for a name that none of them knows, rather than to pass the text through unconverted.
CTextConvHandle ConverterFor(const stringEx& name) {
    CTextConvHandle converter = GainBestConvFor(0, name);
    EnsureConvFound(converter, name);
    return converter;
}

/// `-encarg`. False, after saying so, for an encoding that can't stand on a command line.
bool SettleArgumentEncoding(const CCmdArgParser& parser, Run& run) {
    run.argConv = GainBestSysDefConv();
    if (!HasSwitch(parser, "encarg")) {
        return true;
    }
    const stringEx name = TrimmedValue(parser, "encarg");
    if (run.constants.UnicodeEncs.count(name) != 0) {
        std::cout << "[FATAL ERROR] due to system's limite, wide char is not support for the "
                     "argument.\n";
        return false;
    }
    run.argConv = ConverterFor(name);
    return true;
}

/// The find switches in the order in which they win; the first one present decides.
void SettleFind(const CCmdArgParser& parser, Run& run) {
    static constexpr struct {
        const char* name;
        FIND func;
        bool noCase;
        bool noNewline;
    } rows[] = {{"f", FIND::literal, false, false}, {"fic", FIND::literalNoCase, false, false},
                {"r", FIND::regex, false, false},   {"ric", FIND::regex, true, false},
                {"rnnl", FIND::regex, false, true}, {"rnnlic", FIND::regex, true, true},
                {"any", FIND::any, false, false}};
    for (const auto& row : rows) {
        if (!HasSwitch(parser, row.name)) {
            continue;
        }
        run.findFunc = row.func;
        run.regexNoCase = row.noCase;
        run.regexNoNewline = row.noNewline;
        if (row.func != FIND::any) {
            run.findText = run.argConv->TtoWC(parser.GetSwitchNoCase(row.name, 0));
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
        run.replaceText = run.argConv->TtoWC(parser.GetSwitchNoCase(name, 0));
        if (run.findFunc == FIND::regex) {
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
    const bool isAny = run.findFunc == FIND::any;
    return HasSwitch(parser, "h") || parser.GetSwitchPos("?", 0) != CCmdArgParser::NOT_FOUND ||
           run.findFunc == FIND::none || (!run.hasReplace && !isAny) ||
           (run.findText.empty() && !isAny);
}

void SettleFlags(const CCmdArgParser& parser, Run& run) {
    run.useExpand = !HasSwitch(parser, "noexp");
    run.withSubDirs = HasSwitch(parser, "s");
    run.stdioMode = HasSwitch(parser, "stdio") || parser.GetNoneSwitchCount() == 0;
    run.toStdout = HasSwitch(parser, "stdout");
    run.showFileCount = HasSwitch(parser, "frc");
    run.showTotalCount = HasSwitch(parser, "trc");
    run.addSign = HasSwitch(parser, "unisign");
    run.errStop = HasSwitch(parser, "errstop");
}

void SettleInputEncoding(const CCmdArgParser& parser, Run& run) {
    run.inConv = GainBestSysDefConv();
    run.inEnc = TTextConv::GetSysDefaultEnc();
    if (!HasSwitch(parser, "encin")) {
        return;
    }
    run.inEnc = TrimmedValue(parser, "encin");
    if (run.constants.UnicodeEncs.count(run.inEnc) == 0) {
        run.inConv = ConverterFor(run.inEnc);
    } else {
        run.inWide = true;
        run.inBigEndian = run.constants.BigEndianEncs.count(run.inEnc) != 0;
    }
}

/// The output is as wide as the input unless a raw wide name is given: a raw wide input thus stays
/// raw whatever narrow encoding is asked for.
void SettleOutputEncoding(const CCmdArgParser& parser, Run& run) {
    run.outConv = run.inConv;
    run.outEnc = run.inEnc;
    run.outWide = run.inWide;
    run.outBigEndian = run.inBigEndian;
    if (!HasSwitch(parser, "encout")) {
        return;
    }
    run.outEnc = TrimmedValue(parser, "encout");
    if (run.constants.UnicodeEncs.count(run.outEnc) == 0) {
        run.outConv = ConverterFor(run.outEnc);
    } else {
        run.outWide = true;
        run.outBigEndian = run.constants.BigEndianEncs.count(run.outEnc) != 0;
    }
}

/// Expands the file patterns. Hidden files are listed unless the run stops at access errors.
bool BuildFileList(const CCmdArgParser& parser, Run& run) {
    CDir current;
    current.Open(".", false, false);
    for (unsigned int i = 0; i < parser.GetNoneSwitchCount(); ++i) {
        current.GetAllFiles(run.fileList, parser.GetNoneSwitch(i), run.withSubDirs, !run.errStop,
                            false);
    }
    if (run.fileList.empty()) {
        std::cerr << "[FATAL ERROR] can't find the file(s)!\n";
        return false;
    }
    return true;
}

int Report(const Run& run) {
    if (run.showTotalCount && run.totalCount != 0) {
        std::cout << "\n## total replaced " << run.totalCount << " matchs" << std::endl;
    }
    return run.foundAny ? EXIT_REPLACED : EXIT_NOTHING;
}

int RunCommand(int argc, const char* const* argv) {
    Run run;
    CCmdArgParser parser("-", ":=", 1);
    parser.Parse(argc, argv);
    if (HasSwitch(parser, "listenc")) {
        PrintEncodings();
        return EXIT_LISTED;
    }
    if (HasSwitch(parser, "listcmp")) {
        PrintCompatibleConversions();
        return EXIT_LISTED;
    }
    if (!SettleArgumentEncoding(parser, run)) {
        return EXIT_ERROR;
    }
    SettleFind(parser, run);
    SettleReplacement(parser, run);
    if (WantsUsage(parser, run)) {
        std::cout << USAGE_TEXT << std::flush;
        return EXIT_NOTHING;
    }
    SettleFlags(parser, run);
    SettleInputEncoding(parser, run);
    SettleOutputEncoding(parser, run);
    if (!HasSwitch(parser, "force") && !PassCompatibilityGate(run.inEnc, run.outEnc)) {
        return EXIT_ERROR;
    }
    if (!run.stdioMode && !BuildFileList(parser, run)) {
        return EXIT_ERROR;
    }
    CompileExpression(run);
    return PassOverInputs(run) == PASS::stop ? EXIT_ERROR : Report(run);
}

} // namespace
} // namespace Quil

int main(int argc, char** argv) {
    setlocale(LC_ALL, "");
    try {
        return Quil::RunCommand(argc, argv);
    } catch (Quil::qlExp& cause) {
        std::cerr << "[FATAL ERROR] Quil runtime lib error: " << cause.GetErrString() << "\n";
    } catch (std::exception& cause) {
        std::cerr << "[FATAL ERROR] vc runtime lib error: " << cause.what() << std::endl;
    } catch (...) {
        std::cerr << "[FATAL ERROR] unknown system error" << std::endl;
    }
    return Quil::EXIT_ERROR;
}
