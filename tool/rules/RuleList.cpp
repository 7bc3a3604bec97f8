#include "tool/rules/RuleList.h"

#include "tool/charset_names.h"
#include "tool/rules/RuleParser.h"
#include "util/base/unicode_units.h"
#include "util/conv/block_conversion.h"
#include "util/file/dir.h"
#include "util/sys/errhdl.h"
#include "util/text/ConvStr.h"
#include "util/text/RuleSearch.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <new>
#include <string_view>

namespace Quil {

namespace {

constexpr struct {
    std::string_view mark;
    const char* charset;
} MARKS[] = {{std::string_view("\xFF\xFE\0\0", 4), "utf-32le"},
             {std::string_view("\0\0\xFE\xFF", 4), "utf-32be"},
             {"\xEF\xBB\xBF", "utf-8"},
             {"\xFF\xFE", "utf-16le"},
             {"\xFE\xFF", "utf-16be"}};

bool IsCharacter(wchar_t c) {
    const auto number = static_cast<std::uint32_t>(c);
    return number < IMPL::UNICODE_END && !IMPL::IsSurrogate(number);
}

/// "file, line 3, column 5".
stringEx PlaceText(const stringEx& file, unsigned int line, unsigned int column) {
    stringEx text = file == "-" ? stringEx("standard input") : file;
    text.append(", line ");
    text.append_ulong(line, 10);
    if (column != 0) {
        text.append(", column ");
        text.append_ulong(column, 10);
    }
    return text;
}

void Refuse(const stringEx& place, const stringEx& what) {
    std::cerr << "[FATAL ERROR] bad rule: " << place << ": " << what << "\n";
}

stringEx ReadAll(std::istream& from) {
    const std::string all((std::istreambuf_iterator<char>(from)), {});
    if (all.size() > stringEx::max_size()) {
        throw std::bad_alloc();
    }
    return {all.data(), static_cast<unsigned int>(all.size())};
}

/// A shell's `<(...)` is a pipe with a name, which has no size to go by.
stringEx ReadBytes(const stringEx& file) {
    if (file == "-") {
        return ReadAll(std::cin);
    }
    if (std::error_code trouble; std::filesystem::is_fifo(file.c_str(), trouble)) {
        std::ifstream pipe(file.c_str(), std::ios::binary);
        return ReadAll(pipe);
    }
    byteEx bytes;
    CDir::ReadFile(file, bytes);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.length()};
}

/// Reads the lists one after the other into a set.
class CReader final : private CRuleParser::ITaker {
public:
    CReader(const Run& run, RULE_LIST& list) : __run(run), __list(list) {}

    /// False after a complaint.
    bool Read(const stringEx& file) {
        __list.files.push_back(file);
        wstringEx text;
        if (!__Decode(file, text)) {
            return false;
        }
        const auto lines =
            static_cast<std::size_t>(std::count(text.begin(), text.end(), L'\n')) + 1;
        __list.set.Reserve(lines, text.length());
        __list.places.reserve(__list.places.size() + lines);
        CRuleParser parser(*this);
        const auto complaint =
            __run.rulesAsTable ? parser.ParseTable(text) : parser.ParseLines(text);
        if (complaint) {
            Refuse(PlaceText(file, complaint->line, complaint->column), complaint->what);
        }
        return !complaint;
    }

private:
    void Take(const RULE_KIND& kind, text_ref<wchar_t> find, text_ref<wchar_t> replacement,
              unsigned int line) override {
        __list.set.Add(kind, find, replacement);
        __list.places.push_back({static_cast<unsigned int>(__list.files.size() - 1), line});
    }

    bool __Decode(const stringEx& file, wstringEx& text) const {
        const stringEx bytes = ReadBytes(file);
        const std::string_view front(bytes.data(), bytes.length());
        const auto* const marked = std::ranges::find_if(
            MARKS, [front](const auto& row) { return front.starts_with(row.mark); });
        const bool hasMark = marked != std::end(MARKS);
        const stringEx name = hasMark                      ? stringEx(marked->charset)
                              : __run.rulesCharset.empty() ? stringEx("utf-8")
                                                           : __run.rulesCharset;
        CHARSET charset;
        if (!FindCharset("rules-charset", name, false, charset)) {
            return false;
        }
        const auto skipped = static_cast<unsigned int>(hasMark ? marked->mark.size() : 0);
        const LOSS loss =
            DecodeWhole(*charset.converter, text, bytes.substr(skipped, stringEx::npos));
        // Some converters take numbers beyond Unicode for characters.
        const auto beyond = std::ranges::find_if_not(text, IsCharacter);
        const bool isGood = loss.count == 0 && beyond == text.end();
        if (!isGood) {
            wstringEx before = text.substr(0, static_cast<unsigned int>(beyond - text.begin()));
            if (loss.count != 0) {
                DecodeWhole(*charset.converter, before,
                            bytes.substr(skipped, static_cast<unsigned int>(loss.place)));
            }
            const auto line = std::count(before.begin(), before.end(), L'\n') + 1;
            const unsigned int end = before.rfind(L'\n') + 1;
            Refuse(PlaceText(file, static_cast<unsigned int>(line), before.length() - end + 1),
                   stringEx("bytes that are no ")
                       .append(ShownCharset(name))
                       .append("; --rules-charset says what they are"));
        }
        return isGood;
    }

