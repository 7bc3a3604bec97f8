// Finds dates in a text, turns them round, and says what is wrong with an expression.

#include "util/sys/errhdl.h"
#include "util/text/wstringEx.h"

#include <iostream>

using namespace Quil;

int main() {
    // Compiled once, an expression may be used by several threads at once.
    REGEX_ERROR error;
    const wstringEx::regex_handle date =
        wstringEx::regex_comp(LR"((\d\d)/(\d\d)/(\d{4}))", false, true, true, true, error);

    wstringEx text(L"born 10/12/1815, died 27/11/1852");
    wstringEx::regex_result groups;
    for (unsigned int number = 0;
         text.regex_find_with_comp(groups, date, number, 0, false, false, false); ++number) {
        const auto [begin, length] = groups[0];
        const auto [yearBegin, yearLength] = groups[3];
        std::wcout << L"at " << begin << L", " << length << L" long, in the year "
                   << text.substr(yearBegin, yearLength) << L"\n";
    }

    const unsigned int count =
        text.regex_find_replace_all_with_comp(date, LR"(\3-\2-\1)", false, false, true);
    std::wcout << count << L" replaced: " << text << L"\n";

    // One that is wrong gives no handle, and matches nothing.
    const wstringEx::regex_handle wrong =
        wstringEx::regex_comp(L"(ab|c", false, true, true, true, error);
    std::wcout << (wrong ? L"fine" : L"wrong") << L": " << error.text << L", at " << error.position
               << L"\n";
    return 0;
}
