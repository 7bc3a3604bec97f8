// What the converters over a library have in common, whichever it is: they are made anew by their
// own constructors, keep the name that they were opened with, and convert under a lock.
#pragma once

#include "util/base/visibility.h"
#include "util/conv/TextConv.h"
#include "util/sys/advSync.h"
#include "util/sys/mutex.h"

namespace QUIL_PUBLIC Quil {

/// The base of the converters of class `Conv`, which has a constructor for a code page and one for
/// a name. What a library opens to convert has state: each conversion holds the object's lock, so
/// any thread may call.
template <class Conv>
class TTextLib : public TTextConv {
public:
    TTextConv* New(unsigned long cp) const override { return new Conv(cp); }
    TTextConv* New(const stringEx& enc) const override { return new Conv(enc); }
    /// A converter for the name with which this one was opened.
    TTextConv* Clone() const override { return new Conv(_enc); }

    wstringEx MBtoWC(const stringEx& src) const override {
        wstringEx dst;
        MBtoWC(dst, src);
        return dst;
    }
    void MBtoWC(wstringEx& dst, const stringEx& src) const override {
        CFastSessionLock lock(__mutex);
        _Decode(dst, src);
    }
    stringEx WCtoMB(const wstringEx& src) const override {
        stringEx dst;
        WCtoMB(dst, src);
        return dst;
    }
    void WCtoMB(stringEx& dst, const wstringEx& src) const override {
        CFastSessionLock lock(__mutex);
        _Encode(dst, src);
    }

    bool IsPlain() const override { return false; }

protected:
    /// The conversions, which only one thread at a time enters.
    virtual void _Decode(wstringEx& dst, const stringEx& src) const = 0;
    virtual void _Encode(stringEx& dst, const wstringEx& src) const = 0;

    stringEx _enc; ///< The name that was really opened.

private:
    mutable CFastMutex __mutex;
};

} // namespace Quil
