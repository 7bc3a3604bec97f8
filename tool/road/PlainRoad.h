// The road for everything: decode the whole input, replace in the wide text, encode the result.
#pragma once

#include "tool/road/road.h"

namespace Quil {

/// Serves every run. An input or output whose encoding is one of the raw wide names is a dump of
/// 32-bit characters and passes no converter.
class CPlainRoad final : public IRoad {
public:
    explicit CPlainRoad(Run& run) : __run(run) {}

    std::optional<unsigned long> Replace(byteEx& raw) override;
    const byteEx& Encode() override;
    void Print() override;

private:
    void __Decode(byteEx& raw);
    unsigned long __FindAndReplace();

    Run& __run;
    wstringEx __text;    ///< the current input, then its result
    wstringEx __scratch; ///< where the expanding form builds a result
    byteEx __bytes;
};

} // namespace Quil
