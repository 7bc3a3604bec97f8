// The charsets between which a text's own letters decide, with the languages that are written in
// them, and those of them that a user of some language is likely to meet.
#pragma once

#include "util/text/stringEx.h"

#include <span>
#include <string_view>
#include <vector>

namespace Quil::IMPL {

struct CANDIDATE {
    const char* name;      ///< that the converters know
    const char* languages; ///< that may be written in it, parted by blanks; empty: any
    const char* others;    ///< more names, by which a detector may call it or what is within it
};

/// Of two that read a text alike, the first counts.
std::span<const CANDIDATE> GetCandidates();

/// The names of those of a language, as a locale names it ("zh_TW"); of all for one that isn't
/// known.
std::vector<std::string_view> GetCandidatesOf(std::string_view language);

/// The words of a list that blanks part.
std::vector<std::string_view> WordsOf(std::string_view text);

/// Whether two names differ in nothing but case and signs.
bool IsSameName(std::string_view a, std::string_view b);

} // namespace Quil::IMPL
