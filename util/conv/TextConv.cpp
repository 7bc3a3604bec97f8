// The plain converter, the converter over the C library, and the factories that pick the best kind.
//
// A factory tries the kinds in turn by making one: iconv, ICU, then what needs no library. A failed
// attempt shows only in that a weaker kind is chosen. The system's encoding and UTF-8 have a
// prototype each, made once, of which every caller gets a clone.

#include "util/conv/TextConv.h"

#include "util/base/LazyStatic.h"
#include "util/conv/TextLibIConv.h"
#include "util/conv/TextLibIcu.h"
#include "util/conv/codec/CharsetCodecs.h"
#include "util/conv/codec/Utf8Conv.h"
#include "util/sys/errhdl.h"

#include <climits>
#include <cwchar>
#include <new>

namespace Quil {

namespace {

constexpr unsigned long UTF8_CODE_PAGE = 65001;
constexpr char UTF8_NAME[] = "UTF-8";

/// The converter for the system's encoding over the C library's functions, which go by the
/// program's locale.
class CIsoSysDefConv final : public TTextConv {
public:
    using TTextConv::MBtoWC;
    using TTextConv::WCtoMB;

    bool IsPlain() const override { return false; }

    wstringEx MBtoWC(const stringEx& src) const override {
        return __Made<wstringEx, stringEx>(&CIsoSysDefConv::MBtoWC, src);
    }

    /// A NUL ends the text and is part of the result. Each byte of a bad or cut sequence gives a
    /// "?".
    void MBtoWC(wstringEx& dst, const stringEx& src) const override {
        dst.clear();
        std::mbstate_t state{};
        const char* const text = src.c_str();
        for (unsigned int pos = 0; pos < src.length();) {
            wchar_t c = 0;
            const std::size_t used = std::mbrtowc(&c, text + pos, src.length() - pos, &state);
            if (used == 0) {
                dst.push_back(L'\0');
                return;
            }
            if (used == INVALID_SEQUENCE || used == INCOMPLETE_SEQUENCE) {
                dst.push_back(L'?');
                ++pos;
                state = std::mbstate_t(); // which may hold bytes that come again
            } else {
                dst.push_back(c);
                pos += static_cast<unsigned int>(used);
            }
        }
    }

    stringEx WCtoMB(const wstringEx& src) const override {
        return __Made<stringEx, wstringEx>(&CIsoSysDefConv::WCtoMB, src);
    }

    void WCtoMB(stringEx& dst, const wstringEx& src) const override {
        dst.clear();
        std::mbstate_t state{};
        const wchar_t* const text = src.c_str();
        for (unsigned int pos = 0; pos < src.length(); ++pos) {
            char bytes[MB_LEN_MAX];
            const std::size_t made = std::wcrtomb(bytes, text[pos], &state);
            if (made == 0 || made == INVALID_SEQUENCE) {
                dst.push_back('?');
            } else {
                dst.append(bytes, static_cast<unsigned int>(made));
            }
        }
    }

private:
    /// What one of the conversions puts into a destination with room for an element each.
    template <class To, class From>
    To __Made(void (CIsoSysDefConv::*convert)(To&, const From&) const, const From& src) const {
        To dst;
        dst.reserve(src.length() + 1);
        (this->*convert)(dst, src);
        return dst;
    }

