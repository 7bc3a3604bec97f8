// Lists of rules, and texts: any list is either good or complained of at a place that it has; what
// a good one makes of a text is the same as a whole and in pieces, on characters and on bytes.
#include "fuzz/FuzzInput.h"
#include "fuzz/affordable.h"
#include "tool/rules/RuleParser.h"
#include "util/text/ConvStr.h"
#include "util/text/RuleSearch.h"

#include <memory>

using namespace Quil;

namespace {

/// Keeps what a fuzz run can pay.
class CTaker final : public CRuleParser::ITaker {
public:
    CTaker() : __set(std::make_shared<CRuleSet>(CASE_RULES{CASE_CHANGE::TITLE, true})) {}

    void Take(const RULE_KIND& kind, text_ref<wchar_t> find, text_ref<wchar_t> replacement,
              unsigned int /*line*/) override {
        if (!kind.isExpression ||
            (FUZZ::IsAffordable({find.data, find.length}) && ++__expressions < 6)) {
            __set->Add(kind, find, replacement);
        }
    }
    std::shared_ptr<CRuleSet> GetSet() const { return __set; }

private:
    std::shared_ptr<CRuleSet> __set;
    unsigned int __expressions = 0;
};

template <class T>
std::basic_string<T> InPieces(const std::shared_ptr<CRuleSet>& set, text_ref<T> text,
                              unsigned int piece) {
    CRuleSearch<T> search(set);
    basic_buffer<T> made;
    IMPL::text_writer<T> writer(made);
    unsigned int taken = 0;
    bool isInWord = false;
    for (unsigned int end = 0; end < text.length;) {
        end = std::min(end + piece, text.length);
        const text_ref<T> part(text.data + taken, end - taken);
        search.SetText(part, end == text.length, isInWord);
        unsigned int done = 0;
        for (RULE_MATCH match; search.Find(done, match); done = match.end()) {
            FUZZ::Require(match.length != 0 && match.begin >= done, "matches go on");
            writer.put({part.data + done, match.begin - done});
            search.PutReplacement(writer, match);
        }
        const unsigned int decided =
            end == text.length ? part.length : std::max(done, search.GetUndecided());
        writer.put({part.data + done, decided - done});
        isInWord = decided != 0 ? CRuleSearch<T>::EndsInWord({part.data, decided}) : isInWord;
        taken += decided;
    }
    writer.finish();
    return {made.data(), made.length()};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FUZZ::CFuzzInput input(data, size);
    const bool isTable = input.Flag();
    unsigned int piece = input.Below(20) + 1;
    const std::string list = input.Text(200);
    std::string rest = input.Rest();
    if (piece > 14) { // again and again, as an automaton for long texts wants it
        constexpr std::size_t LONG = 3000;
        for (const std::string once = rest; !once.empty() && rest.size() < LONG;) {
            rest += once;
        }
        piece *= 64;
    }
    const wstringEx text = ConvStrUToW(stringEx(rest.c_str()));
    const wstringEx lines = ConvStrUToW(stringEx(list.c_str()));
    const auto isBeyond = [](wchar_t c) { return static_cast<std::uint32_t>(c) >= 0x110000; };
    if (std::any_of(lines.begin(), lines.end(), isBeyond)) {
        return 0; // rules are of Unicode characters
    }
    CTaker taker;
    CRuleParser parser(taker);
    const auto complaint = isTable ? parser.ParseTable(lines) : parser.ParseLines(lines);
    if (complaint) {
        const auto count = std::count(list.begin(), list.end(), '\n') + 1;
        FUZZ::Require(complaint->line >= 1 && complaint->line <= count, "a line of the list");
        return 0;
    }
    CRuleSet::TROUBLE trouble;
    const std::shared_ptr<CRuleSet> set = taker.GetSet();
    if (!set->Prepare(trouble)) {
        FUZZ::Require(trouble.rule < set->GetCount(), "trouble with a rule");
        return 0;
    }
    CRuleReplacer replacer(set);
    wstringEx result;
    const bool isReplaced = replacer.Replace(result, text, nullptr) != 0;
    const std::basic_string<wchar_t> whole(isReplaced ? result.data() : text.data(),
                                           isReplaced ? result.length() : text.length());
    if (set->HasExpressions()) {
        return 0;
    }
    FUZZ::Require(InPieces<wchar_t>(set, text, piece) == whole, "pieces make the whole");
    const bool isAscii = std::all_of(text.begin(), text.end(), [](wchar_t c) { return c < 0x80; });
    if (isAscii || (!set->FoldsBeyondAscii() && set->GetFoldedText().empty())) {
        const stringEx bytes = ConvStrSToU(text);
        const stringEx wanted =
            ConvStrSToU(wstringEx(whole.data(), static_cast<unsigned int>(whole.size())));
        const auto made = InPieces<unsigned char>(
            set, {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.length()}, piece);
        FUZZ::Require(
            made == std::basic_string<unsigned char>(
                        reinterpret_cast<const unsigned char*>(wanted.data()), wanted.length()),
            "bytes are replaced as characters are");
    }
    return 0;
}
