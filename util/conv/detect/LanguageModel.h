// How likely a text is in a language.
//
// The model is that of a writer who puts ASCII and the language's own characters one behind the
// other: ASCII behind ASCII as everybody does, all else as the language's table says. So a file
// that is mostly program or markup is judged by its few other characters, and a reading that makes
// one character of three bytes is fairly measured beside another that makes three.
#pragma once

#include "util/conv/detect/language_tables.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Quil::IMPL {

/// Once made, any thread may ask it.
class CLanguageModel {
public:
    explicit CLanguageModel(const LANGUAGE_TABLE& table);

    /// The cost of a text, in the units of the tables, or if that is more than `most` something
    /// more than that. `characters` are Unicode's, in 32 bits each.
    std::uint64_t GetCost(const wchar_t* characters, std::size_t count, std::uint64_t most) const;

    /// What bytes cost beyond ASCII that mean nothing at all: no reading of a text should cost
    /// more.
    static std::uint64_t GetCostOfNoise(std::string_view bytes);

    /// The model of the name, or null. Models are made when they are first asked for, and stay.
    static const CLanguageModel* Find(std::string_view name);

private:
    unsigned int __SymbolOf(wchar_t character) const;
    unsigned int __CostOfStep(wchar_t last, unsigned int before, wchar_t character,
                              unsigned int symbol) const;
    unsigned int __CostOfPair(unsigned int before, wchar_t character, unsigned int symbol) const;
    unsigned int __CostOfLeaving(wchar_t ascii) const;
    unsigned int __CostAlone(wchar_t character) const;

    const LANGUAGE_TABLE& __table;
    bool __hasAlphabet;
    unsigned int __own = 1; ///< symbols beyond ASCII: the first stands for all that have no other
    unsigned int __all = 0; ///< symbols
    /// By character: its symbol, or where there is no alphabet its cost.
    std::vector<std::uint8_t> __index;
    std::vector<std::uint8_t> __costs; ///< by the one before and the symbol
    std::vector<std::uint32_t> __rows; ///< where a symbol's costs begin
};

} // namespace Quil::IMPL
