#include "util/conv/detect/candidates.h"

#include <algorithm>

namespace Quil::IMPL {

namespace {

constexpr const char* WEST = "fr de es pt it sv da nl fi nb";
constexpr const char* CENTER = "pl cs hu ro sk sl hr";
constexpr const char* CYRILLIC = "ru uk bg";

// In the order in which they are met: windows' sets are larger than the standard ones.
constexpr CANDIDATE CANDIDATES[] = {
    {"GB18030", "zh_CN zh_TW", "GBK GB2312 EUC-CN HZ-GB-2312 CP936"},
    {"CP932", "ja", "SHIFT_JIS"},
    {"EUC-JP", "ja", ""},
    {"UHC", "ko", "EUC-KR CP949"},
    {"BIG5", "zh_TW", ""},
    {"CP1252", WEST, "WINDOWS-1252 ISO-8859-1"},
    {"CP1251", CYRILLIC, "WINDOWS-1251"},
    {"KOI8-R", "ru", ""},
    {"KOI8-U", "uk ru", ""},
    {"CP1250", CENTER, "WINDOWS-1250"},
    {"ISO-8859-2", CENTER, ""},
    {"CP1253", "el", "WINDOWS-1253"},
    {"ISO-8859-7", "el", ""},
    {"CP1254", "tr", "WINDOWS-1254 ISO-8859-9"},
    {"CP1255", "he", "WINDOWS-1255"},
    {"ISO-8859-8", "he", ""},
    {"CP1256", "ar", "WINDOWS-1256"},
    {"ISO-8859-6", "ar", ""},
    {"CP874", "th", "TIS-620 ISO-8859-11 WINDOWS-874"},
    {"TIS-620", "th", ""},
    {"CP1258", "vi", "WINDOWS-1258"},
    {"CP1257", "lt lv et", "WINDOWS-1257"},
    {"ISO-8859-15", WEST, ""},
    {"ISO-8859-13", "lt lv et", ""},
    {"ISO-8859-4", "lt lv et", ""},
    {"ISO-8859-16", "ro", ""},
    {"ISO-8859-5", CYRILLIC, ""},
    {"CP850", WEST, "IBM850"},
    {"CP858", WEST, "IBM858"},
    {"CP437", WEST, "IBM437"},
    {"CP852", CENTER, "IBM852"},
    {"CP866", "ru uk", "IBM866"},
    {"CP855", CYRILLIC, "IBM855"},
    {"CP857", "tr", "IBM857"},
    {"CP737", "el", "IBM737"},
    {"CP869", "el", "IBM869"},
    {"CP862", "he", "IBM862"},
    {"MACINTOSH", WEST, "MAC"},
    {"MAC-CYRILLIC", CYRILLIC, ""},
    {"MAC-CENTRALEUROPE", CENTER, ""},
    {"VISCII", "vi", ""},
    {"TCVN", "vi", "TCVN5712-1"},
    {"JOHAB", "ko", ""},
    {"BIG5-HKSCS", "zh_TW", ""},
    {"EUC-TW", "zh_TW", ""},
};

struct GROUP {
    const char* languages;
    const char* charsets;
};

constexpr const char* OF_CENTER = "CP1250 ISO-8859-2 CP852 MAC-CENTRALEUROPE";

constexpr GROUP GROUPS[] = {
    {"zh", "GB18030 BIG5 BIG5-HKSCS EUC-TW HZ ISO-2022-CN"},
    {"ja", "CP932 EUC-JP ISO-2022-JP"},
    {"ko", "UHC JOHAB ISO-2022-KR"},
    {"ru uk be bg sr mk", "CP1251 KOI8-R KOI8-U CP866 ISO-8859-5 CP855 MAC-CYRILLIC"},
    {"el", "CP1253 ISO-8859-7 CP737 CP869"},
    {"he iw yi", "CP1255 ISO-8859-8 CP862"},
    {"ar fa ur", "CP1256 ISO-8859-6"},
    {"th", "CP874 TIS-620"},
    {"vi", "CP1258 VISCII TCVN"},
    {"tr az", "CP1254 CP857"},
    {"pl cs hu sk sl hr", OF_CENTER},
    {"ro", "CP1250 ISO-8859-2 ISO-8859-16 CP852"},
    {"lt lv et", "CP1257 ISO-8859-13 ISO-8859-4"},
    {"de fr es pt it sv da nl fi nb nn no is ca gl eu ga",
     "CP1252 ISO-8859-15 CP850 CP858 CP437 MACINTOSH"},
};

constexpr const char* BY_ESCAPES = "ISO-2022-JP ISO-2022-KR ISO-2022-CN HZ";

std::string_view SkipSigns(std::string_view name) {
    const auto isSign = [](char c) { return c == '-' || c == '_' || c == ' ' || c == ':'; };
    const auto* const found = std::find_if_not(name.begin(), name.end(), isSign);
    return name.substr(static_cast<std::size_t>(found - name.begin()));
}

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

} // namespace

std::span<const CANDIDATE> GetCandidates() {
    return CANDIDATES;
}

std::vector<std::string_view> GetCandidatesOf(std::string_view language) {
    const std::string_view bare = language.substr(0, language.find_first_of("_-.@"));
    for (const GROUP& group : GROUPS) {
        if (std::ranges::count(WordsOf(group.languages), bare) != 0) {
            return WordsOf(group.charsets);
        }
    }
    std::vector<std::string_view> all = WordsOf(BY_ESCAPES);
    for (const CANDIDATE& candidate : CANDIDATES) {
        all.emplace_back(candidate.name);
    }
    return all;
}

std::vector<std::string_view> WordsOf(std::string_view text) {
    std::vector<std::string_view> words;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        words.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

bool IsSameName(std::string_view a, std::string_view b) {
    for (;;) {
        a = SkipSigns(a);
        b = SkipSigns(b);
        if (a.empty() || b.empty()) {
            return a.empty() && b.empty();
        }
        if (Lower(a.front()) != Lower(b.front())) {
            return false;
        }
        a.remove_prefix(1);
        b.remove_prefix(1);
    }
}

} // namespace Quil::IMPL
