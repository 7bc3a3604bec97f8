// The short road for UTF-8: a literal is found on the bytes themselves, and nothing is decoded.
//
// What complicates it: bytes that aren't valid UTF-8 are the converter's to judge, so an input that
// has any goes the plain road; and without regard to case a letter outside ASCII may stand for one
// inside, so an input that has such a letter does too.
#pragma once

#include "tool/road.h"

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
    bool __Takes(byteEx& raw) const;
    template <class Fold>
    void __Find();
    void __ReplaceExpression();
    void __Build();
    const byteEx& __Result();

    const Run& __run;
    std::unique_ptr<IRoad> __plain;
    byteEx __find;
    byteEx __replacement;
    std::vector<byteEx> __foreign; ///< letters outside ASCII that fold to one of the literal's

    bool __isPlain = false; ///< the last input went the plain road
    byteEx __raw;
    unsigned int __begin = 0;            ///< of the text in `__raw`, behind its byte-order mark
    std::vector<unsigned int> __matches; ///< where the literal was found
    unsigned long __count = 0;
    bool __isBuilt = false;
    byteEx __result;
};

} // namespace Quil
