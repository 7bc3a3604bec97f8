// Both directions of a converter by iconv, and how a text goes in each of them: by a codec where
// there is one for the charset, and in pieces of which size through the library.
#pragma once

#include "util/conv/backend/iconv_way.h"
#include "util/conv/codec/CharsetCodecs.h"

#include <cstddef>
#include <functional>

namespace Quil::IMPL {

/// How the next text of a converter goes, for who feeds it piece by piece: the result is that of a
/// conversion at once. The ways are good for one text, and serve whoever owns the converter and is
/// the only one to use it.
class IBlockWays {
public:
    virtual ~IBlockWays() = default;

    /// @param length  about how many elements the text has
    virtual DECODING_WAY ToWide(std::size_t length) = 0;
    virtual ENCODING_WAY FromWide(std::size_t length) = 0;

    /// Whether it is known that nothing is kept from character to character: a text may go in
    /// pieces of any size, and by a codec from any place on.
    virtual bool IsStateless() = 0;
};

/// Whether a text in the charset tells its order of bytes by a mark. The C library's decoder goes
/// by the last mark that it came by, whatever is done to have it forget the text before.
bool RemembersOrder(const stringEx& name);

/// The ways through an iconv library. For one thread at a time.
class CIconvWays final : public IBlockWays {
public:
    /// Opens the descriptor that decodes anew.
    using REOPEN = std::function<void*()>;

    /// @param name  the charset, by which its codecs are found
    /// @param toWide, fromWide  the descriptors, which the caller keeps open
    /// @param isLibiconv  the library drops what it can't convert by itself
    /// @param reopen  for each text but the first, if the charset's order is remembered
    CIconvWays(const stringEx& name, ICONV_CONVERT convert, void* toWide, void* fromWide,
               bool isLibiconv, REOPEN reopen);

    DECODING_WAY ToWide(std::size_t length) override;
    ENCODING_WAY FromWide(std::size_t length) override;
    bool IsStateless() override { return __codecs.IsStateless(); }

    /// Whether texts may be fed piece by piece. What a library drops by itself may depend on the
    /// piece that it gets.
    bool CanGoByBlocks() const { return !__isLibiconv; }

    /// Sends all text through the library.
    void DropCodecs() { __codecs = CCharsetCodecs(); }

private:
    ICONV_CONVERT __convert;
    void* __toWide;
    void* __fromWide;
    bool __isLibiconv;
    REOPEN __reopen; ///< Empty where no text shows in the next.
    bool __isUsed = false;
    CCharsetCodecs __codecs;
};

} // namespace Quil::IMPL
