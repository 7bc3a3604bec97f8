// Converters between narrow text in some charset encoding and wide text, and what the library knows
// about encodings.
//
// A converter is an object for one encoding with two operations, MBtoWC and WCtoMB. Which library
// does the work is settled when it is made: the factories below try iconv, then ICU, then the C
// library, and always answer an object on which the calls work. The catalogue (names, code pages,
// conversions that lose nothing) is independent of them all.
#pragma once

#include "util/base/handle.h"
#include "util/base/visibility.h"
#include "util/text/ConvStr.h"

#include <set>

namespace QUIL_PUBLIC Quil {

namespace IMPL {

class IBlockWays;

/// Frees the cursor of an enumeration of encodings.
template <class T>
struct TConvEncCkDeletor {
    void operator()(void* cookie) const noexcept { T::__ReleaseEncCookie(cookie); }
};

/// Frees the cursor of an enumeration of compatibility groups.
template <class T>
struct TConvCmpCkDeletor {
    void operator()(void* cookie) const noexcept { T::__ReleaseCmpCookie(cookie); }
};

} // namespace IMPL

/// A converter for one encoding, and in its static part the catalogue of encodings.
///
/// The class itself is the plain converter, which widens and narrows element by element and so is
/// right for ASCII only; the factories fall back on it when nothing else works. A conversion never
/// reports bad input: what can't be converted gives a "?" or the library's own substitute. One
/// object may be used by several threads, each conversion holding the object's lock, but an object
/// a thread is faster. A destructor may throw when the library can't close a descriptor.
///
/// Names of encodings are matched without regard to case. A name "CPn" stands for code page n.
class TTextConv {
public:
    /// What is known of an encoding.
    struct ENCINFO {
        unsigned long codePage = 0;
        stringEx description;
        bool rightToLeft = false;
    };

    /// Code of the exception of a converter that can't be made because the process ran out of
    /// something, such as descriptors, though the encoding may be known. Out of memory may also
    /// show as std::bad_alloc.
    static constexpr unsigned int OUT_OF_RESOURCES = 6;

    using NAME_SET = std::set<stringEx, less_no_case<stringEx>>;

    /// A group of conversions that lose nothing. In a mutual group each member of `from` converts
    /// to each other one and `to` isn't used; otherwise each of `from` converts to each of `to`,
    /// and an empty set stands for any encoding.
    struct COMPENC_INFO {
        NAME_SET from;
        NAME_SET to;
        bool mutual = false;
        stringEx name;
    };

    using ENC_COOKIE = CHandle<void, IMPL::TConvEncCkDeletor<TTextConv>, CAtomicINT32, 0>;
    using CMP_COOKIE = CHandle<void, IMPL::TConvCmpCkDeletor<TTextConv>, CAtomicINT32, 0>;

    TTextConv() = default;
    TTextConv(const TTextConv&) = delete;
    TTextConv& operator=(const TTextConv&) = delete;
    virtual ~TTextConv() noexcept(false) {}

    /// A new converter of the same kind for a code page or an encoding. The caller owns it. The
    /// library's kinds throw when they don't know the encoding; the plain kind makes a plain one.
    virtual TTextConv* New(unsigned long cp) const;
    virtual TTextConv* New(const stringEx& enc) const;
    /// A new converter for the same encoding, owned by the caller.
    virtual TTextConv* Clone() const;

    /// Decodes `src`.
    virtual wstringEx MBtoWC(const stringEx& src) const;
    /// Decodes `src` into `dst`, whose block is used again when it is large enough.
    virtual void MBtoWC(wstringEx& dst, const stringEx& src) const;
    /// Encodes `src`.
    virtual stringEx WCtoMB(const wstringEx& src) const;
    /// Encodes `src` into `dst`, whose block is used again when it is large enough.
    virtual void WCtoMB(stringEx& dst, const wstringEx& src) const;

    // What a converter says of itself.

