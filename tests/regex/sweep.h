// The engine's ways against each other: every match of a text with all its groups, by the plain
// scans and with all short cuts, on the three kinds of text.
#pragma once

#include "tests/regex/engine.h"

#include <random>

namespace test {

/// Every match of a text, one after the other as a replace-all finds them.
template <class Chr>
std::string sweep(Quil::TRegexContext<Chr>& context, const std::basic_string<Chr>& text,
                  std::size_t slots) {
    std::vector<Quil::regmatch_t> m(slots);
    context.settext(text.data(), text.size());
    std::string all;
    for (std::size_t from = 0; from < text.size();) {
        const int flags = from ? Quil::REG_NOTBOL : 0;
        if (context.exec(from, slots, m.data(), flags) != Quil::REG_OKAY)
            break;
        all += std::to_string(from) + ": " + print(m) + "\n";
        from += static_cast<std::size_t>(m[0].rm_eo) + (m[0].rm_so == m[0].rm_eo ? 1 : 0);
    }
    return all;
}

/// Compares the ways on one text; says whether there was a match at all.
bool comparesweeps(const std::wstring& pattern, int flags, const std::wstring& text);

/// A text in which runs are often alike.
std::wstring texture(std::mt19937& seed, std::size_t length, const std::wstring& alphabet);

} // namespace test
