#include "tool/charset_choice.h"

#include "tool/advice.h"
#include "tool/charset_names.h"
#include "tool/listings.h"
#include "tool/option/nearest.h"
#include "tool/road/road.h"
#include "tool/run.h"
#include "util/sys/errhdl.h"
#include "util/text/CmdArgParser.h"

#include <algorithm>
#include <iostream>

namespace Quil {

namespace {

bool HasSwitch(const CCmdArgParser& parser, const char* name) {
    return parser.IsSwitchExistNoCase(name);
}

stringEx TrimmedValue(const CCmdArgParser& parser, const char* name) {
    stringEx value = parser.GetSwitchNoCase(name, 0);
    value.trim_right();
    value.trim_left();
    return value;
}

/// What may have been meant by a name that isn't known.
stringEx AdviceFor(const stringEx& name) {
    std::vector<stringEx> known;
    TTextConv::ENC_COOKIE cookie;
    stringEx encoding;
    TTextConv::ENCINFO info;
    while (TTextConv::EnumEncoding(cookie, encoding, info)) {
        known.push_back(encoding);
    }
    stringEx advice(name);
    advice.append(" isn't a charset that is known");
    if (const stringEx nearest = FindNearest(name, known); !nearest.empty()) {
        advice.append("; ").append(nearest).append(" is one");
    }
    return advice.append(", -listenc shows all");
}

/// The converter for an encoding that the user named. Throws the conversion library's own exception
/// for a name that none of them knows, rather than to pass the text through unconverted.
CTextConvHandle ConverterFor(const stringEx& name, const Run& run) {
    CTextConvHandle converter = GainBestConvFor(0, name);
    try {
        EnsureConvFound(converter, name);
    } catch (const qlExp& unknown) {
        ThrowAdvised(run, unknown, AdviceFor(name));
    }
    return converter;
}

/// What a switch for an encoding makes of `unless`, which holds without it. A name of raw wide text
/// needs no converter; any other leaves the text as wide as it is there, so that a raw wide input
/// stays raw whatever narrow encoding is asked for at the output.
CHARSET SettleCharset(const CCmdArgParser& parser, const char* name, const CHARSET& unless,
                      const Run& run) {
    CHARSET charset = unless;
    if (!HasSwitch(parser, name)) {
        return charset;
    }
    charset.name = TrimmedValue(parser, name);
    if (run.constants.UnicodeEncs.count(charset.name) != 0) {
        charset.isWide = true;
        charset.isBigEndian = run.constants.BigEndianEncs.count(charset.name) != 0;
    } else {
        charset.converter = ConverterFor(charset.name, run);
    }
    return charset;
}

/// The system's, which holds for all three unless a switch says otherwise.
CHARSET SystemCharset() {
    return {TTextConv::GetSysDefaultEnc(), GainBestSysDefConv(), false, false, stEMPTY};
}

/// Takes "auto:NAMES" apart. False, after saying so, for a name that isn't known.
bool SettleCandidates(Run& run) {
    const stringEx head("auto");
    if (!run.fromCode.begin_with_no_case(head) ||
        (run.fromCode.length() > head.length() && run.fromCode[head.length()] != ':')) {
        return true;
    }
    run.detects = true;
    for (unsigned int begin = head.length() + 1; begin < run.fromCode.length();) {
        const unsigned int end = std::min(run.fromCode.find(',', begin), run.fromCode.length());
        const stringEx name = run.fromCode.substr(begin, end - begin);
        const stringEx known = KnownCharset(name);
        if (known.empty()) {
            CHARSET none;
            return FindCharset("from-code", name, false, none);
        }
        run.candidates.push_back(known);
        begin = end + 1;
    }
    run.fromCode = "utf-8"; // until an input shows its own
    return true;
}

/// The charsets of the options that name them as the world does.
bool SettleCodes(Run& run, bool isBigEndian) {
    return FindCharset("from-code", run.fromCode, isBigEndian, run.in) &&
           FindCharset("to-code", run.toCode, isBigEndian, run.out);
}

/// Where bytes can't be kept, files of which some would be lost are left alone.
void SettleKeptBytes(Run& run) {
    if (run.keepsBytes && !CanKeepBytes(run)) {
        run.keepsBytes = false;
        run.isStrict = true;
    }
}

} // namespace

bool SettleArgumentEncoding(const CCmdArgParser& parser, Run& run) {
    run.arg = SettleCharset(parser, "encarg", SystemCharset(), run);
    if (run.arg.isWide) {
        std::cout << "[FATAL ERROR] due to system's limite, wide char is not support for the "
                     "argument.\n";
        Advise(run, "the find and replace texts can't hold NUL: give them in utf-8, which "
                    "-encarg:utf-8 says");
    }
    return !run.arg.isWide;
}

bool SettleTextEncodings(const CCmdArgParser& parser, Run& run) {
    if (!SettleCandidates(run)) {
        return false;
    }
    if (run.fromCode.empty() && run.toCode.empty() && run.mark == MARK::BY_SWITCH) {
        run.in = SettleCharset(parser, "encin", SystemCharset(), run);
        run.out = SettleCharset(parser, "encout", run.in, run);
        return true;
    }
    run.isStrict = run.isStrict || (!run.forces && !run.keepsBytes);
    if (run.fromCode.empty()) {
        run.fromCode = HasSwitch(parser, "encin") ? TrimmedValue(parser, "encin")
                                                  : TTextConv::GetSysDefaultEnc();
    }
    run.keepsCharset = run.toCode.empty() && !HasSwitch(parser, "encout");
    if (run.toCode.empty()) {
        run.toCode = HasSwitch(parser, "encout") ? TrimmedValue(parser, "encout") : run.fromCode;
    }
    if (run.mark == MARK::BY_SWITCH) {
        const bool mustTell = HasOrderByMark(run.toCode) && !HasOrderByMark(run.fromCode);
        run.mark = mustTell ? MARK::KEEP_OR_TELL : MARK::KEEP;
    }
    return SettleCodes(run, false);
}

std::shared_ptr<const Run> MakeRunFor(const Run& run, const stringEx& charset) {
    auto made = std::make_shared<Run>(run);
    made->fileList.clear();
    made->detects = false;
    made->isFound = true;
    made->fromCode = charset == "ASCII" ? stringEx("utf-8") : ShownCharset(charset);
    made->toCode = run.keepsCharset ? made->fromCode : run.toCode;
    if (!SettleCodes(*made, charset.end_with("BE"))) {
        throw tconvExp(0, stringEx("a charset that was found has no converter any more"));
    }
    SettleKeptBytes(*made);
    return made;
}

bool SettleBigEndian(Run& run) {
    if (run.detects || !HasOrderByMark(run.fromCode)) {
        return true;
    }
    auto bigEndian = std::make_shared<Run>(run);
    bigEndian->fileList.clear();
    if (!SettleCodes(*bigEndian, true)) {
        return false;
    }
    run.bigEndian = std::move(bigEndian);
    return true;
}

bool PassGate(Run& run) {
    const bool isAsked =
        !run.isStrict && !run.keepsBytes && !run.forces && run.mark == MARK::BY_SWITCH;
    SettleKeptBytes(run);
    return !isAsked || PassCompatibilityGate(run.in.name, run.out.name);
}

} // namespace Quil
