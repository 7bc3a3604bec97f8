#include "tool/rules/RuleParser.h"

#include "tool/option/nearest.h"
#include "util/base/unicode_units.h"
#include "util/file/ByteIO.h"
#include "util/file/generic_stream.h"
#include "util/store/Csv.h"
#include "util/sys/errhdl.h"
#include "util/text/ConvStr.h"

#include <algorithm>
#include <cwchar>
#include <vector>

namespace Quil {

namespace {

constexpr wchar_t DIRECTIVE = L'@';
constexpr wchar_t COMMENT = L'#';

/// What a directive, and a word behind one, make of a kind.
struct WORD {
    const char* name;
    bool isFirst;       ///< it can be the directive
    bool forExpression; ///< it can stand behind @regex ...
    bool forLiteral;    ///< ... and behind the others
    RULE_KIND kind;     ///< what it adds
};

constexpr WORD WORDS[] = {
    {"literal", true, false, false, {}},
    {"nocase", true, true, true, {.noCase = true}},
    {"word", true, false, true, {.wholeWord = true}},
    {"regex", true, false, false, {.isExpression = true}},
    {"nnl", false, true, false, {.noNewline = true}},
};

void Add(RULE_KIND& kind, const RULE_KIND& more) {
    kind.isExpression = kind.isExpression || more.isExpression;
    kind.noCase = kind.noCase || more.noCase;
    kind.wholeWord = kind.wholeWord || more.wholeWord;
    kind.noNewline = kind.noNewline || more.noNewline;
}

/// A word that can stand where this one does, by its name.
const WORD* FindWord(const stringEx& name, bool isFirst, const RULE_KIND& kind) {
    const auto row = std::ranges::find_if(WORDS, [&](const WORD& word) {
        return name.equal_no_case(word.name) && (isFirst             ? word.isFirst
                                                 : kind.isExpression ? word.forExpression
                                                                     : word.forLiteral);
    });
    return row == std::end(WORDS) ? nullptr : row;
}

stringEx UnknownWord(const stringEx& name, bool isFirst, const RULE_KIND& kind) {
    std::vector<stringEx> known;
    for (const WORD& word : WORDS) {
        if (isFirst && word.isFirst) {
            known.emplace_back(word.name);
        }
    }
    stringEx what(isFirst ? "@" : "");
    if (isFirst) {
        what.append(name).append(" isn't a directive");
        if (const stringEx nearest = FindNearest(name, known); !nearest.empty()) {
            return what.append("; @").append(nearest).append(" is one");
        }
        return what.append(": @literal, @nocase, @word and @regex are; a text that begins so is "
                           "written \\@");
    }
    return what.append(name).append(kind.isExpression
                                        ? " can't stand behind @regex: nocase and nnl can, and "
                                          "***:\\m(?:...)\\M is a whole word"
                                        : " can't stand here: nocase and word can");
}

bool IsBlank(wchar_t c) {
    return c == L' ' || c == L'\t';
}

int HexDigit(wchar_t c) {
    return c >= L'0' && c <= L'9'   ? c - L'0'
           : c >= L'a' && c <= L'f' ? c - L'a' + 10
           : c >= L'A' && c <= L'F' ? c - L'A' + 10
                                    : -1;
}

/// The number of so many hexadecimal digits at a place; -1 if they aren't there.
std::int64_t HexNumber(text_ref<wchar_t> text, unsigned int at, unsigned int end,
                       unsigned int digits) {
    std::int64_t number = 0;
    for (unsigned int i = 0; i < digits; ++i) {
        const int digit = at + i < end ? HexDigit(text.data[at + i]) : -1;
        if (digit < 0) {
            return -1;
        }
        number = number * 16 + digit;
    }
    return number;
}

constexpr struct {
    wchar_t letter;
    wchar_t character;
} ESCAPES[] = {{L't', L'\t'},  {L'n', L'\n'},   {L'r', L'\r'},
               {L'\\', L'\\'}, {L'#', COMMENT}, {L'@', DIRECTIVE}};

/// What "\x" or "\u" stands for, with the elements behind the letter that it takes; a length of 0
/// if it stands for nothing.
struct NUMBERED {
    wchar_t character = 0;
    unsigned int length = 0;
};

NUMBERED ReadNumbered(text_ref<wchar_t> text, unsigned int at, unsigned int end) {
    constexpr unsigned int X_DIGITS = 2;
    constexpr unsigned int U_DIGITS = 4;
    const unsigned int digits = text.data[at] == L'x' ? X_DIGITS : U_DIGITS;
    const std::int64_t number = HexNumber(text, at + 1, end, digits);
    if (number < 0) {
        return {};
    }
    const auto high = static_cast<std::uint32_t>(number);
    if (!IMPL::IsSurrogate(high)) {
        return {static_cast<wchar_t>(high), digits};
    }
    // Characters beyond four digits come in halves, as programs write them that know UTF-16.
    const unsigned int second = at + 1 + U_DIGITS;
    const bool hasSecond =
        second + 1 < end && text.data[second] == L'\\' && text.data[second + 1] == L'u';
    const std::int64_t low = hasSecond ? HexNumber(text, second + 2, end, U_DIGITS) : -1;
    if (!IMPL::IsHighSurrogate(high) || low < 0 ||
        !IMPL::IsLowSurrogate(static_cast<std::uint32_t>(low))) {
        return {};
    }
    return {static_cast<wchar_t>(IMPL::JoinSurrogates(high, static_cast<std::uint32_t>(low))),
            2 * U_DIGITS + 2};
}

/// The characters in front of a byte of a line in UTF-8, both counted from 1 on.
unsigned int CharactersBefore(const wstringEx& text, unsigned int line, std::uint64_t column) {
    unsigned int begin = 0;
    while (--line != 0) {
        begin = text.find(L'\n', begin) + 1;
    }
    unsigned int end = begin;
    for (std::uint64_t bytes = 1; bytes < column && end < text.length(); ++end) {
        bytes += ConvStrSToU(wstringEx(1, text[end])).length();
    }
    return end - begin;
}

} // namespace

CRuleParser::COMPLAINT CRuleParser::ParseLines(const wstringEx& text) {
    __kind = {};
    __line = 0;
    for (unsigned int begin = 0; begin < text.length();) {
        const wchar_t* const at = std::wmemchr(text.data() + begin, L'\n', text.length() - begin);
        const unsigned int end =
            at == nullptr ? text.length() : static_cast<unsigned int>(at - text.data());
        const bool hasReturn = end > begin && text[end - 1] == L'\r';
        ++__line;
        if (COMPLAINT complaint =
                __TakeLine({text.data() + begin, end - begin - (hasReturn ? 1 : 0)})) {
            return complaint;
        }
        begin = end + 1;
    }
    return std::nullopt;
}

CRuleParser::COMPLAINT CRuleParser::__TakeLine(text_ref<wchar_t> line) {
    if (std::all_of(line.data, line.data + line.length, IsBlank) || line.data[0] == COMMENT) {
        return std::nullopt;
    }
    if (line.data[0] == DIRECTIVE) {
        return __TakeDirective(line);
    }
    const wchar_t* const tab = std::wmemchr(line.data, L'\t', line.length);
    if (tab == nullptr) {
        return __Complaint(line.length, "no tab between what to find and what to put in its place");
    }
    const auto parted = static_cast<unsigned int>(tab - line.data);
    if (const wchar_t* const second = std::wmemchr(tab + 1, L'\t', line.length - parted - 1)) {
        return __Complaint(static_cast<std::size_t>(second - line.data),
                           "a second tab; one that is part of a text is written \\t");
    }
    const text_ref<wchar_t> replacement(tab + 1, line.length - parted - 1);
    if (__kind.isExpression || std::wmemchr(line.data, L'\\', line.length) == nullptr) {
        return __TakeRule({line.data, parted}, replacement);
    }
    COMPLAINT complaint = __Unescape(line, 0, parted, __find);
    if (!complaint) {
        complaint = __Unescape(line, parted + 1, line.length, __replacement);
    }
    const auto view = [](const std::wstring& text) {
        return text_ref<wchar_t>(text.data(), static_cast<unsigned int>(text.size()));
    };
    return complaint ? complaint : __TakeRule(view(__find), view(__replacement));
}

CRuleParser::COMPLAINT CRuleParser::__TakeRule(text_ref<wchar_t> find,
                                               text_ref<wchar_t> replacement) {
    if (find.length == 0) {
        return __Complaint(0, "nothing to find");
    }
    __taker.Take(__kind, find, replacement, __line);
    return std::nullopt;
}

CRuleParser::COMPLAINT CRuleParser::__TakeDirective(text_ref<wchar_t> line) {
    RULE_KIND kind;
    unsigned int at = 1;
    for (bool isFirst = true; at < line.length || isFirst; isFirst = false) {
        unsigned int end = at;
        while (end < line.length && !IsBlank(line.data[end])) {
            ++end;
        }
        const stringEx name = ConvStrSToT(wstringEx(line.data + at, end - at));
        const WORD* const word = FindWord(name, isFirst, kind);
        if (word == nullptr) {
            return __Complaint(isFirst ? 0 : at, UnknownWord(name, isFirst, kind));
        }
        Add(kind, word->kind);
        for (at = end; at < line.length && IsBlank(line.data[at]);) {
            ++at;
        }
    }
    __kind = kind;
    return std::nullopt;
}

CRuleParser::COMPLAINT CRuleParser::__Unescape(text_ref<wchar_t> line, unsigned int begin,
                                               unsigned int end, std::wstring& to) const {
    to.clear();
    for (unsigned int at = begin; at < end; ++at) {
        const wchar_t c = line.data[at];
        if (c != L'\\') {
            to += c;
            continue;
        }
        const wchar_t letter = at + 1 < end ? line.data[at + 1] : 0;
        const auto* const escape = std::ranges::find_if(
            ESCAPES, [letter](const auto& row) { return row.letter == letter; });
        if (escape != std::end(ESCAPES)) {
            to += escape->character;
            ++at;
            continue;
        }
        const NUMBERED numbered =
            letter == L'x' || letter == L'u' ? ReadNumbered(line, at + 1, end) : NUMBERED();
        if (numbered.length == 0) {
            return __Complaint(at,
                               "\\ has to have t, n, r, #, @, xHH, uHHHH or another \\ behind it");
        }
        to += numbered.character;
        at += 1 + numbered.length;
    }
    return std::nullopt;
}

CRuleParser::COMPLAINT CRuleParser::ParseTable(const wstringEx& text) {
    CSV_FORM form;
    const unsigned int end = std::min(text.find(L'\n', 0), text.length());
    form.separator = text.substr_static(0, end).find(L'\t', 0) != wstringEx::npos ? '\t' : ',';
    byteEx bytes = static_cast<byteEx>(ConvStrSToU(text));
    const CGenericSeekableSource<CByteIO> source{CByteIO(&bytes)};
    CCsvReader reader(source, form);
    __kind = {};
    try {
        for (CSV_ROW row; reader.Next(row);) {
            __line = static_cast<unsigned int>(reader.GetLine());
            COMPLAINT complaint;
            if (row.size() == 1 && row[0].begin_with("@")) {
                const wstringEx directive = ConvStrUToW(row[0]);
                complaint = __TakeDirective(directive);
            } else if (row.size() == 2) {
                complaint = __TakeRule(ConvStrUToW(row[0]), ConvStrUToW(row[1]));
            } else if (!row.empty() && !(row.size() == 1 && row[0].empty())) {
                stringEx what("a row of ");
                what.append_ulong(row.size(), 10);
                what.append(row.size() == 1 ? " cell" : " cells");
                complaint = __Complaint(
                    0, what.append(", not of what to find and what to put in its place"));
            }
            if (complaint) {
                return complaint;
            }
        }
    } catch (const csvExp&) {
        __line = static_cast<unsigned int>(reader.GetQuoteLine());
        return __Complaint(CharactersBefore(text, __line, reader.GetQuoteColumn()),
                           "a quote that is never closed");
    }
    return std::nullopt;
}

wstringEx EscapedForRules(text_ref<wchar_t> text, bool isExpression) {
    constexpr wchar_t DELETE = 0x7F;
    wstringEx escaped;
    for (unsigned int i = 0; i < text.length; ++i) {
        const wchar_t c = text.data[i];
        const auto* const escape = std::ranges::find_if(ESCAPES, [&](const auto& row) {
            const bool isMark = c == COMMENT || c == DIRECTIVE;
            return row.character == c && !(isMark && i != 0) && !(isExpression && c == L'\\');
        });
        if (escape == std::end(ESCAPES) && (c < L' ' || c == DELETE)) {
            const wchar_t* const DIGITS = L"0123456789ABCDEF";
            escaped.append(L"\\x");
            escaped.push_back(DIGITS[c >> 4 & 0xF]);
            escaped.push_back(DIGITS[c & 0xF]);
        } else if (escape == std::end(ESCAPES)) {
            escaped.push_back(c);
        } else {
            escaped.push_back(L'\\');
            escaped.push_back(escape->letter);
        }
    }
    return escaped;
}

} // namespace Quil
