// Conversion of a long text by blocks that stay in the cache: a decoder that fills a window of wide
// characters, and an encoder that empties one. The whole wide text, four times as large as its
// bytes and fresh memory all of it, is never made.
//
// What complicates it: the results must be those of a conversion at once. The descriptors keep
// their state from block to block, a sequence that a block's end cuts is not an error, and where
// the library alone encodes it gets the same pieces of the text in both ways.
#pragma once

#include "util/conv/TextConv.h"

#include <cstddef>
#include <memory>

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

/// Decodes texts by blocks, by a converter of its own. For one thread.
class CBlockDecoder {
public:
    /// A decoder for the charset of `converter`, which CanGoByBlocks and stays as long as this.
    explicit CBlockDecoder(const TTextConv& converter);
    CBlockDecoder(const CBlockDecoder&) = delete;
    CBlockDecoder& operator=(const CBlockDecoder&) = delete;
    ~CBlockDecoder();

    /// Begins with a text, which must stay until it is decoded. From now on the characters are put
    /// into `window`.
    void Start(CWideWindow& window, const char* text, std::size_t length);

    /// Decodes until the window is full or the text ends.
    void Fill();

    /// True once all of the text is decoded.
    bool IsAtEnd() const;
    /// The bytes decoded so far, and all of them.
    std::size_t GetPos() const;
    std::size_t GetLength() const;

private:
    struct STATE;

    std::unique_ptr<STATE> __state;
};

/// Encodes texts by blocks, by a converter and into a string of its own. For one thread.
class CBlockEncoder {
public:
    /// An encoder for the charset of `converter`, which CanGoByBlocks and stays as long as this.
    explicit CBlockEncoder(const TTextConv& converter);
    CBlockEncoder(const CBlockEncoder&) = delete;
    CBlockEncoder& operator=(const CBlockEncoder&) = delete;
    ~CBlockEncoder();

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
    void Restart();

private:
    struct STATE;

    std::unique_ptr<STATE> __state;
};

} // namespace Quil
