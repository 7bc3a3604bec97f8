// Finds out what charset a text is in, from its bytes alone.
//
// What proves itself goes first: a byte-order mark, ASCII, valid UTF-8, escape sequences, the zeros
// of UTF-16. What is left is bytes that many charsets could mean, and the text itself must tell:
// each candidate reads it, the readings that don't decode are out, and of the others the one whose
// characters are the likeliest in a language wins. How far it is ahead is the confidence.
//
//     Quil::TTextDetect detect;
//     const Quil::TEXT_FINDING found = detect.Detect(bytes, true);
//     if (found.kind == Quil::TEXT_FINDING::TEXT && found.confidence >= 70) {
//         text = Quil::GainBestConvFor(0, found.charset)->MBtoWC(bytes);
//     }
#pragma once

#include "util/base/visibility.h"
#include "util/conv/TextConv.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace QUIL_PUBLIC Quil {

/// What is found out of a text.
struct TEXT_FINDING {
    enum KIND {
        EMPTY,
        BINARY,  ///< it has what no text has: zeros, many control characters
        UNKNOWN, ///< text, but no candidate reads it
        TEXT,
    };
    enum LINE_ENDS { NO_ENDS, LF, CRLF, CR, MIXED };

    KIND kind = EMPTY;
    stringEx charset;            ///< of a TEXT: a name that the converters know, such as "CP1252"
    unsigned int confidence = 0; ///< that it is this one, from 0 to 100
    stringEx second;             ///< the next likely, if it is likely at all
    unsigned int secondConfidence = 0;
    std::size_t markLength = 0; ///< bytes of its byte-order mark
    LINE_ENDS lineEnds = NO_ENDS;
    /// Where the first byte is that the charset can't take, if there is one: the text changes its
    /// charset there, or is damaged.
    std::optional<std::uint64_t> undecoded{};
};

/// Looks at texts, one after the other, and keeps the converters that it needed. For one thread.
class TTextDetect {
public:
    /// Decides between these charsets; without any, between those that are usual where the locale's
    /// language is spoken, and where that says nothing (C, en), between all that are known. What
    /// proves itself needs no candidate, but for escape sequences, which a text in ASCII may hold
    /// by chance. Throws what EnsureConvFound throws for a name that no converter knows.
    explicit TTextDetect(const std::vector<stringEx>& candidates = {});
    TTextDetect(const TTextDetect&) = delete;
    TTextDetect& operator=(const TTextDetect&) = delete;
    ~TTextDetect();

    /// What the text is in. Unless it `isWhole`, more comes behind it, and a character that its end
    /// cuts means nothing. All of it is looked at, which takes some milliseconds a megabyte.
    TEXT_FINDING Detect(std::string_view text, bool isWhole);

    /// The names of the charsets that the class decides between for a language ("ja", "zh_TW"); all
    /// for one that isn't known.
    static std::vector<stringEx> GetCandidates(const stringEx& language);

private:
    struct STATE;

    std::unique_ptr<STATE> __state;
};

} // namespace Quil