    static constexpr auto INVALID_SEQUENCE = static_cast<std::size_t>(-1);
    static constexpr auto INCOMPLETE_SEQUENCE = static_cast<std::size_t>(-2);
};

constinit IMPL::CLazyStatic<TTextConv> sysDefPrototype;
constinit IMPL::CLazyStatic<TTextConv> utf8Prototype;

/// What `make` answers, or null if it throws for want of a library or of the encoding in it. Memory
/// or descriptors that ran out say nothing of either, and pass.
template <class Make>
TTextConv* Try(Make make) {
    try {
        return make();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const tconvExp& cause) {
        if (cause.GetErrCode() == TTextConv::OUT_OF_RESOURCES) {
            throw;
        }
    } catch (...) {
        // no converter of this kind
    }
    return nullptr;
}

/// A converter of the kind `Kind` for a name or a code page, or null if there can't be one.
template <class Kind, class Key>
TTextConv* TryMake(const Key& key) {
    return Try([&]() -> TTextConv* { return new Kind(key); });
}

/// By name if there is one, then by code page if there is one.
template <class Kind>
TTextConv* TryMakeFor(unsigned long cp, const stringEx& enc) {
    TTextConv* conv = enc.empty() ? nullptr : TryMake<Kind>(enc);
    if (conv == nullptr && cp != 0) {
        conv = TryMake<Kind>(cp);
    }
    return conv;
}

/// By the best library that knows the encoding; null if none does.
TTextConv* TryMakeByLibrary(unsigned long cp, const stringEx& enc) {
    TTextConv* const conv = TryMakeFor<CTextLibIConv>(cp, enc);
    return conv != nullptr ? conv : TryMakeFor<CTextLibIcu>(cp, enc);
}

TTextConv* MakeSysDefByLibrary() {
    TTextConv* const conv = TryMakeByLibrary(0, TTextConv::GetSysDefaultEnc());
    return conv != nullptr ? conv : new CIsoSysDefConv;
}

TTextConv* MakeUtf8ByLibrary() {
    TTextConv* const conv = TryMakeByLibrary(0, stringEx(UTF8_NAME));
    if (conv != nullptr) {
        return conv;
    }
    return TTextConv::IsSysDefaultUseUtf8() ? new CIsoSysDefConv : new TTextConv;
}

/// Only for what isn't valid UTF-8 a library is looked for.
TTextConv* MakeSysDefPrototype() {
    return IMPL::NamesUtf8(TTextConv::GetSysDefaultEnc()) ? new IMPL::CUtf8Conv(MakeSysDefByLibrary)
                                                          : MakeSysDefByLibrary();
}

TTextConv* MakeUtf8Prototype() {
    return new IMPL::CUtf8Conv(MakeUtf8ByLibrary);
}

/// A clone of the prototype; of the kind `Fallback` when there can't be one.
template <class Fallback>
CTextConvHandle CloneOr(const TTextConv& prototype) {
    TTextConv* const clone = Try([&] { return prototype.Clone(); });
    return CTextConvHandle(clone != nullptr ? clone : new Fallback);
}

} // namespace

TTextConv* TTextConv::New(unsigned long /*cp*/) const {
    return new TTextConv;
}

TTextConv* TTextConv::New(const stringEx& /*enc*/) const {
    return new TTextConv;
}

TTextConv* TTextConv::Clone() const {
    return new TTextConv;
}

wstringEx TTextConv::MBtoWC(const stringEx& src) const {
    return src.to_wstr();
}

void TTextConv::MBtoWC(wstringEx& dst, const stringEx& src) const {
    dst.from_str(src);
}

stringEx TTextConv::WCtoMB(const wstringEx& src) const {
    return src.to_str();
}

void TTextConv::WCtoMB(stringEx& dst, const wstringEx& src) const {
    dst.from_wstr(src);
}

CTextConvHandle GainBestSysDefConv() {
    return CloneOr<CIsoSysDefConv>(sysDefPrototype.Get(MakeSysDefPrototype));
}

CTextConvHandle GainBestUTF8Conv() {
    return CloneOr<TTextConv>(utf8Prototype.Get(MakeUtf8Prototype));
}

CTextConvHandle GainBestConvFor(unsigned long cp, const stringEx& enc) {
    // The system's code page is never 0, so a code page that isn't given costs no look-up.
    if ((cp != 0 && cp == TTextConv::GetSysDefaultCP()) ||
        enc.equal_no_case(TTextConv::GetSysDefaultEnc())) {
        return GainBestSysDefConv();
    }
    if (cp == UTF8_CODE_PAGE || enc.equal_no_case(UTF8_NAME)) {
        return GainBestUTF8Conv();
    }
    TTextConv* const conv = TryMakeByLibrary(cp, enc);
    return CTextConvHandle(conv != nullptr ? conv : new TTextConv);
}

void EnsureConvFound(const CTextConvHandle& conv, const stringEx& enc) {
    if (conv->IsPlain() && !enc.equal_no_case(TTextConv::GetSysDefaultEnc())) {
        const CTextLibIConv attempt(enc);
    }
}

} // namespace Quil
