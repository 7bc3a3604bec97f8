#include "util/conv/detect/LanguageModel.h"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>

namespace Quil::IMPL {

namespace {

constexpr std::size_t PLANE = 0x10000;
constexpr unsigned int LETTERS = 52; // of ASCII

// The symbols that stand for ASCII come behind the language's own, in this order.
enum ASCII : unsigned int { SPACE, DIGIT, SIGN, LETTER };

/// So many tenths of a nat in the tables' units.
constexpr unsigned int Tenths(unsigned int count) {
    return (count * COSTS_A_NAT + 5) / 10;
}

/// A figure of a table is one printable character: those from '#' on but the two that a literal
/// can't hold as they stand.
unsigned int FigureOf(char figure) {
    return static_cast<unsigned int>(figure - '#' - (figure > '?' ? 1 : 0) -
                                     (figure > '\\' ? 1 : 0));
}

bool IsAscii(wchar_t character) {
    return static_cast<std::uint32_t>(character) < 0x80;
}

constexpr bool IsUpper(wchar_t character) {
    return character >= L'A' && character <= L'Z';
}

constexpr bool IsLetter(wchar_t character) {
    return IsUpper(character) || (character >= L'a' && character <= L'z');
}

constexpr ASCII KindOf(wchar_t character) {
    return IsLetter(character)                      ? LETTER
           : character >= L'0' && character <= L'9' ? DIGIT
           : character <= L' ' || character == 0x7F ? SPACE
                                                    : SIGN;
}

/// Control characters that texts have.
constexpr bool IsLayout(wchar_t character) {
    return (character >= L'\t' && character <= L'\r') || character == L' ';
}

/// Among ASCII, whatever the language.
constexpr unsigned int MakeCostOfAscii(wchar_t character) {
    switch (KindOf(character)) {
    case LETTER:
        return IsUpper(character) ? Tenths(55) : Tenths(33);
    case SPACE:
        return IsLayout(character) ? Tenths(20) : Tenths(120);
    default:
        return Tenths(46);
    }
}

constexpr auto COSTS_OF_ASCII = [] {
    std::array<std::uint8_t, 0x80> costs{};
    for (std::size_t c = 0; c < costs.size(); ++c) {
        costs[c] = static_cast<std::uint8_t>(MakeCostOfAscii(static_cast<wchar_t>(c)));
    }
    return costs;
}();

unsigned int CostOfAscii(wchar_t character) {
    return COSTS_OF_ASCII[static_cast<std::size_t>(character)];
}

/// Of one of its kind.
unsigned int CostWithinKind(wchar_t character) {
    static constexpr unsigned int COSTS[] = {Tenths(3), Tenths(23), Tenths(28), Tenths(34)};
    return character < L' ' && !IsLayout(character) ? Tenths(100) : COSTS[KindOf(character)];
}

/// Of a character that a language's table lacks, which says nothing of how strange it is.
unsigned int CostOfStranger(wchar_t character) {
    static constexpr struct {
        std::uint32_t last;
        unsigned int cost;
    } RANGES[] = {
        {0x9F, Tenths(110)},     // controls
        {0xBF, Tenths(50)},      // signs of Latin 1
        {0x24F, Tenths(70)},     // Latin letters
        {0x36F, Tenths(80)},     // phonetic ones, accents
        {0x1FFF, Tenths(80)},    // other alphabets
        {0x203F, Tenths(45)},    // punctuation
        {0x24FF, Tenths(60)},    // signs
        {0x259F, Tenths(80)},    // boxes and blocks
        {0x27BF, Tenths(70)},    // signs
        {0x2FFF, Tenths(90)},    //
        {0x303F, Tenths(60)},    // punctuation of East Asia
        {0x30FF, Tenths(70)},    // kana
        {0x4DFF, Tenths(90)},    //
        {0xD7FF, Tenths(90)},    // ideographs and syllables
        {0xF8FF, Tenths(130)},   // for private use
        {0xFEFE, Tenths(100)},   // forms of letters
        {0xFFEF, Tenths(90)},    //
        {0x10FFFF, Tenths(120)}, //
    };
    for (const auto& range : RANGES) {
        if (static_cast<std::uint32_t>(character) <= range.last) {
            return range.cost;
        }
    }
    return Tenths(140);
}

/// Signs that texts in any language have, also those without any other character beyond ASCII.
bool IsCommonSign(wchar_t character) {
    static constexpr auto IS_SIGN = [] {
        std::array<bool, 0x2123> is{};
        for (const char16_t sign :
             {u'\u00A0', u'\u00A9', u'\u00AB', u'\u00AE', u'\u00B0', u'\u00B7', u'\u00BB',
              u'\u2013', u'\u2014', u'\u2018', u'\u2019', u'\u201C', u'\u201D', u'\u2022',
              u'\u2026', u'\u20AC', u'\u2122'}) {
            is[sign] = true;
        }
        return is;
    }();
    const auto code = static_cast<std::uint32_t>(character);
    return code < IS_SIGN.size() && IS_SIGN[code];
}

constexpr unsigned int COST_OF_SIGN = Tenths(50);  // at most
constexpr unsigned int COST_BEHIND_IT = Tenths(5); // more than that of ASCII, at most
constexpr unsigned int COST_OF_RARE = Tenths(70); // where tables know thousands, added to the above
constexpr unsigned int COST_OF_STAYING = Tenths(1);
constexpr unsigned int COST_OF_GOING = Tenths(23); // to ASCII

} // namespace

CLanguageModel::CLanguageModel(const LANGUAGE_TABLE& table)
    : __table(table), __hasAlphabet(*table.symbols != 0), __index(PLANE, 0) {
    for (const COST_GROUP& group : table.groups) {
        for (const char16_t* at = group.characters; *at != 0; ++at) {
            __index[*at] = static_cast<std::uint8_t>(group.cost + 1);
        }
    }
    if (!__hasAlphabet) {
        return;
    }
    for (const char16_t* at = table.symbols; *at != 0; ++at) {
        __index[*at] = static_cast<std::uint8_t>(__own++);
    }
    __all = __own + LETTER + (table.isLatin ? LETTERS : 1);
    const char* figure = table.costs;
    for (unsigned int before = 0; before < __all; ++before) {
        __rows.push_back(static_cast<std::uint32_t>(__costs.size()));
        for (unsigned int i = before < __own ? __all : __own; i != 0; --i) {
            __costs.push_back(static_cast<std::uint8_t>(FigureOf(*figure++)));
        }
    }
    for (wchar_t character = 0; character < 0x80; ++character) {
        const ASCII kind = KindOf(character);
        unsigned int symbol = __own + kind;
        if (kind == LETTER && table.isLatin) {
            symbol += IsUpper(character)
                          ? static_cast<unsigned int>(character - L'A')
                          : LETTERS / 2 + static_cast<unsigned int>(character - L'a');
        }
        __index[static_cast<std::size_t>(character)] = static_cast<std::uint8_t>(symbol);
    }
}

unsigned int CLanguageModel::__SymbolOf(wchar_t character) const {
    const auto place = static_cast<std::uint32_t>(character);
    return place < PLANE ? __index[place] : 0;
}

unsigned int CLanguageModel::__CostOfPair(unsigned int before, wchar_t character,
                                          unsigned int symbol) const {
    const unsigned int cost = __costs[__rows[before] + symbol];
    if (symbol == 0) {
        return cost + CostOfStranger(character);
    }
    const bool isOne = symbol < __own || (__table.isLatin && IsLetter(character));
    return isOne ? cost : cost + CostWithinKind(character);
}

unsigned int CLanguageModel::__CostAlone(wchar_t character) const {
    const unsigned int cost = __SymbolOf(character);
    return cost != 0 ? cost - 1 : COST_OF_RARE + CostOfStranger(character);
}

/// Of coming to other characters from ASCII. Scripts that have letters of their own seldom do
/// behind one of ASCII's, and their tables say how seldom.
unsigned int CLanguageModel::__CostOfLeaving(wchar_t ascii) const {
    return !IsLetter(ascii) ? Tenths(20) : __hasAlphabet && !__table.isLatin ? 0 : Tenths(30);
}

/// Of a step that begins or ends beyond ASCII.
unsigned int CLanguageModel::__CostOfStep(wchar_t last, unsigned int before, wchar_t character,
                                          unsigned int symbol) const {
    if (IsAscii(character)) {
        const unsigned int cost = CostOfAscii(character);
        const unsigned int here =
            __hasAlphabet ? __CostOfPair(before, character, symbol) : COST_OF_GOING + cost;
        return IsCommonSign(last) ? std::min(here, cost + COST_BEHIND_IT) : here;
    }
    const unsigned int way = IsAscii(last) ? __CostOfLeaving(last) : 0;
    const unsigned int here = __hasAlphabet
                                  ? __CostOfPair(before, character, symbol)
                                  : __CostAlone(character) + (IsAscii(last) ? 0 : COST_OF_STAYING);
    return way + (IsCommonSign(character) ? std::min(here, COST_OF_SIGN) : here);
}

std::uint64_t CLanguageModel::GetCost(const wchar_t* characters, std::size_t count,
                                      std::uint64_t most) const {
    std::uint64_t cost = 0;
    wchar_t last = L'\n';
    unsigned int before = __SymbolOf(last);
    for (std::size_t i = 0; i < count && cost <= most; ++i) {
        const wchar_t character = characters[i];
        const unsigned int symbol = __hasAlphabet ? __SymbolOf(character) : 0;
        cost += IsAscii(character) && IsAscii(last) ? CostOfAscii(character)
                                                    : __CostOfStep(last, before, character, symbol);
        last = character;
        before = symbol;
    }
    return cost;
}

std::uint64_t CLanguageModel::GetCostOfNoise(std::string_view bytes) {
    constexpr unsigned int COST_OF_BYTE = Tenths(48); // one of 128
    constexpr unsigned int COST_OF_RETURN = Tenths(7);
    std::uint64_t cost = 0;
    wchar_t last = L'\n';
    for (const char byte : bytes) {
        const auto character = static_cast<wchar_t>(static_cast<unsigned char>(byte));
        if (IsAscii(character)) {
            cost += CostOfAscii(character) + (IsAscii(last) ? 0 : COST_OF_RETURN);
        } else {
            cost += COST_OF_BYTE + (!IsAscii(last) ? 0 : IsLetter(last) ? Tenths(30) : Tenths(20));
        }
        last = character;
    }
    return cost;
}

const CLanguageModel* CLanguageModel::Find(std::string_view name) {
    constexpr std::size_t MOST = 64;
    static std::array<std::once_flag, MOST> isMade;
    static std::array<std::unique_ptr<const CLanguageModel>, MOST> models;
    const std::span<const LANGUAGE_TABLE> tables = GetLanguageTables();
    for (std::size_t i = 0; i < tables.size(); ++i) {
        if (name == tables[i].name) {
            std::call_once(isMade[i],
                           [&] { models[i] = std::make_unique<const CLanguageModel>(tables[i]); });
            return models[i].get();
        }
    }
    return nullptr;
}

} // namespace Quil::IMPL
