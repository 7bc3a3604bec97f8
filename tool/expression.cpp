// Aliases stand for one character each, and what they make holds no alias, so a place behind them
// is found again by one walk over what was typed.
#include "tool/expression.h"

#include "regex/regex.h"
#include "tool/advice.h"

#include <algorithm>
#include <cwchar>
#include <iostream>

namespace Quil {
namespace {

constexpr struct {
    const wchar_t* alias;
    const wchar_t* character;
} ALIASES[] = {{L"[:dq:]", L"\""}, {L"[:sq:]", L"'"},  {L"[:nl:]", L"\n"},
               {L"[:rt:]", L"\r"}, {L"[:tb:]", L"\t"}, {L"[:bs:]", L"\b"}};

/// The length of what stands at a place of the typed text for one character.
unsigned int TypedLength(const wstringEx& typed, unsigned int at) {
    for (const auto& row : ALIASES) {
        const wstringEx alias = row.alias;
        if (typed.substr_static(at, alias.length()) == alias) {
            return alias.length();
        }
    }
    return 1;
}

/// Where in the typed text something is wrong; its length if that's at its end.
unsigned int TypedPlace(const REGEX_ERROR& error, const wstringEx& typed) {
    unsigned int at = 0;
    for (unsigned int i = 0; i < error.position && at < typed.length(); ++i) {
        at += TypedLength(typed, at);
    }
    return std::min(at, typed.length());
}

/// The columns that a character takes on a terminal.
unsigned int Columns(wchar_t character) {
    const int columns = ::wcwidth(character);
    return columns < 0 ? 1 : static_cast<unsigned int>(columns);
}

/// Shows the place under what was typed, of which as much as fits on a line.
void Point(const wstringEx& typed, unsigned int at, const TTextConv& terminal) {
    constexpr unsigned int MOST_COLUMNS = 72;
    constexpr unsigned int BEFORE = 48;
    unsigned int begin = at;
    unsigned int before = 0;
    while (begin != 0 && before + Columns(typed[begin - 1]) <= BEFORE) {
        before += Columns(typed[--begin]);
    }
    unsigned int end = at;
    for (unsigned int columns = before; end < typed.length() && columns < MOST_COLUMNS; ++end) {
        columns += Columns(typed[end]);
    }
    wstringEx shown = typed.substr(begin, end - begin);
    std::replace_if(
        shown.begin(), shown.end(), [](wchar_t c) { return c < L' ' || c == L'\x7F'; }, L' ');
    const stringEx indent = begin == 0 ? "    " : " ...";
    std::cerr << indent << terminal.WCtoMB(shown) << (end < typed.length() ? "..." : "") << "\n"
              << stringEx(indent.length() + before, ' ') << "^\n";
}

/// What to do about it.
const char* AdviceFor(int code) {
    switch (code) {
    case REG_ECTYPE:
    case REG_ECOLLATE:
        return "-h lists the classes";
    case REG_EESCAPE:
        return "write \\\\ for a backslash; -h lists what may stand behind one";
    case REG_ESUBREG:
        return "\\1 is the first (group), which must be complete before it";
    case REG_EBRACK:
        return "close it by ], or write \\[ for the character";
    case REG_EPAREN:
        return "write \\( or \\) for the character; -f: finds a text as it stands";
    case REG_EBRACE:
        return "close it by }, or write \\{ for the character";
    case REG_BADBR:
        return "write {2,5}, {2,} or {2}";
    case REG_ERANGE:
        return "the first of a-z has to come before the last";
    case REG_ESPACE:
        return "make the counts in {} smaller, or the expression simpler";
    case REG_BADRPT:
        return "write \\* for the character; (?: and *? need ***: in front";
    default:
        return "-h tells how expressions are written; -f: finds a text as it stands";
    }
}

void Tell(const REGEX_ERROR& error, const Run& run) {
    const wstringEx& typed = run.findText;
    std::cerr << (run.isCareful ? "[FATAL ERROR] bad expression: " : "[ERROR] bad expression: ")
              << error.text;
    if (error.position == REGEX_ERROR::NOWHERE) {
        std::cerr << "\n";
    } else {
        const unsigned int at = TypedPlace(error, typed);
        if (at < typed.length()) {
            std::cerr << ", at character " << at + 1 << "\n";
        } else {
            std::cerr << ", at its end\n";
        }
        if (run.isWatched) {
            Point(typed, at, *run.arg.converter);
        }
    }
    Advise(run, AdviceFor(error.code));
}

} // namespace

void RegexExtendClassParser(wstringEx& str) {
    for (const auto& row : ALIASES) {
        str.find_replace(row.alias, row.character, 0, true);
    }
}

bool CompileExpression(Run& run) {
    if (run.findFunc != FIND::REGEX) {
        return true;
    }
    wstringEx expression = run.findText;
    RegexExtendClassParser(expression);
    REGEX_ERROR error;
    run.regexComp =
        wstringEx::regex_comp(expression, run.regexNoCase, !run.regexNoNewline, true, true, error);
    if (error && (run.isWatched || run.isCareful)) {
        Tell(error, run);
    }
    return !error || !run.isCareful;
}

} // namespace Quil
