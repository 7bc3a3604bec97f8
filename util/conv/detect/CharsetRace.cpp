#include "util/conv/detect/CharsetRace.h"

#include "util/conv/block_conversion.h"
#include "util/conv/detect/DetectorLibrary.h"
#include "util/conv/detect/LanguageModel.h"
#include "util/conv/detect/candidates.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <limits>

namespace Quil::IMPL {

namespace {

constexpr const char* ESCAPED[] = {"ISO-2022-JP", "ISO-2022-KR", "ISO-2022-CN", "HZ"};
constexpr std::size_t LONGEST_SEQUENCE = 4;

/// Bytes of a sample after which those are out that cost so much more.
constexpr std::size_t HEAD = 1024;
constexpr std::uint64_t FAR = 80ULL * COSTS_A_NAT;

/// A lead that leaves doubt.
constexpr std::uint64_t CLOSE = 6ULL * COSTS_A_NAT;

/// What the other opinion is worth.
constexpr std::uint64_t VOTE = 1ULL * COSTS_A_NAT;

std::string_view ViewOf(const stringEx& text) {
    return {text.data(), text.length()};
}

/// A converter that knows the name, or none.
CTextConvHandle ConverterFor(const stringEx& name, bool mustKnow) {
    try {
        CTextConvHandle converter = GainBestConvFor(0, name);
        EnsureConvFound(converter, name);
        return converter;
    } catch (const qlExp&) {
        if (mustKnow) {
            throw;
        }
        return {};
    }
}

bool IsDecoded(const READING& reading, std::size_t length, bool isCut) {
    return reading.loss.count == 0 || (isCut && reading.loss.place + LONGEST_SEQUENCE > length);
}

void Sort(std::vector<READING*>& readings) {
    std::ranges::stable_sort(readings, {}, [](const READING* reading) { return reading->cost; });
}

bool IsCalled(const READING& reading, const stringEx& name) {
    if (IsSameName(ViewOf(reading.charset), ViewOf(name))) {
        return true;
    }
    return std::ranges::any_of(GetCandidates(), [&](const CANDIDATE& candidate) {
        return ViewOf(reading.charset) == candidate.name &&
               std::ranges::any_of(WordsOf(candidate.others), [&](std::string_view other) {
                   return IsSameName(other, ViewOf(name));
               });
    });
}

} // namespace

std::uint64_t CostOfText(const wstringEx& text, const std::vector<std::string_view>& languages,
                         std::uint64_t most) {
    std::uint64_t least = std::numeric_limits<std::uint64_t>::max();
    const auto ask = [&](std::string_view language) {
        const CLanguageModel& model = *CLanguageModel::Find(language);
        least = std::min(least, model.GetCost(text.data(), text.length(), std::min(least, most)));
    };
    std::ranges::for_each(languages, ask);
    if (languages.empty()) {
        for (const LANGUAGE_TABLE& table : GetLanguageTables()) {
            ask(table.name);
        }
    }
    return least;
}

CCharsetRace::CCharsetRace(const std::vector<stringEx>& names, bool mustKnow) {
    for (const stringEx& name : names) {
        const auto isName = [&](const char* known) { return IsSameName(known, ViewOf(name)); };
        if (const auto* const escaped = std::ranges::find_if(ESCAPED, isName);
            escaped != std::end(ESCAPED)) {
            __escaped.emplace_back(*escaped);
            continue;
        }
        READING reading{name, {}};
        for (const CANDIDATE& candidate : GetCandidates()) {
            if (isName(candidate.name)) {
                reading.languages = WordsOf(candidate.languages);
            }
        }
        reading.converter = ConverterFor(name, mustKnow);
        if (reading.converter) {
            __readings.push_back(std::move(reading));
        }
    }
}

bool CCharsetRace::HasEscaped(std::string_view charset) const {
    return std::ranges::find(__escaped, charset) != __escaped.end();
}

void CCharsetRace::__Vote(std::string_view sample) {
    const stringEx opinion = CDetectorLibrary::Get().Ask(sample);
    if (opinion.empty()) {
        return;
    }
    for (READING& reading : __readings) {
        if (IsCalled(reading, opinion)) {
            reading.cost -= std::min(reading.cost, VOTE);
        }
    }
}

/// Lets some of them read the sample. Answers those that decode it, the likeliest first.
std::vector<READING*> CCharsetRace::__Read(const std::vector<READING*>& readings,
                                           std::string_view sample, bool isCut) {
    const stringEx bytes(sample.data(), static_cast<unsigned int>(sample.size()));
    std::vector<READING*> ranks;
    std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    for (READING* const reading : readings) {
        reading->loss = DecodeWhole(*reading->converter, reading->text, bytes);
        if (IsDecoded(*reading, sample.size(), isCut)) {
            reading->cost = CostOfText(reading->text, reading->languages, most);
            most = std::min(most, reading->cost + FAR);
            ranks.push_back(reading);
        }
    }
    Sort(ranks);
    return ranks;
}

std::vector<READING*> CCharsetRace::Run(std::string_view sample, bool isCut) {
    std::vector<READING*> all;
    for (READING& reading : __readings) {
        all.push_back(&reading);
    }
    std::vector<READING*> ranks = all;
    if (sample.size() > HEAD) {
        ranks = __Read(all, sample.substr(0, HEAD), true);
        const std::uint64_t most = ranks.empty() ? 0 : ranks.front()->cost + FAR;
        std::erase_if(ranks, [most](const READING* reading) { return reading->cost > most; });
        ranks = __Read(ranks, sample, isCut);
    }
    if (sample.size() <= HEAD || ranks.empty()) {
        ranks = __Read(all, sample, isCut);
    }
    if (ranks.empty()) {
        const auto farthest = std::ranges::max_element(
            all, {}, [](const READING* reading) { return reading->loss.place; });
        return farthest != all.end() ? std::vector<READING*>{*farthest} : ranks;
    }
    const auto isAlike = [&](const READING* reading) {
        return reading != ranks.front() && reading->text == ranks.front()->text;
    };
    std::erase_if(ranks, isAlike);
    if (ranks.size() > 1 && ranks[1]->cost - ranks[0]->cost < CLOSE) {
        __Vote(sample);
        Sort(ranks);
        std::erase_if(ranks, isAlike);
    }
    return ranks;
}

} // namespace Quil::IMPL
