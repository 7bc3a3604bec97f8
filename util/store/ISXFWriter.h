// The ISXF writer: one `Append` for each type of value. `ISXFBasic.h` tells what a stream is.
#pragma once

#include "util/base/visibility.h"
#include "util/file/ByteIO.h"
#include "util/file/data_object.h"
#include "util/store/ISXFBasic.h"
#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace QUIL_PUBLIC Quil {

/// Writes typed values to a sink, `TDataSink`, or to memory, `CByteIO`.
///
/// The I/O object belongs to the caller and must outlive the writer; both belong to one thread.
/// What the I/O object throws passes through. A value that doesn't fit into what the bound leaves
/// throws `isxfExp`, code 2, before any of it is written. What a short write leaves is written by
/// further ones; a sink that takes nothing more throws `isxfExp`, code 2, amid the value.
template <class IO>
class CISXFWriter : public CISXFBasic {
public:
    /// `bound` is the number of bytes that may be written, or `NO_BOUND`.
    explicit CISXFWriter(IO& sink, const CLongLongNative& bound = NO_BOUND)
        : CISXFBasic(bound), __io(&sink) {}

    bool IsValid() const { return __io->IsValid(); }
    IO& GetIoObj() const { return *__io; }

    // Plain data. What is zero, false or empty is written as void. (Floats: -0.0 too.)

    void AppendVoid() { __AppendTag(TYPE_VOID); }
    void AppendByte(unsigned char value) { __AppendPlain(TYPE_BYTE, value); }
    void AppendWord(unsigned short value) { __AppendPlain(TYPE_WORD, value); }
    /// The low 32 bits.
    void AppendDWord(unsigned long value) { __AppendPlain(TYPE_DWORD, __Low32(value)); }
    void AppendQWord(const CULongLongNative& value) { __AppendPlain(TYPE_QWORD, value.Value()); }
    void AppendFloat32(float value) { __AppendPlain(TYPE_FLOAT32, value); }
    void AppendFloat64(const double& value) { __AppendPlain(TYPE_FLOAT64, value); }
    void AppendFloat80(const long double& value);
    void AppendBool(bool value) { __AppendTag(value ? TYPE_BOOL : TYPE_VOID); }

    // Texts. Lengths are in elements; null reads as empty. A text of more than 4 GiB - 1 bytes,
    // which the stream has no length for, throws `isxfExp`, code 2.

    void AppendString(const char* text, unsigned long length) {
        __AppendText(TYPE_STRING, text, length);
    }
    void AppendString(const stringEx& text) { AppendString(text.data(), text.length()); }
    /// The platform's default text, which is the narrow one.
    void AppendTString(const char* text, unsigned long length) { AppendString(text, length); }
    void AppendTString(const stringEx& text) { AppendString(text); }
    void AppendWString(const wchar_t* text, unsigned long length);
    void AppendWString(const wstringEx& text) { AppendWString(text.data(), text.length()); }
    void AppendBlob(const unsigned char* bytes, unsigned long length) {
        __AppendText(TYPE_BLOB, bytes, length);
    }
    void AppendBlob(const byteEx& bytes) { AppendBlob(bytes.data(), bytes.length()); }

    // Structure: written in full, whatever the value. Of an `unsigned long` the low 32 bits.

    void AppendCtrlCode(unsigned char value) { __Append(TYPE_CTRL_CODE, value); }
    void AppendSegNumber(unsigned short value) { __Append(TYPE_SEG_NUMBER, value); }
    void AppendBigSegNumber(unsigned long value) { __Append(TYPE_BIG_SEG_NUMBER, __Low32(value)); }
    void AppendEofSeg() { __AppendTag(TYPE_EOF_SEG); }
    void AppendEofBigSeg() { __AppendTag(TYPE_EOF_BIG_SEG); }
    void AppendEnum(unsigned long value) { __Append(TYPE_ENUM, __Low32(value)); }
    void AppendSmallEnum(unsigned char value) { __Append(TYPE_SMALL_ENUM, value); }
    void AppendID(unsigned long value) { __Append(TYPE_ID, __Low32(value)); }
    void AppendSmallID(unsigned short value) { __Append(TYPE_SMALL_ID, value); }
    void AppendTinyID(unsigned char value) { __Append(TYPE_TINY_ID, value); }
    void AppendBigID(const CULongLongNative& value) { __Append(TYPE_BIG_ID, value.Value()); }
    void AppendSize(unsigned long value) { __Append(TYPE_SIZE, __Low32(value)); }
    void AppendBigSize(const CULongLongNative& value) { __Append(TYPE_BIG_SIZE, value.Value()); }
    void AppendCommand(unsigned long value) { __Append(TYPE_COMMAND, __Low32(value)); }
    void AppendCompactCommand(unsigned short value) { __Append(TYPE_COMPACT_COMMAND, value); }
    void AppendVersion(unsigned short value) { __Append(TYPE_VERSION, value); }
    void AppendSmallVersion(unsigned char value) { __Append(TYPE_SMALL_VERSION, value); }

private:
    static constexpr std::uint32_t __Low32(unsigned long value) {
        return static_cast<std::uint32_t>(value);
    }

    template <class T>
    void __Append(DATATYPE type, const T& value) {
        __AppendValue(type, &value, sizeof value);
    }
    template <class T>
    void __AppendPlain(DATATYPE type, const T& value) {
        if (value == T(0)) {
            AppendVoid();
        } else {
            __Append(type, value);
        }
    }
    template <class T>
    void __AppendText(DATATYPE type, const T* elements, std::uint64_t length);
    void __AppendTag(DATATYPE type) { __AppendValue(type, nullptr, 0); }
    void __AppendValue(DATATYPE type, const void* payload, unsigned int size);
    void __WriteTag(DATATYPE type);
    void __Write(const void* data, unsigned int size);

    IO* __io;
};

extern template class CISXFWriter<TDataSink>;
extern template class CISXFWriter<CByteIO>;

} // namespace Quil
