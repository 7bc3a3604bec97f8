// UTF-8 without a library, as long as the text is valid.
//
// Most programs and most of their texts need no more, and finding a library costs more than a small
// text. What complicates it: libraries differ on what isn't valid, so such a text is still the
// best library's, which is looked for when the first one comes.
#pragma once

#include "util/conv/TextConv.h"
#include "util/sys/mutex.h"

#include <memory>

namespace Quil::IMPL {

/// A converter for UTF-8. Any thread may use it, and each its own.
class CUtf8Conv final : public TTextConv {
public:
    /// Answers a new converter for whatever isn't valid; it may throw.
    using MAKE = TTextConv* (*)();

    explicit CUtf8Conv(MAKE make) : __make(make) {}

    using TTextConv::MBtoWC;
    using TTextConv::WCtoMB;

    TTextConv* Clone() const override { return new CUtf8Conv(__make); }
    wstringEx MBtoWC(const stringEx& src) const override;
    void MBtoWC(wstringEx& dst, const stringEx& src) const override;
    stringEx WCtoMB(const wstringEx& src) const override;
    void WCtoMB(stringEx& dst, const wstringEx& src) const override;

    bool IsPlain() const override { return false; }
    bool IsUtf8() const override { return true; }
    /// Those of the library: it is looked for now.
    IBlockWays* GetBlockWays() const override { return __GetLibrary().GetBlockWays(); }

private:
    const TTextConv& __GetLibrary() const;

    MAKE __make;
    mutable CFastMutex __mutex; ///< over the next one until it is there
    mutable std::unique_ptr<const TTextConv> __library;
};

} // namespace Quil::IMPL
