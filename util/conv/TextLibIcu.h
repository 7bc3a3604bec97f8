// The converter over ICU's common library, found at run time: the second choice, for encodings that
// iconv doesn't know and machines without one.
//
// ICU converts by way of 16-bit units, and so does this: each unit becomes one wide character and
// the other way round. Wide text from here is UTF-16 in 32-bit cells.
#pragma once

#include "util/base/visibility.h"
#include "util/conv/TextLib.h"

namespace QUIL_PUBLIC Quil {

/// A converter by ICU. It owns ICU's converter object.
///
/// Bad input gives ICU's substitution character. A wide character above U+FFFF loses its upper
/// bits. A text of more than 2^31 - 1 units throws libicuExp with code 4, as does a failing
/// conversion.
class CTextLibIcu final : public TTextLib<CTextLibIcu> {
public:
    /// A converter for an encoding's name as ICU knows it; failing that for "windows-n" with the
    /// code page n of the catalogue. Throws tconvExp for a name that neither knows, libicuExp with
    /// code 3 when there is no library or the code page doesn't serve either.
    explicit CTextLibIcu(const stringEx& enc);

    /// A converter for a code page: for "windows-n", failing that for the catalogue's name of it.
    /// Throws libicuExp with code 3.
    explicit CTextLibIcu(unsigned long cp);

    ~CTextLibIcu() noexcept(false) override;

    /// True if a library is loaded or can be.
    static bool IsExternalDependencyReady();

    /// The library's file, for the next attempt to load it; a loaded one stays. Empty: search.
    static void SetExternalDependencyLocation(const stringEx& path);

    /// The library's version for the next attempt to load it, as digits: "38" means the file
    /// libicuuc.so.38, whose functions end in _3_8. With the version left at its default and no
    /// location, newer versions, whose functions end in _NN, are looked for when that one is
    /// missing.
    static void SetDefaultLibVersion(const stringEx& version);

private:
    class Global;

    void _Decode(wstringEx& dst, const stringEx& src) const override;
    void _Encode(stringEx& dst, const wstringEx& src) const override;

    bool __Open(const stringEx& name, int& error);

    void* __converter;
};

} // namespace Quil
