// The ConvStr family: conversions for the library's own use, by two converters that each thread
// keeps.
//
// A converter has state and a lock, so a thread makes its own on first use and finds them in its
// record from then on. When the system's encoding is UTF-8 one converter serves as both, and
// conversions between narrow texts are mere copies.

#include "util/text/ConvStr.h"

#include "util/base/LazyStatic.h"
#include "util/base/tls.h"
#include "util/conv/TextConv.h"

#include <memory>

namespace Quil {

namespace {

/// A thread's converters; empty handles until they are needed.
struct THREAD_RECORD {
    CTextConvHandle sysConv;
    CTextConvHandle utf8Conv;
};

constinit IMPL::CLazyStatic<CTlsSlot> tlsSlot;

/// The slot that holds each thread's record.
CTlsSlot& TlsBuffer() {
    return tlsSlot.Get([] { return new CTlsSlot; });
}

THREAD_RECORD& GetThreadRecord() {
    CTlsSlot& slot = TlsBuffer();
    auto* record = static_cast<THREAD_RECORD*>(slot.GetValue());
    if (record == nullptr) {
        auto fresh = std::make_unique<THREAD_RECORD>();
        slot.SetValue(fresh.get());
        record = fresh.release();
    }
    return *record;
}

/// The converter in `wanted`, filled if it is empty: from `other` where both mean the same
/// encoding, else by the factory.
TTextConv* GetOrGain(CTextConvHandle& wanted, const CTextConvHandle& other,
                     CTextConvHandle (*gain)()) {
    if (!wanted) {
        wanted = other && TTextConv::IsSysDefaultUseUtf8() ? other : gain();
    }
    return wanted.get();
}

/// The thread's converter for the system's encoding, owned by its record.
TTextConv* GetTlsSysConv() {
    THREAD_RECORD& record = GetThreadRecord();
    return GetOrGain(record.sysConv, record.utf8Conv, GainBestSysDefConv);
}

/// The thread's converter for UTF-8, owned by its record.
TTextConv* GetTlsUtf8Conv() {
    THREAD_RECORD& record = GetThreadRecord();
    return GetOrGain(record.utf8Conv, record.sysConv, GainBestUTF8Conv);
}

using GET_CONV = TTextConv* (*)();

void Decode(wstringEx& dst, const stringEx& src, GET_CONV getConv) {
    try {
        getConv()->MBtoWC(dst, src);
    } catch (...) {
        dst = src.to_wstr();
    }
}

void Encode(stringEx& dst, const wstringEx& src, GET_CONV getConv) {
    try {
        getConv()->WCtoMB(dst, src);
    } catch (...) {
        dst = src.to_str();
    }
}

/// Narrow to narrow by way of `scratch`. The source is given as it is when it can't be converted.
void Recode(stringEx& dst, const stringEx& src, wstringEx& scratch, GET_CONV getFrom,
            GET_CONV getTo) {
    // `dst` may be `src`, which then changes under the conversion.
    const stringEx source(src); // NOLINT(performance-unnecessary-copy-initialization)
    try {
        if (TTextConv::IsSysDefaultUseUtf8()) {
            dst = source;
            return;
        }
        getFrom()->MBtoWC(scratch, source);
        getTo()->WCtoMB(dst, scratch);
    } catch (...) {
        dst = source;
    }
}

/// The same by a scratch text of its own.
void Recode(stringEx& dst, const stringEx& src, GET_CONV getFrom, GET_CONV getTo) {
    wstringEx scratch;
    Recode(dst, src, scratch, getFrom, getTo);
}

/// What one of the conversions puts into its destination.
template <class To, class From>
To Made(void (*convert)(To&, const From&), const From& src) {
    To dst;
    convert(dst, src);
    return dst;
}

} // namespace

void ConvStrUToW(wstringEx& dst, const stringEx& src) {
    Decode(dst, src, GetTlsUtf8Conv);
}

void ConvStrSToW(wstringEx& dst, const stringEx& src) {
    Decode(dst, src, GetTlsSysConv);
}

void ConvStrSToU(stringEx& dst, const wstringEx& src) {
    Encode(dst, src, GetTlsUtf8Conv);
}

void ConvStrSToM(stringEx& dst, const wstringEx& src) {
    Encode(dst, src, GetTlsSysConv);
}

void ConvStrSToT(stringEx& dst, const wstringEx& src) {
    Encode(dst, src, GetTlsSysConv);
}

void ConvStrSToT(stringEx& dst, const stringEx& src) {
    dst = src;
}

void ConvStrUToM(stringEx& dst, const stringEx& src, wstringEx& scratch) {
    Recode(dst, src, scratch, GetTlsUtf8Conv, GetTlsSysConv);
}

void ConvStrUToT(stringEx& dst, const stringEx& src, wstringEx& scratch) {
    Recode(dst, src, scratch, GetTlsUtf8Conv, GetTlsSysConv);
}

void ConvStrSToU(stringEx& dst, const stringEx& src, wstringEx& scratch) {
    Recode(dst, src, scratch, GetTlsSysConv, GetTlsUtf8Conv);
}

void ConvStrUToM(stringEx& dst, const stringEx& src) {
    Recode(dst, src, GetTlsUtf8Conv, GetTlsSysConv);
}

void ConvStrUToT(stringEx& dst, const stringEx& src) {
    Recode(dst, src, GetTlsUtf8Conv, GetTlsSysConv);
}

void ConvStrSToU(stringEx& dst, const stringEx& src) {
    Recode(dst, src, GetTlsSysConv, GetTlsUtf8Conv);
}

wstringEx ConvStrUToW(const stringEx& src) {
    return Made<wstringEx, stringEx>(ConvStrUToW, src);
}

wstringEx ConvStrSToW(const stringEx& src) {
    return Made<wstringEx, stringEx>(ConvStrSToW, src);
}

stringEx ConvStrSToU(const wstringEx& src) {
    return Made<stringEx, wstringEx>(ConvStrSToU, src);
}

stringEx ConvStrSToM(const wstringEx& src) {
    return Made<stringEx, wstringEx>(ConvStrSToM, src);
}

stringEx ConvStrSToT(const wstringEx& src) {
    return Made<stringEx, wstringEx>(ConvStrSToT, src);
}

stringEx ConvStrSToT(const stringEx& src) {
    return src;
}

stringEx ConvStrUToM(const stringEx& src) {
    return Made<stringEx, stringEx>(ConvStrUToM, src);
}

stringEx ConvStrUToT(const stringEx& src) {
    return Made<stringEx, stringEx>(ConvStrUToT, src);
}

stringEx ConvStrSToU(const stringEx& src) {
    return Made<stringEx, stringEx>(ConvStrSToU, src);
}

void ConvStrFreeTls() {
    CTlsSlot& slot = TlsBuffer();
    const auto* const record = static_cast<THREAD_RECORD*>(slot.GetValue());
    if (record == nullptr) {
        return;
    }
    slot.SetValue(nullptr); // first, so that nothing finds the record while it goes
    try {
        delete record;
    } catch (...) {
        // a library that can't close its descriptor is no reason to fail at a thread's end
    }
}

} // namespace Quil