    /// True if it is but the plain converter, which knows no encoding.
    virtual bool IsPlain() const { return true; }
    /// True if strictly valid UTF-8 decodes to its characters, an element each, and these encode to
    /// the same bytes. False also where that isn't known.
    virtual bool IsUtf8() const { return false; }
    /// The ways by which its texts can go piece by piece with the same result; null if they must be
    /// converted at once. For who owns the converter (see block_conversion.h) and alone uses it.
    virtual IMPL::IBlockWays* GetBlockWays() const { return nullptr; }

    /// Decodes text of the library's own narrow type.
    wstringEx TtoWC(const stringEx& src) const { return MBtoWC(src); }

    /// What is known of an encoding; the reference is good until the process ends. A name that is
    /// not in the catalogue throws tconvExp with code 2.
    static const ENCINFO& GetEncInfo(stringEx name);

    /// The code page of an encoding. "CPn" answers n without a look-up, whether or not there is
    /// such a code page; any other name that is not in the catalogue throws tconvExp with code 1.
    static unsigned long EncToCP(const stringEx& name);

    /// The first name, in the catalogue's order, that has the code page; "CPn" if none has.
    static stringEx CPToEnc(unsigned long cp);

    /// The name "CPn" of a code page, whether or not there is such a code page.
    static stringEx CPToNumericName(unsigned long cp);

    /// True if a conversion is known to lose nothing. `group`, unless null, gets the name of the
    /// first group that says so, and is left alone otherwise. Members are compared by the names as
    /// given: "CP936" is a member of no group although it is GBK, and an encoding converts to
    /// itself only if some group says so. Never throws.
    static bool CouldConv(const stringEx& from, const stringEx& to, stringEx* group);
    static bool CouldConv(unsigned long from, unsigned long to, stringEx* group);

    /// Gives one encoding a call, in the order of names. An empty cookie starts. At the end the
    /// cookie is emptied, `name` and `info` are cleared and the answer is false.
    static bool EnumEncoding(ENC_COOKIE& cookie, stringEx& name, ENCINFO& info);

    /// Gives one compatibility group a call, in the same manner.
    static bool EnumCompatibleCata(CMP_COOKIE& cookie, COMPENC_INFO& info);

    static void __ReleaseEncCookie(void* cookie) noexcept;
    static void __ReleaseCmpCookie(void* cookie) noexcept;

    /// The encoding of the user's locale under the platform's name, which need not be in the
    /// catalogue; "ASCII" if it can't be told. This value and those below are read once.
    static stringEx GetSysDefaultEnc();
    /// Its code page; 20127 (ASCII) when the name is not in the catalogue.
    static unsigned long GetSysDefaultCP();
    /// The user's language and country, such as "en_US". LANG goes before LC_CTYPE and LC_ALL: what
    /// is asked is the user's language, which the others may override for one program's sake.
    static stringEx GetSysDefaultCanonicalLocaleName();
    /// True if the encoding of the user's locale is UTF-8.
    static bool IsSysDefaultUseUtf8();
};

/// Shared ownership of a converter.
using CTextConvHandle = CHandle<TTextConv, GuardedDeletor<TTextConv>, CAtomicINT32, 0>;

// The factories answer a converter whatever libraries there are and whatever they know. They throw
// only when the process runs out of memory or descriptors: a weaker converter would then turn text
// that the better one knows into "?".

/// A converter for the encoding of the user's locale.
CTextConvHandle GainBestSysDefConv();

/// A converter for UTF-8.
CTextConvHandle GainBestUTF8Conv();

/// The best converter for an encoding that works on this machine: by iconv, else by ICU, by name
/// before code page. `cp` 0 and an empty `enc` mean not given. When nothing knows the encoding the
/// answer is a plain TTextConv (see EnsureConvFound).
CTextConvHandle GainBestConvFor(unsigned long cp, const stringEx& enc);

/// Throws if `conv`, which GainBestConvFor(0, enc) gave, is but the plain converter because nothing
/// knows the encoding: what is thrown is the exception of making iconv's converter for that name
/// (libiconvExp, or tconvExp for a name outside the catalogue). The name of the user's locale
/// always passes, since a program must run in any locale.
void EnsureConvFound(const CTextConvHandle& conv, const stringEx& enc);

} // namespace Quil
