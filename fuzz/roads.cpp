// The ways from an input to its result against each other: whatever way a run chooses, and wherever
// the ends of blocks lie, the result is that of the way that has the whole text.
#include "fuzz/FuzzInput.h"
#include "fuzz/affordable.h"
#include "tool/charset_choice.h"
#include "tool/expression.h"
#include "tool/road/WholeRoad.h"
#include "tool/road/road.h"
#include "tool/sink.h"
#include "util/text/CmdArgParser.h"

#include <vector>

using namespace Quil;

namespace {

constexpr const char* CHARSETS[] = {"UTF-8",  "GBK",   "SHIFT_JIS",   "GB18030",
                                    "EUC-JP", "BIG5",  "ISO-8859-1",  "EUC-KR",
                                    "KOI8-R", "ASCII", "ISO-2022-JP", "UTF-7"};

stringEx Switch(const char* name, const char* value) {
    return stringEx("-").append(name).append(":").append(value);
}

wstringEx Decoded(const CHARSET& charset, const std::string& bytes) {
    return charset.converter->MBtoWC(
        stringEx(bytes.data(), static_cast<unsigned int>(bytes.size())));
}

/// What the input asks for; false for what would take too long.
bool Settle(FUZZ::CFuzzInput& input, Run& run) {
    const char* const in = input.OneOf(CHARSETS);
    const char* const out = input.Below(4) == 0 ? input.OneOf(CHARSETS) : in;
    CCmdArgParser parser("-", ":=", 1);
    parser.Parse(
        std::vector<stringEx>{"tsub", "-encarg:UTF-8", Switch("encin", in), Switch("encout", out)});
    SettleArgumentEncoding(parser, run);
    SettleTextEncodings(parser, run);
    constexpr FIND FINDS[] = {FIND::LITERAL, FIND::LITERAL_NO_CASE, FIND::REGEX, FIND::ANY};
    run.findFunc = input.OneOf(FINDS);
    const unsigned int flags = input.Byte();
    run.regexNoCase = (flags & 1) != 0;
    run.regexNoNewline = (flags & 2) != 0;
    run.useExpand = (flags & 4) != 0;
    run.addSign = (flags & 8) != 0;
    run.keepsBytes = (flags & 16) != 0;
    run.findText = Decoded(run.in, input.Text(24));
    run.hasReplace = run.findFunc != FIND::ANY || (flags & 32) != 0;
    run.replaceText = run.hasReplace ? Decoded(run.in, input.Text(12)) : wstringEx();
    run.keepsBytes = run.keepsBytes && CanKeepBytes(run);
    if (run.findFunc != FIND::ANY && run.findText.empty()) {
        return false; // the command would show its usage
    }
    if (run.findFunc != FIND::REGEX) {
        return true;
    }
    if (!FUZZ::IsAffordable({run.findText.data(), run.findText.length()})) {
        return false;
    }
    CompileExpression(run);
    return run.regexComp.get() != nullptr;
}

struct RESULT {
    std::string bytes;
    unsigned long count;
    bool hasText;
    LOSSES losses;
};

/// Passes a text by blocks of `step` more bytes each. Each is memory of its own, whose ends are
/// seen.
RESULT Pass(IRoad& road, const std::string& text, std::size_t step, TASK::RESULT wanted) {
    CBytesSink sink;
    TASK task;
    task.result = wanted;
    task.size = text.size();
    road.Start(task);
    std::vector<char> left;
    for (std::size_t at = 0, more = step;;) {
        std::vector<char> block;
        block.reserve(left.size() + more);
        block.assign(left.begin(), left.end());
        const std::size_t end = std::min(text.size(), at + more);
        block.insert(block.end(), text.begin() + static_cast<std::ptrdiff_t>(at),
                     text.begin() + static_cast<std::ptrdiff_t>(end));
        at = end;
        const bool isLast = at == text.size();
        const std::size_t taken = road.Take({block.data(), block.size(), isLast}, sink);
        FUZZ::Require(isLast ? taken == block.size() : taken <= block.size(), "what a road takes");
        if (isLast) {
            break;
        }
        left.assign(block.begin() + static_cast<std::ptrdiff_t>(taken), block.end());
        more = taken == 0 ? more * 2 : step;
    }
    return {sink.GetBytes(), road.GetCount(), road.HasText(), road.GetLosses()};
}

void Compare(const RESULT& result, const RESULT& expected) {
    FUZZ::Require(result.hasText == expected.hasText, "all see whether there is any text");
    if (expected.hasText) { // without it nobody asks
        FUZZ::Require(result.count == expected.count, "the number of replacements is the same");
        FUZZ::Require(result.bytes == expected.bytes, "results are the same");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FUZZ::CFuzzInput input(data, size);
    Run run;
    const std::size_t step = 1 + input.Below(40);
    const auto wanted = input.Flag() ? TASK::RESULT::FILE : TASK::RESULT::OUTPUT;
    if (!Settle(input, run)) {
        return 0;
    }
    // What is long goes other ways.
    std::string text = input.Rest();
    for (unsigned int times = text.size() > 64 ? 0 : static_cast<unsigned int>(step) % 5;
         times != 0; --times) {
        text += text;
    }
    const auto whole = [&]() -> std::unique_ptr<IRoad> {
        return run.keepsBytes ? ChooseRoad(run) : std::make_unique<CWholeRoad>(run);
    }();
    const RESULT expected = Pass(*whole, text, text.size() + 1, wanted);
    const std::unique_ptr<IRoad> road = ChooseRoad(run);
    // A road serves one input after the other, and the one before mustn't be seen.
    Pass(*road, text.substr(0, text.size() / 2), 7, wanted);
    Compare(Pass(*road, text, step, wanted), expected);
    Compare(Pass(*road, text, text.size() + 1, wanted), expected);
    return 0;
}
