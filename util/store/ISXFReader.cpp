// The ISXF reader. Everything read goes through `__ReadUpTo`, which never takes one short read for
// the end, and is charged to the bound before.
#include "util/store/ISXFReader.h"

#include "util/store/extended80.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <cstring>

namespace Quil {

namespace {

[[noreturn]] void ThrowNoRoom(const char* getter, const char* reason, std::uint64_t expected,
                              std::uint64_t room) {
    stringEx message("CISXFReader::");
    message << getter << " - overflow: " << reason << "\n  expected size = " << expected
            << "\n  buffer size = " << room;
    throw isxfExp(CISXFBasic::ERROR_OVERRUN, message);
}

} // namespace

// --- Tags ----------------------------------------------------------------------------------------

template <class IO>
CISXFBasic::DATATYPE CISXFReader<IO>::GetNextType() const {
    if (__nextType == NO_TYPE) {
        unsigned char tag = 0;
        __ReadPayload(&tag, sizeof tag);
        __nextType = tag;
    }
    return static_cast<DATATYPE>(__nextType);
}

template <class IO>
bool CISXFReader<IO>::_GetAndVerifyType(DATATYPE expected) const {
    const DATATYPE real = GetNextType();
    __nextType = NO_TYPE;
    if (real != expected && real != TYPE_VOID) {
        stringEx message("CISXFReader::_GetAndVerifyType - wrong data type\n");
        message << "  expected = " << int{expected} << "\n  real     = " << int{real};
        throw isxfExp(ERROR_TYPE, message);
    }
    return real == expected;
}

template <class IO>
void CISXFReader<IO>::_VerifyNotVoid(DATATYPE expected, const char* what) const {
    if (!_GetAndVerifyType(expected)) {
        stringEx message("CISXFReader::");
        throw isxfExp(ERROR_TYPE, message << what << " can't be void");
    }
}

template <class IO>
void CISXFReader<IO>::IgnoreNext() const {
    const DATATYPE type = GetNextType();
    const PAYLOAD payload = _PayloadOf(type);
    switch (payload.kind) {
    case PAYLOAD::UNKNOWN: {
        stringEx message("CISXFReader::IgnoreNext - unknown data type\n");
        throw isxfExp(ERROR_UNKNOWN_TAG, message << "  type = " << int{type});
    }
    case PAYLOAD::TEXT:
        __SkipNBytes(_BeginText(type));
        break;
    case PAYLOAD::FIXED:
        __nextType = NO_TYPE;
        _CheckBound(payload.size);
        __SkipNBytes(payload.size);
        break;
    }
}

// --- Values --------------------------------------------------------------------------------------

template <class IO>
long double CISXFReader<IO>::GetFloat80() const {
    long double value = 0;
    if (_GetAndVerifyType(TYPE_FLOAT80)) {
        unsigned char field[12];
        __ReadPayload(field, sizeof field);
        if constexpr (IMPL::IS_EXTENDED80) {
            std::memcpy(&value, field, IMPL::EXTENDED80_SIZE);
        } else {
            IMPL::EXTENDED80 extended{};
            std::memcpy(&extended.significand, field, sizeof extended.significand);
            std::memcpy(&extended.exponent, field + sizeof extended.significand,
                        sizeof extended.exponent);
            value = IMPL::from_extended80<long double>(extended);
        }
    }
    return value;
}

template <class IO>
void CISXFReader<IO>::GetString(stringEx& text) const {
    __GetText(TYPE_STRING, text, "GetString");
}

template <class IO>
void CISXFReader<IO>::GetWString(wstringEx& text) const {
    __GetText(TYPE_WSTRING, text, "GetWString");
    text.AdjustOnBE();
}

template <class IO>
void CISXFReader<IO>::GetBlob(byteEx& bytes) const {
    __GetText(TYPE_BLOB, bytes, "GetBlob");
}

template <class IO>
unsigned long CISXFReader<IO>::GetString(char* buffer, unsigned long size) const {
    return __GetTextTo(TYPE_STRING, buffer, size, sizeof *buffer, "GetString");
}

template <class IO>
unsigned long CISXFReader<IO>::GetWString(wchar_t* buffer, unsigned long size) const {
    const unsigned long count =
        __GetTextTo(TYPE_WSTRING, buffer, size, sizeof *buffer, "GetWString");
    wstringEx(buffer, static_cast<unsigned int>(count / sizeof *buffer), wstringEx::NOT_OWNER())
        .AdjustOnBE(); // through the view, in place
    return count;
}

template <class IO>
unsigned long CISXFReader<IO>::GetBlob(unsigned char* buffer, unsigned long size) const {
    return __GetTextTo(TYPE_BLOB, buffer, size, sizeof *buffer, "GetBlob");
}

template <class IO>
std::uint32_t CISXFReader<IO>::_BeginText(DATATYPE type) const {
    std::uint32_t size = 0;
    if (_GetAndVerifyType(type)) {
        __ReadPayload(&size, sizeof size);
        _CheckBound(size);
    }
    return size;
}

template <class IO>
unsigned long CISXFReader<IO>::__GetTextTo(DATATYPE type, void* buffer, unsigned long size,
                                           unsigned int elementSize, const char* getter) const {
    const std::uint32_t bytes = _BeginText(type);
    if (buffer == nullptr) {
        __SkipNBytes(bytes);
        return 0;
    }
    if ((std::uint64_t{bytes} + elementSize - 1) / elementSize > size) {
        ThrowNoRoom(getter, "buffer too small", bytes, size);
    }
    return __ReadUpTo(buffer, bytes);
}

/// The room grows by blocks, each as large as what has arrived: a length that is a lie costs at
/// most as much again as the source really holds.
template <class IO>
template <class S>
void CISXFReader<IO>::__GetText(DATATYPE type, S& text, const char* getter) const {
    constexpr unsigned int ELEMENT_SIZE = sizeof(typename S::value_type);
    constexpr std::uint64_t LIMIT = S::max_size() - S::sm_tail;
    const std::uint32_t bytes = _BeginText(type);
    const std::uint64_t length = bytes / ELEMENT_SIZE;
    if (text.is_static()) {
        text = S(); // else it would be written through
    }
    text.clear();
    std::uint64_t block = std::max<std::uint64_t>(__FirstBlock() / ELEMENT_SIZE, 1);
    std::uint64_t got = 0;
    while (got < length) {
        if (got == LIMIT) {
            ThrowNoRoom(getter, "text too long", bytes, LIMIT);
        }
        block = std::min({block, length - got, LIMIT - got});
        text._grow_no_expand(got + block + S::sm_tail);
        const unsigned int count = __ReadUpTo(&text[static_cast<unsigned int>(got)],
                                              static_cast<unsigned int>(block * ELEMENT_SIZE)) /
                                   ELEMENT_SIZE;
        got += count;
        text._eofonly(static_cast<unsigned int>(got));
        if (count < block) {
            return;
        }
        block = got;
    }
    unsigned char odd[ELEMENT_SIZE];
    __ReadUpTo(odd, bytes % ELEMENT_SIZE);
}

/// Bytes to make room for at first: what the source is known to hold, otherwise a fair guess.
template <class IO>
std::uint64_t CISXFReader<IO>::__FirstBlock() const {
    constexpr std::uint64_t BLOCK_SIZE = 65536;
    if constexpr (requires { __io->GetSize() - __io->GetCurrentPos(); }) {
        const CLongLongNative rest = __io->GetSize() - __io->GetCurrentPos();
        return static_cast<std::uint64_t>(std::max(rest, CLongLongNative(0)));
    } else {
        return BLOCK_SIZE;
    }
}

// --- Bytes ---------------------------------------------------------------------------------------

template <class IO>
void CISXFReader<IO>::__ReadPayload(void* payload, unsigned int size) const {
    _CheckBound(size);
    const unsigned int count = __ReadUpTo(payload, size);
    if (count < size) {
        _ThrowShortage(size, count);
    }
}

/// Reads until all is there or the source has no more.
template <class IO>
unsigned int CISXFReader<IO>::__ReadUpTo(void* to, unsigned int size) const {
    unsigned int got = 0;
    while (got < size) {
        const unsigned int count = __io->Read(static_cast<unsigned char*>(to) + got, size - got);
        if (count == 0) {
            break;
        }
        got += count;
    }
    return got;
}

/// Moves on by reading, since a source need not be able to seek.
template <class IO>
void CISXFReader<IO>::__SkipNBytes(std::uint32_t n) const {
    unsigned char scratch[384];
    for (std::uint32_t done = 0; done < n;) {
        const std::uint32_t size = std::min<std::uint32_t>(n - done, sizeof scratch);
        const unsigned int count = __ReadUpTo(scratch, size);
        done += count;
        if (count < size) {
            _ThrowShortage(n, done);
        }
    }
}

template class CISXFReader<TDataSource>;
template class CISXFReader<CByteIO>;

} // namespace Quil
