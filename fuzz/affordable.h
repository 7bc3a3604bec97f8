// Which expressions a fuzz target may compile and run: a few characters can ask for hours, which is
// known and no finding.
#pragma once

#include <string_view>

namespace Quil::FUZZ {

/// Whether an expression's cost is bounded well: it is short, its counts are small and few, and
/// neither references nor lookaheads are many.
inline bool IsAffordable(std::wstring_view pattern) {
    constexpr std::size_t LONGEST = 48;
    constexpr unsigned int MOST_REPEATED = 12;
    unsigned int product = 1;
    unsigned int costly = 0;
    for (std::size_t i = 0; i < pattern.size() && pattern.size() <= LONGEST; ++i) {
        const wchar_t next = i + 1 < pattern.size() ? pattern[i + 1] : L'\0';
        const bool isReference = pattern[i] == L'\\' && next >= L'1' && next <= L'9';
        const bool isLookahead = pattern[i] == L'?' && (next == L'=' || next == L'!');
        costly += isReference || isLookahead ? 1 : 0;
        if (pattern[i] == L'{' || pattern[i] == L',') {
            unsigned int count = 0;
            for (std::size_t j = i + 1;
                 j < pattern.size() && pattern[j] >= L'0' && pattern[j] <= L'9'; ++j) {
                count = count < 1000 ? count * 10 + static_cast<unsigned int>(pattern[j] - L'0')
                                     : count;
            }
            product = product < 1000 && count > 1 ? product * count : product;
        }
    }
    return pattern.size() <= LONGEST && product <= MOST_REPEATED && costly <= 3;
}

} // namespace Quil::FUZZ
