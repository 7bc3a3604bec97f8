// The short road for UTF-8: a literal is found on the bytes themselves, and so is an expression in
// ASCII; elsewhere blocks of lines are decoded for an expression that is local to lines.
//
// What complicates it: bytes that aren't valid UTF-8 are the converter's to judge, so an input that
// has any goes the plain road; and without regard to case a letter outside ASCII may stand for one
// inside, so an input that has such a letter does too.
#pragma once

#include "tool/road/LineBlocks.h"
#include "tool/road/road.h"

#include <vector>

namespace Quil {

/// Serves runs that look for a literal or an expression in UTF-8 and write UTF-8.
class CUtf8Road final : public IRoad {
public:
    /// Whether the road's results are those of the plain road on valid inputs of this run.
    static bool CanServe(const Run& run);

    /// `plain` takes the inputs that aren't valid.
    CUtf8Road(const Run& run, std::unique_ptr<IRoad> plain);

    std::optional<unsigned long> Replace(byteEx& raw) override;
    const byteEx& Encode() override;
    void Print() override;

private:
    bool __Takes(byteEx& raw);
    template <class Fold>
    unsigned long __ReplaceLiteral();
    unsigned long __ReplaceExpression();

    const Run& __run;
    std::unique_ptr<IRoad> __plain;
    byteEx __find;
    byteEx __replacement;
    std::vector<byteEx> __foreign; ///< letters outside ASCII that fold to one of the literal's

    CRegexReplacer __replacer;
    CLineBlocks __lines;
    bool __takesLines; ///< the expression may be searched line by line

    bool __isAscii = false; ///< the last input, where an expression is looked for
    bool __isPlain = false; ///< the last input went the plain road
    byteEx __result;        ///< the last input with its matches replaced
    byteEx __room;          ///< where the next result is built that is longer than its input
};

} // namespace Quil
