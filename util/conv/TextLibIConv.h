// The converter over an iconv library, found at run time.
//
// The first converter looks for the library: the one at the location set, else libiconv, else the C
// library's own functions in the running program. From then on it stays. Text goes through the
// library in large steps, straight into the destination's block; the plain part of a text in the
// common charsets goes by codecs.
#pragma once

#include "util/base/visibility.h"
#include "util/conv/TextLib.h"

#include <memory>

namespace QUIL_PUBLIC Quil {

namespace IMPL {
class CIconvWays;
}

/// A converter by iconv. It owns two conversion descriptors, which each conversion resets.
///
/// A byte that can't be decoded gives "?" and so does each byte of a sequence cut short by the end
/// of the text; a character that the encoding lacks gives one "?" byte. With a libiconv the library
/// drops most of these by itself. At the end of a text nothing is flushed: a stateful encoding gets
/// no closing shift sequence.
class CTextLibIConv final : public TTextLib<CTextLibIConv> {
public:
    /// A converter for an encoding's name as the library knows it; failing that for the library's
    /// own name of it, or for "CPn" with the code page n of the catalogue. Throws tconvExp for a
    /// name that neither knows, libiconvExp with code 3 when there is no library or the name of the
    /// catalogue serves neither. An empty name, or one without a letter or digit, names nothing:
    /// the library would take it for the locale's encoding.
    explicit CTextLibIConv(const stringEx& enc);

    /// A converter for a code page: for "CPn", failing that for the catalogue's name of it. Throws
    /// libiconvExp with code 3.
    explicit CTextLibIConv(unsigned long cp);

    /// Closes both descriptors; throws libiconvExp with code 5 if the library refuses, unless
    /// another exception is in flight.
    ~CTextLibIConv() noexcept(false) override;

    /// As UseLibraryOnly as this one.
    TTextConv* Clone() const override;

    bool IsUtf8() const override;
    /// Null with a libiconv, which drops bad input by itself.
    IMPL::IBlockWays* GetBlockWays() const override;

    /// Sends all text through the library, the valid too. The result is the same, only slower: a
    /// check of one road against the other. Not to be changed while another thread converts.
    void UseLibraryOnly(bool only = true);

    /// True if a library is loaded or can be.
    static bool IsExternalDependencyReady();

    /// The library's file, for the next attempt to load it; a loaded one stays. Empty: search.
    static void SetExternalDependencyLocation(const stringEx& path);

private:
    class Global;

    void _Decode(wstringEx& dst, const stringEx& src) const override;
    void _Encode(stringEx& dst, const wstringEx& src) const override;

    bool __OpenToWide(const stringEx& name);
    bool __OpenKnownAs(const stringEx& name);
    bool __OpenFromWide();
    void* __OpenDecoder() const;

    void* __toWide;
    void* __fromWide;
    std::unique_ptr<IMPL::CIconvWays> __ways;
    bool __usesLibraryOnly = false;
};

} // namespace Quil
