// Aliases stand for one character each, and what they make holds no alias, so a place behind them
// is found again by one walk over what was typed.
#include "tool/expression.h"

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

void Tell(const REGEX_ERROR& error, const wstringEx& typed, bool isFatal) {
    std::cerr << (isFatal ? "[FATAL ERROR] bad expression: " : "[ERROR] bad expression: ")
              << error.text;
    if (error.position != REGEX_ERROR::NOWHERE) {
        unsigned int at = 0;
        for (unsigned int i = 0; i < error.position && at < typed.length(); ++i) {
            at += TypedLength(typed, at);
        }
        if (at < typed.length()) {
            std::cerr << ", at character " << at + 1;
        } else {
            std::cerr << ", at its end";
        }
    }
    std::cerr << std::endl;
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
        Tell(error, run.findText, run.isCareful);
    }
    return !error || !run.isCareful;
}

} // namespace Quil
