// ISXF, the library's binary serialisation: what its writer and its readers share.
//
// A stream is a flat row of values: a tag of one byte, then the payload that the tag calls for. No
// frame, no schema: the reader asks for what the writer wrote, or steps over it.
//
// Tags come in two kinds. Plain data that is zero, false or empty is written as the single tag
// Void, so that records of mostly default values stay small. Structure (ids, sizes, versions,
// commands, segment marks; tags from 0x80 on) is always written in full: a zero id is an id.
//
// Payloads are in the host's byte order, which is little-endian here; the elements of a wide text
// are 32 bits and little-endian everywhere.
#pragma once

#include "util/base/visibility.h"
#include "util/file/longlong.h"

#include <cstdint>
#include <limits>

namespace QUIL_PUBLIC Quil {

/// The tags, and the bound: how many bytes of the stream a writer or reader may still use.
class CISXFBasic {
public:
    /// The tags. Readers may answer values that are not among these, as they stood in the stream.
    enum DATATYPE : unsigned char {
        TYPE_VOID = 0x00,
        TYPE_BYTE = 0x01,
        TYPE_WORD = 0x02,
        TYPE_DWORD = 0x03,
        TYPE_QWORD = 0x05,
        TYPE_FLOAT32 = 0x06,
        TYPE_FLOAT64 = 0x07,
        TYPE_FLOAT80 = 0x08, ///< the ten bytes of the x87 format and two zeros
        TYPE_BOOL = 0x09,    ///< no payload: the tag means true
        TYPE_STRING = 0x0A,  ///< the three texts: a length in bytes (32 bits), then the bytes
        TYPE_WSTRING = 0x0B,
        TYPE_BLOB = 0x0C,

        TYPE_CTRL_CODE = 0x80,
        TYPE_SEG_NUMBER = 0x81,
        TYPE_ENUM = 0x82,
        TYPE_ID = 0x83,
        TYPE_SIZE = 0x84,
        TYPE_BIG_SIZE = 0x85,
        TYPE_COMMAND = 0x86,
        TYPE_BIG_ID = 0x87,
        TYPE_SMALL_ID = 0x88,
        TYPE_TINY_ID = 0x89,
        TYPE_SMALL_ENUM = 0x8A,
        TYPE_SMALL_VERSION = 0x8B,
        TYPE_VERSION = 0x8C,
        TYPE_EOF_SEG = 0x8D,
        TYPE_BIG_SEG_NUMBER = 0x8E,
        TYPE_EOF_BIG_SEG = 0x8F,
        TYPE_COMPACT_COMMAND = 0x90
    };

    /// What failed, as the code of an `isxfExp`.
    enum ERROR : unsigned int {
        ERROR_TYPE = 1,    ///< another type than asked for, or a void where there is none
        ERROR_OVERRUN = 2, ///< past the bound, the source's end or the room
        ERROR_UNKNOWN_TAG = 3
    };

    /// As a bound: no limit. A bound of 0 is not that: it lets nothing through.
    static constexpr CLongLongNative NO_BOUND{std::numeric_limits<std::int64_t>::min()};

protected:
    /// What follows a tag.
    struct PAYLOAD {
        enum KIND { FIXED, TEXT, UNKNOWN } kind;
        unsigned int size; ///< bytes of a fixed payload
    };

    explicit CISXFBasic(const CLongLongNative& bound) : _bound(bound) {}
    ~CISXFBasic() = default;

    /// Takes `n` bytes off the bound, before anything is read or written. When they are too many
    /// the bound becomes 0 and `isxfExp` is thrown.
    void _CheckBound(std::uint64_t n) const;
    /// For a source or a sink that ended after `got` of `n` bytes: the bound becomes 0, since
    /// nothing can follow, and the error is that of a bound which stood there.
    [[noreturn]] void _ThrowShortage(std::uint64_t n, std::uint64_t got) const;

    static PAYLOAD _PayloadOf(DATATYPE type);

    /// Bytes left; mutable since a reader counts down while it is constant to its user.
    mutable CLongLongNative _bound;

private:
    [[noreturn]] void __ThrowOverrun(std::uint64_t n, const CLongLongNative& rest) const;
};

} // namespace Quil