    const Run& __run;
    RULE_LIST& __list;
};

void TellTrouble(const RULE_LIST& list, const CRuleSet::TROUBLE& trouble) {
    const auto placeOf = [&](unsigned int rule, unsigned int column) {
        const RULE_LIST::PLACE& place = list.places[rule];
        return PlaceText(list.files[place.file], place.line, column);
    };
    if (trouble.isTwice) {
        Refuse(placeOf(trouble.rule, 1),
               stringEx("the same is found by ").append(placeOf(trouble.other, 0)));
        return;
    }
    const unsigned int at = trouble.error.position;
    Refuse(placeOf(trouble.rule, at == REGEX_ERROR::NOWHERE ? 1 : at + 1),
           stringEx("bad expression: ").append(trouble.error.text));
}

} // namespace

std::shared_ptr<const RULE_LIST> ReadRules(const Run& run) {
    auto list = std::make_shared<RULE_LIST>(run.cases);
    CReader reader(run, *list);
    for (const stringEx& file : run.ruleFiles) {
        if (!reader.Read(file)) {
            return nullptr;
        }
    }
    if (list->places.empty()) {
        std::cerr
            << "[FATAL ERROR] no rules: " << run.ruleFiles.front()
            << " has none; one is a line of what to find, a tab, and what to put in its place\n";
        return nullptr;
    }
    CRuleSet::TROUBLE trouble;
    if (!list->set.Prepare(trouble)) {
        TellTrouble(*list, trouble);
        return nullptr;
    }
    return list;
}

std::shared_ptr<const RULE_LIST> MakeRuleOfLiteral(const Run& run) {
    auto list = std::make_shared<RULE_LIST>(run.cases);
    RULE_KIND kind;
    kind.noCase = run.findFunc == FIND::LITERAL_NO_CASE;
    list->set.Add(kind, run.findText, run.replaceText);
    CRuleSet::TROUBLE trouble;
    list->set.Prepare(trouble);
    return list;
}

stringEx RuleReport(const Run& run) {
    const RULE_LIST& list = *run.rules;
    std::uint64_t matches = 0;
    unsigned int met = 0;
    stringEx lines[2]; // of the rules that never matched, and of the others
    wstringEx texts;
    for (unsigned int rule = 0; rule < list.places.size(); ++rule) {
        const std::uint64_t count = run.ruleCounts->Get(rule);
        const bool isMet = count != 0;
        const bool isExpression = list.set.GetKind(rule).isExpression;
        const RULE_LIST::PLACE& place = list.places[rule];
        stringEx& line = lines[isMet ? 1 : 0];
        met += isMet ? 1 : 0;
        matches += count;
        line.append_ulong(static_cast<unsigned long>(count), 10);
        line.append("\t").append(list.files[place.file]).append(":");
        line.append_ulong(place.line, 10).append("\t");
        texts = EscapedForRules(list.set.GetFind(rule), isExpression);
        texts.append(L"\t").append(EscapedForRules(list.set.GetReplacement(rule), isExpression));
        line.append(ConvStrSToT(texts)).append("\n");
    }
    const auto unmet = static_cast<unsigned long>(list.places.size() - met);
    stringEx report("## ");
    report.append_ulong(met, 10).append(met == 1 ? " rule matched, " : " rules matched, ");
    report.append_ulong(static_cast<unsigned long>(matches), 10);
    report.append(matches == 1 ? " time\n" : " times\n").append(lines[1]);
    if (unmet != 0) {
        report.append("## ").append_ulong(unmet, 10);
        report.append(unmet == 1 ? " rule never matched\n" : " rules never matched\n");
    }
    return report.append(lines[0]);
}

} // namespace Quil
