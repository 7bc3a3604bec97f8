// One direction of a conversion through an iconv library: the loop that hands the text over and
// deals with what can't be converted.
#pragma once

#include "util/conv/backend/ConvOutput.h"
#include "util/conv/loss.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <type_traits>

namespace Quil::IMPL {

/// The library's convert function.
using ICONV_CONVERT = std::size_t (*)(void*, char**, std::size_t*, char**, std::size_t*);

constexpr auto ICONV_FAILURE = static_cast<std::size_t>(-1);

/// How much of a text goes to the library at once, in elements of the source and of the target.
///
/// After an error the library may start over at the head of what it was handed, so an unbounded
/// piece would make a text with many errors quadratic. A piece smaller than some thousand
/// characters would change what encoders with shift sequences write.
struct ICONV_PIECES {
    std::size_t source;
    std::size_t target;
};

/// Steps through a source text of `Source` elements (char or wchar_t), writing elements of the
/// other kind to an output such as CConvOutput. The descriptor is the caller's, who holds its lock.
template <class Source, class Output>
class CIconvStepper {
public:
    CIconvStepper(ICONV_CONVERT convert, void* descriptor, const Source* src, std::size_t length,
                  Output& output)
        : __convert(convert), __descriptor(descriptor), __src(src), __length(length),
          __output(output) {
        __Reset();
    }

    /// Goes on with the same text where it lies now: what was not read so far, and maybe more.
    /// Unless `isLast`, still more is to come behind it.
    void Rebase(const Source* src, std::size_t length, bool isLast) {
        __base += __pos;
        __src = src;
        __length = length;
        __pos = 0;
        __isLast = isLast;
        __isCut = false;
    }

    bool IsAtEnd() const { return __pos == __length; }
    /// True if what is left begins a sequence that goes on in what is still to come.
    bool IsCut() const { return __isCut; }
    std::size_t GetPos() const { return __pos; }
    std::size_t GetLength() const { return __length; }
    const Source* GetRest() const { return __src + __pos; }
    std::size_t GetRestLength() const { return __length - __pos; }

    /// Keeps what isn't in the charset, by wide characters that stand for bytes, instead of putting
    /// "?" for it.
    void KeepBytes() { __keepsBytes = true; }
    /// What was lost of the text so far.
    const LOSS& GetLoss() const { return __loss; }

    /// Moves on by source elements that were converted without the library.
    void Skip(std::size_t count) { __pos += count; }

    /// Makes one call on the library. An error counts only when the call gave no output: "?" then
    /// stands for the source element at hand. An error after some output comes again at once.
    void Step(const ICONV_PIECES& pieces) {
        const std::size_t rest = GetRestLength();
        const std::size_t piece =
            __BeforeKept(std::min(rest, std::max(pieces.source, __leastPiece)));
        if (piece == 0) {
            __Replace();
            return;
        }
        const std::size_t room = __ReserveRoom(pieces.target, piece);

        // The library doesn't write to its input; its interface merely lacks the const.
        char* in = const_cast<char*>(reinterpret_cast<const char*>(GetRest()));
        std::size_t inLeft = piece * sizeof(Source);
        char* out = reinterpret_cast<char*>(__output.Reserve(0, __pos, __length));
        std::size_t outLeft = room * sizeof(ELEMENT);
        const std::size_t result = __convert(__descriptor, &in, &inLeft, &out, &outLeft);

        const std::size_t read = piece - std::min(inLeft / sizeof(Source), piece);
        const std::size_t written = room - outLeft / sizeof(ELEMENT);
        __pos += read;
        __output.Advance(written);
        if (written != 0 || (result != ICONV_FAILURE && read != 0)) {
            __leastPiece = 0;
        } else if (result == ICONV_FAILURE && errno == EINVAL && piece < rest) {
            // Not the end of the text, only of the piece: the sequence goes on behind it.
            __leastPiece = read != 0 ? 0 : 2 * piece;
        } else if (result == ICONV_FAILURE && errno == EINVAL && !__isLast) {
            __isCut = true;
        } else {
            __Replace();
        }
    }

private:
    using ELEMENT = typename Output::ELEMENT;

    /// What an escape sequence and a character can need at most, with a good margin: a call with
    /// this room fails for want of room only after it gave output.
    static constexpr std::size_t sm_leastRoom = 64;

    /// Forgets what an earlier text held back; nothing of that belongs to this one.
    void __Reset() {
        char discarded[sm_leastRoom * sizeof(wchar_t)];
        char* out = discarded;
        std::size_t outLeft = sizeof discarded;
        __convert(__descriptor, nullptr, nullptr, &out, &outLeft);
    }

    /// Sees to room for this call, no more than the piece is likely to fill, and answers how much
    /// of it the call may use.
    std::size_t __ReserveRoom(std::size_t most, std::size_t piece) {
        const std::size_t wanted = std::min(most, piece + sm_leastRoom);
        __output.Reserve(wanted, __pos, __length);
        return std::min(most, __output.GetRoom());
    }

    /// Puts "?" for the source element at hand, or keeps it.
    void __Replace() {
        __output.Reserve(1, __pos, __length);
        ELEMENT element = static_cast<ELEMENT>('?');
        if (!__keepsBytes || IsAtEnd() || !__Keep(*GetRest(), element)) {
            __loss.Add(__base + __pos, IsAtEnd() ? 0 : __CodeOf(*GetRest()));
        }
        __output.Append(element);
        __pos += std::min<std::size_t>(1, GetRestLength());
    }

    /// So many elements, or those in front of the first one that stands for a byte: libraries may
    /// have their own idea of characters outside Unicode.
    std::size_t __BeforeKept(std::size_t count) const {
        if constexpr (std::is_same_v<Source, wchar_t>) {
            if (__keepsBytes) {
                return static_cast<std::size_t>(
                    std::find_if(GetRest(), GetRest() + count, IsKeptByte) - GetRest());
            }
        }
        return count;
    }

    static std::uint32_t __CodeOf(char source) { return static_cast<unsigned char>(source); }
    static std::uint32_t __CodeOf(wchar_t source) { return static_cast<std::uint32_t>(source); }

    static bool __Keep(Source source, ELEMENT& element) {
        if constexpr (std::is_same_v<Source, char>) {
            element = KeptByte(source);
            return true;
        } else if (IsKeptByte(source)) {
            element = ByteOfKept(source);
            return true;
        }
        return false;
    }

    ICONV_CONVERT __convert;
    void* __descriptor;
    const Source* __src;
    std::size_t __length;
    std::size_t __pos = 0;
    std::size_t __leastPiece = 0;
    bool __isLast = true;
    bool __isCut = false;
    bool __keepsBytes = false;
    std::uint64_t __base = 0; ///< elements in front of what lies at hand
    LOSS __loss;
    Output& __output;
};

} // namespace Quil::IMPL
