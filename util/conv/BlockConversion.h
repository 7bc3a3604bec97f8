// Conversion of a long text by blocks that stay in the cache: a decoder that fills a window of wide
// characters, and an encoder that empties one. The whole wide text, four times as large as its
// bytes and fresh memory all of it, is never made.
//
// What complicates it: the results must be those of a conversion at once. The descriptors keep
// their state from block to block, a sequence that a block's end cuts is not an error, and where
// the library alone encodes it gets the same pieces of the text in both ways.
#pragma once

#include "util/conv/ConvOutput.h"
#include "util/conv/TextLibIConv.h"
#include "util/conv/backend/IconvWay.h"

#include <memory>
#include <optional>

namespace Quil {

/// Wide characters that are taken from the front and put behind the end. A converter's output in
/// the meaning of CIconvStepper.
class CWideWindow {
public:
    using ELEMENT = wchar_t;

    /// Characters in a window unless more are asked for: twice what an encoder wants to see.
    static constexpr std::size_t sm_usualSize = std::size_t{32} << 10;

    explicit CWideWindow(std::size_t size = sm_usualSize)
        : __characters(std::make_unique_for_overwrite<wchar_t[]>(size)), __size(size) {}

    const wchar_t* Data() const { return __characters.get(); }
    std::size_t Length() const { return __length; }
    void Clear() { __length = 0; }

    /// Takes the first `count` characters away; the rest moves to the front.
    void Drop(std::size_t count);

    /// Appends as many of the characters as there is room for. Answers how many.
    std::size_t Put(const wchar_t* characters, std::size_t count);

    // The output of a converter.

    wchar_t* Reserve(std::size_t /*room*/, std::size_t /*done*/, std::size_t /*total*/) {
        return __characters.get() + __length;
    }
    std::size_t GetRoom() const { return __size - __length; }
    bool IsFull() const { return GetRoom() < sm_leastRoom; }
    void Advance(std::size_t count) { __length += count; }
    void Append(wchar_t character) { __characters[__length++] = character; }

private:
    /// What one call on a library may need at least.
    static constexpr std::size_t sm_leastRoom = 64;

    std::unique_ptr<wchar_t[]> __characters;
    std::size_t __size;
    std::size_t __length = 0;
};

/// Whether a converter's texts can go by blocks with the same result: through the C library's iconv
/// they can.
bool CanGoByBlocks(const TTextConv& converter);

/// A converter like another one, made when it is first needed.
class CLazyClone {
public:
    /// `original` goes by iconv. It must stay as long as this.
    explicit CLazyClone(const TTextConv& original)
        : __original(dynamic_cast<const CTextLibIConv&>(original)) {}

    const CTextLibIConv& Get();

private:
    const CTextLibIConv& __original;
    std::unique_ptr<const TTextConv> __clone;
};

/// Decodes texts by blocks, by a converter of its own. For one thread.
class CBlockDecoder {
public:
    /// A decoder for the charset of `converter`, which CanGoByBlocks and stays as long as this.
    explicit CBlockDecoder(const TTextConv& converter);

    /// Begins with a text, which must stay until it is decoded. From now on the characters are put
    /// into `window`.
    void Start(CWideWindow& window, const char* text, std::size_t length);

    /// Decodes until the window is full or the text ends.
    void Fill();

    /// True once all of the text is decoded.
    bool IsAtEnd() const { return __stepper->IsAtEnd(); }
    /// The bytes decoded so far, and all of them.
    std::size_t GetPos() const { return __stepper->GetPos(); }
    std::size_t GetLength() const { return __stepper->GetLength(); }

private:
    CLazyClone __converter;
    CWideWindow* __window = nullptr;
    std::optional<IMPL::DECODING_WAY> __way;
    std::optional<IMPL::CIconvStepper<char, CWideWindow>> __stepper;
};

/// Encodes texts by blocks, by a converter and into a string of its own. For one thread.
class CBlockEncoder {
public:
    /// An encoder for the charset of `converter`, which CanGoByBlocks and stays as long as this.
    explicit CBlockEncoder(const TTextConv& converter);

    /// Begins with a text, of which about `length` characters are expected. The string's block is
    /// used again unless somebody else still holds it.
    void Start(std::size_t length);

    /// Puts some bytes into the result as they are.
    void PutBytes(const char* bytes, std::size_t count);

    /// Encodes the window's characters and takes them away; while more are to come some may stay.
    /// `done` of `total` tells which part of the text the result before this call was, as the
    /// measure of how much is to come.
    void Encode(CWideWindow& window, bool isEnd, std::size_t done, std::size_t total);

    /// The result so far.
    const stringEx& Finish();

    /// Goes on with the text in an empty string: the result so far has been used.
    void Restart() { __output->Restart(); }

private:
    /// A string that grows by the progress of the whole text, of which a window is but a part.
    class COutput : public IMPL::CConvOutput<stringEx> {
    public:
        using IMPL::CConvOutput<stringEx>::CConvOutput;

        void SetProgress(std::size_t done, std::size_t total) {
            __done = done;
            __total = total;
        }
        char* Reserve(std::size_t room, std::size_t /*done*/, std::size_t /*total*/) {
            return IMPL::CConvOutput<stringEx>::Reserve(room, __done, __total);
        }

    private:
        std::size_t __done = 0;
        std::size_t __total = 0;
    };

    CLazyClone __converter;
    std::optional<IMPL::ENCODING_WAY> __way;
    stringEx __result;
    std::optional<COutput> __output; ///< to the string above
    std::optional<IMPL::CIconvStepper<wchar_t, COutput>> __stepper;
};

} // namespace Quil
