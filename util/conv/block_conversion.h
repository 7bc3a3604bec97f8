// Conversion of a long text by blocks that stay in the cache: a decoder that fills a window of wide
// characters, and an encoder that empties one. The whole wide text, four times as large as its
// bytes and fresh memory all of it, is never made.
//
// What complicates it: the results must be those of a conversion at once. The descriptors keep
// their state from block to block, a sequence that a block's end cuts is not an error, and where
// the library alone encodes it gets the same pieces of the text in both ways.
#pragma once

#include "util/base/visibility.h"
#include "util/conv/TextConv.h"
#include "util/conv/loss.h"

#include <cstddef>
#include <memory>

namespace QUIL_PUBLIC Quil {

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

    /// Makes room for as many characters again.
    void Grow();
    bool HasRoom() const { return !IsFull(); }

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

/// Whether a converter, which CanGoByBlocks, is known to keep nothing from character to character.
bool IsStateless(const TTextConv& converter);

/// What becomes of what can't be taken over: "?"; the same, and the line of the first is told; or
/// it is kept.
enum class UNFIT { REPLACE, TELL_LINE, KEEP };

/// Convert a whole text at once and answer what was lost, as far as that can be told: not by
/// converters which don't go by blocks.
LOSS DecodeWhole(const TTextConv& converter, wstringEx& dst, const stringEx& src);
LOSS EncodeWhole(const TTextConv& converter, stringEx& dst, const wstringEx& src);

/// Decodes texts by blocks, by a converter of its own. For one thread.
class CBlockDecoder {
public:
    /// The length of a text that has no end yet.
    static constexpr std::size_t sm_unknownLength = 0;

    /// A decoder for the charset of `converter`, which CanGoByBlocks and stays as long as this.
    explicit CBlockDecoder(const TTextConv& converter, UNFIT unfit = UNFIT::REPLACE);
    CBlockDecoder(const CBlockDecoder&) = delete;
    CBlockDecoder& operator=(const CBlockDecoder&) = delete;
    ~CBlockDecoder();

    /// Begins a text of about `length` bytes, whose characters go into `window`, which is emptied.
    /// Of a text of unknown length the first part goes through the library, until a codec pays.
    void Start(CWideWindow& window, std::size_t length);

    /// Decodes the next bytes until the window is full or they end. Answers how many; those that
    /// are left come again, with more behind them. Unless `isLast`, a sequence that their end cuts
    /// is left too.
    std::size_t Fill(const char* bytes, std::size_t length, bool isLast);

    /// What was lost of the text so far, in bytes.
    LOSS GetLoss() const;
    /// Characters that the text has given so far.
    std::uint64_t GetCharacters() const;

private:
    struct STATE;

    std::unique_ptr<STATE> __state;
};

/// Encodes texts by blocks, by a converter and into a string of its own. For one thread.
class CBlockEncoder {
public:
    /// As for the decoder.
    static constexpr std::size_t sm_unknownLength = CBlockDecoder::sm_unknownLength;

    /// An encoder for the charset of `converter`, which CanGoByBlocks and stays as long as this.
    explicit CBlockEncoder(const TTextConv& converter, UNFIT unfit = UNFIT::REPLACE);
    CBlockEncoder(const CBlockEncoder&) = delete;
    CBlockEncoder& operator=(const CBlockEncoder&) = delete;
    ~CBlockEncoder();

    /// Begins a text, of which about `length` characters are expected.
    void Start(std::size_t length);

    /// The bytes of the window's characters, good until the next call. The characters are taken
    /// away; unless `isLast` some may stay for the next time.
    const stringEx& Encode(CWideWindow& window, bool isLast);

    /// What was lost of the text so far, in characters.
    LOSS GetLoss() const;

    /// Bytes that a character becomes at most, escapes of the charset counted in.
    std::size_t GetMostBytes() const;

private:
    struct STATE;

    std::unique_ptr<STATE> __state;
};

} // namespace Quil
