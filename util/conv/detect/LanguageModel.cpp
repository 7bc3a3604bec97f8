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

constexpr unsigned int Nats(double count) {
    return static_cast<unsigned int>(count * COSTS_A_NAT + 0.5);
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

bool IsUpper(wchar_t character) {
    return character >= L'A' && character <= L'Z';
}

bool IsLetter(wchar_t character) {
    return IsUpper(character) || (character >= L'a' && character <= L'z');
}

ASCII KindOf(wchar_t character) {
    return IsLetter(character)                      ? LETTER
           : character >= L'0' && character <= L'9' ? DIGIT
           : character <= L' ' || character == 0x7F ? SPACE
                                                    : SIGN;
}

/// Control characters that texts have.
bool IsLayout(wchar_t character) {
    return (character >= L'\t' && character <= L'\r') || character == L' ';
}

/// Among ASCII, whatever the language.
unsigned int CostOfAscii(wchar_t character) {
    switch (KindOf(character)) {
    case LETTER:
        return IsUpper(character) ? Nats(5.5) : Nats(3.3);
    case SPACE:
        return IsLayout(character) ? Nats(2) : Nats(12);
    default:
        return Nats(4.6);
    }
}

/// Of one of its kind.
unsigned int CostWithinKind(wchar_t character) {
    static constexpr unsigned int COSTS[] = {Nats(0.3), Nats(2.3), Nats(2.8), Nats(3.4)};
    return character < L' ' && !IsLayout(character) ? Nats(10) : COSTS[KindOf(character)];
}

/// Of a character that a language's table lacks, which says nothing of how strange it is.
unsigned int CostOfStranger(wchar_t character) {
    static constexpr struct {
        std::uint32_t last;
        unsigned int cost;
    } RANGES[] = {
        {0x9F, Nats(11)},     // controls
        {0xBF, Nats(5)},      // signs of Latin 1
        {0x24F, Nats(7)},     // Latin letters
        {0x36F, Nats(8)},     // phonetic ones, accents
        {0x1FFF, Nats(8)},    // other alphabets
        {0x203F, Nats(4.5)},  // punctuation
        {0x24FF, Nats(6)},    // signs
        {0x259F, Nats(8)},    // boxes and blocks
        {0x27BF, Nats(7)},    // signs
        {0x2FFF, Nats(9)},    //
        {0x303F, Nats(6)},    // punctuation of East Asia
        {0x30FF, Nats(7)},    // kana
        {0x4DFF, Nats(9)},    //
        {0xD7FF, Nats(9)},    // ideographs and syllables
        {0xF8FF, Nats(13)},   // for private use
        {0xFEFE, Nats(10)},   // forms of letters
        {0xFFEF, Nats(9)},    //
        {0x10FFFF, Nats(12)}, //
    };
    for (const auto& range : RANGES) {
        if (static_cast<std::uint32_t>(character) <= range.last) {
            return range.cost;
        }
    }
    return Nats(14);
}

/// Signs that texts in any language have, also those without any other character beyond ASCII.
bool IsCommonSign(wchar_t character) {
    static constexpr std::u16string_view SIGNS =
        u"\u00A0\u00A9\u00AB\u00AE\u00B0\u00B7\u00BB\u2013\u2014\u2018\u2019\u201C\u201D\u2022"
        u"\u2026\u20AC\u2122";
    const auto code = static_cast<std::uint32_t>(character);
    return code < PLANE && SIGNS.find(static_cast<char16_t>(code)) != std::u16string_view::npos;
}

constexpr unsigned int COST_OF_SIGN = Nats(5);     // at most
constexpr unsigned int COST_BEHIND_IT = Nats(0.5); // more than that of ASCII, at most
constexpr unsigned int COST_OF_RARE = Nats(7); // where tables know thousands, added to the above
constexpr unsigned int COST_OF_STAYING = Nats(0.1);
constexpr unsigned int COST_OF_GOING = Nats(2.3); // to ASCII

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
    return !IsLetter(ascii) ? Nats(2) : __hasAlphabet && !__table.isLatin ? 0 : Nats(3);
}

unsigned int CLanguageModel::__CostOfStep(wchar_t last, unsigned int before, wchar_t character,
                                          unsigned int symbol) const {
    if (IsAscii(character)) {
        const unsigned int cost = CostOfAscii(character);
        if (IsAscii(last)) {
            return cost;
        }
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

std::uint64_t CLanguageModel::GetCost(const wchar_t* characters, std::size_t count) const {
    std::uint64_t cost = 0;
    wchar_t last = L'\n';
    unsigned int before = __SymbolOf(last);
    for (std::size_t i = 0; i < count; ++i) {
        const wchar_t character = characters[i];
        const unsigned int symbol = __hasAlphabet ? __SymbolOf(character) : 0;
        cost += __CostOfStep(last, before, character, symbol);
        last = character;
        before = symbol;
    }
    return cost;
}

std::uint64_t CLanguageModel::GetCostOfNoise(std::string_view bytes) {
    constexpr unsigned int COST_OF_BYTE = Nats(4.85); // one of 128
    constexpr unsigned int COST_OF_RETURN = Nats(0.7);
    std::uint64_t cost = 0;
    wchar_t last = L'\n';
    for (const char byte : bytes) {
        const auto character = static_cast<wchar_t>(static_cast<unsigned char>(byte));
        if (IsAscii(character)) {
            cost += CostOfAscii(character) + (IsAscii(last) ? 0 : COST_OF_RETURN);
        } else {
            cost += COST_OF_BYTE + (!IsAscii(last) ? 0 : IsLetter(last) ? Nats(3) : Nats(2));
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
