// Charsets that read the same bytes, and the likeliest reading of them.
//
// Each reading that decodes gets the cost of its text in the language, of those written in the
// charset, that makes it cheapest. What complicates it: charsets that have the same characters in
// the same places read a text alike, and are no rivals then.
#pragma once

#include "util/conv/TextConv.h"
#include "util/conv/loss.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace Quil::IMPL {

/// What a charset makes of a sample.
struct READING {
    stringEx charset;
    std::vector<std::string_view> languages; ///< that it is for; none: any
    CTextConvHandle converter{};
    wstringEx text{};
    LOSS loss{}; ///< in bytes of the sample
    std::uint64_t cost = 0;
};

/// What a text costs in the cheapest of the languages (of all, if none is named), or if that is
/// more than `most` something more than that. The characters are Unicode's.
std::uint64_t CostOfText(const wstringEx& text, const std::vector<std::string_view>& languages,
                         std::uint64_t most);

/// The charsets of a race, with their converters. For one thread.
class CCharsetRace {
public:
    /// Of these names, which converters know. Those that are told by their escapes don't take part,
    /// nor, unless `mustKnow`, does a name that none knows, which else throws.
    CCharsetRace(const std::vector<stringEx>& names, bool mustKnow);

    /// Lets all of them read the sample. Answers those that decode it, the likeliest first, and
    /// behind it no other that reads it alike; if none does, the one that comes farthest. A
    /// character that the sample's end cuts is no fault if `isCut`.
    std::vector<READING*> Run(std::string_view sample, bool isCut);

    /// Whether one of the names was that of a charset told by its escapes.
    bool HasEscaped(std::string_view charset) const;

private:
    static std::vector<READING*> __Read(const std::vector<READING*>& readings,
                                        std::string_view sample, bool isCut);
    void __Vote(std::string_view sample);

    std::vector<READING> __readings;
    std::vector<std::string_view> __escaped;
};

} // namespace Quil::IMPL
