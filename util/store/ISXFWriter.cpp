// The ISXF writer: the bound is charged for tag and payload at once, so that a value is written
// whole or not at all.
#include "util/store/ISXFWriter.h"

#include "util/store/extended80.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace Quil {

namespace {

[[noreturn]] void ThrowTextTooLong(std::uint64_t bytes, std::uint64_t limit) {
    stringEx message("CISXFWriter::__AppendText - overflow: text too long\n");
    message << "  expected size = " << bytes << "\n  size limit    = " << limit;
    throw isxfExp(CISXFBasic::ERROR_OVERRUN, message);
}

} // namespace

template <class IO>
void CISXFWriter<IO>::AppendFloat80(const long double& value) {
    if (value == 0) {
        AppendVoid();
        return;
    }
    unsigned char field[12] = {};
    if constexpr (IMPL::IS_EXTENDED80) {
        std::memcpy(field, &value, IMPL::EXTENDED80_SIZE); // the padding behind has no meaning
    } else {
        const IMPL::EXTENDED80 extended = IMPL::to_extended80(value);
        std::memcpy(field, &extended.significand, sizeof extended.significand);
        std::memcpy(field + sizeof extended.significand, &extended.exponent,
                    sizeof extended.exponent);
    }
    __AppendValue(TYPE_FLOAT80, field, sizeof field);
}

template <class IO>
void CISXFWriter<IO>::AppendWString(const wchar_t* text, unsigned long length) {
    if constexpr (std::endian::native == std::endian::big) {
        wstringEx ordered(text, static_cast<unsigned int>(length));
        ordered.AdjustOnBE();
        __AppendText(TYPE_WSTRING, ordered.data(), length);
    } else {
        __AppendText(TYPE_WSTRING, text, length);
    }
}

template <class IO>
template <class T>
void CISXFWriter<IO>::__AppendText(DATATYPE type, const T* elements, std::uint64_t length) {
    constexpr std::uint64_t LIMIT = std::numeric_limits<std::uint32_t>::max();
    if (elements == nullptr || length == 0) {
        AppendVoid();
        return;
    }
    if (length > LIMIT / sizeof(T)) {
        ThrowTextTooLong(length, LIMIT / sizeof(T));
    }
    const auto size = static_cast<std::uint32_t>(length * sizeof(T));
    _CheckBound(sizeof type + sizeof size + std::uint64_t{size});
    __WriteTag(type);
    __Write(&size, sizeof size);
    __Write(elements, size);
}

template <class IO>
void CISXFWriter<IO>::__AppendValue(DATATYPE type, const void* payload, unsigned int size) {
    _CheckBound(sizeof type + std::uint64_t{size});
    __WriteTag(type);
    if (size != 0) {
        __Write(payload, size);
    }
}

template <class IO>
void CISXFWriter<IO>::__WriteTag(DATATYPE type) {
    __Write(&type, sizeof type);
}

/// A sink may take less than it is given, as files do. One that takes nothing has ended.
template <class IO>
void CISXFWriter<IO>::__Write(const void* data, unsigned int size) {
    const auto* const bytes = static_cast<const unsigned char*>(data);
    for (unsigned int done = 0; done < size;) {
        const unsigned int count = __io->Write(bytes + done, size - done);
        if (count == 0) {
            _ThrowShortage(size, done);
        }
        done += std::min(count, size - done);
    }
}

template class CISXFWriter<TDataSink>;
template class CISXFWriter<CByteIO>;

} // namespace Quil
