// The ISXF reader: one `Get` for each type of value, and one tag of look-ahead. `ISXFBasic.h` tells
// what a stream is.
//
// A stream may be anything: no length in it is believed before the bytes are there. Room for a text
// grows as its data arrive, and what the source ends in the middle of is an error, never a value
// made up of old memory.
#pragma once

#include "util/base/visibility.h"
#include "util/file/ByteIO.h"
#include "util/file/data_object.h"
#include "util/store/ISXFBasic.h"
#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace QUIL_PUBLIC Quil {

/// Reads typed values from a source, `TDataSource`, or from memory, `CByteIO`.
///
/// The I/O object belongs to the caller and must outlive the reader; both belong to one thread.
/// Reading is const and yet moves on.
///
/// Failures throw `isxfExp`. Code 1: the value is of another type; its tag is consumed, so there is
/// no going on. There is no widening: a Word is not read as a DWord. Code 2: past the bound, or the
/// source ended within a tag, a length or a number; from then on the bound is 0. (A text that the
/// source ends in is no failure: what came of it is the result.) What the I/O object throws passes
/// through.
template <class IO>
class CISXFReader : public CISXFBasic {
public:
    /// `bound` is the number of bytes that may be read, or `NO_BOUND`.
    explicit CISXFReader(const IO& source, const CLongLongNative& bound = NO_BOUND)
        : CISXFBasic(bound), __io(&source) {}

    bool IsValid() const { return __io->IsValid(); }
    const IO& GetIoObj() const { return *__io; }
    /// The bound is used up or the source is at its end. The tag that a look-ahead holds is not
    /// counted: with a void in hand as the last value, this is true already.
    bool IsEOF() const { return _bound == 0 || __io->IsEOF(); }

    // Plain data. A void gives 0, false or an empty text.

    unsigned char GetByte() const { return __GetPlain<unsigned char>(TYPE_BYTE); }
    unsigned short GetWord() const { return __GetPlain<unsigned short>(TYPE_WORD); }
    unsigned long GetDWord() const { return __GetPlain<std::uint32_t>(TYPE_DWORD); }
    CULongLongNative GetQWord() const { return __GetPlain<std::uint64_t>(TYPE_QWORD); }
    float GetFloat32() const { return __GetPlain<float>(TYPE_FLOAT32); }
    double GetFloat64() const { return __GetPlain<double>(TYPE_FLOAT64); }
    long double GetFloat80() const;
    bool GetBool() const { return _GetAndVerifyType(TYPE_BOOL); }

    // Texts as strings. The form with an argument reads into its block as far as that has room.

    stringEx GetString() const { return __Returned<stringEx>(&CISXFReader::GetString); }
    void GetString(stringEx& text) const;
    stringEx GetTString() const { return GetString(); }
    void GetTString(stringEx& text) const { GetString(text); }
    /// A last element that is not whole is dropped.
    wstringEx GetWString() const { return __Returned<wstringEx>(&CISXFReader::GetWString); }
    void GetWString(wstringEx& text) const;
    byteEx GetBlob() const { return __Returned<byteEx>(&CISXFReader::GetBlob); }
    void GetBlob(byteEx& bytes) const;

    // Texts to a buffer of `size` elements. No terminator is added. The result is the number of
    // bytes (also of a wide text). A text that is too long throws, code 2. With a null buffer the
    // text is skipped and the result is 0.

    unsigned long GetString(char* buffer, unsigned long size) const;
    unsigned long GetTString(char* buffer, unsigned long size) const {
        return GetString(buffer, size);
    }
    unsigned long GetWString(wchar_t* buffer, unsigned long size) const;
    unsigned long GetBlob(unsigned char* buffer, unsigned long size) const;

    // Structure. A void is an error, code 1.

    unsigned char GetCtrlCode() const {
        return __Get<unsigned char>(TYPE_CTRL_CODE, "GetCtrlCode - control code");
    }
    unsigned short GetSegNumber() const {
        return __Get<unsigned short>(TYPE_SEG_NUMBER, "GetSegNumber - segment number");
    }
    unsigned long GetBigSegNumber() const {
        return __Get<std::uint32_t>(TYPE_BIG_SEG_NUMBER, "GetBigSegNumber - big segment number");
    }
    void GetEofSeg() const {
        _VerifyNotVoid(TYPE_EOF_SEG, "GetEofSegNumber - segment ending number");
    }
    void GetEofBigSeg() const {
        _VerifyNotVoid(TYPE_EOF_BIG_SEG, "GetEofBigSegNumber - big segment ending number");
    }
    unsigned long GetEnum() const {
        return __Get<std::uint32_t>(TYPE_ENUM, "GetEnum - enumeration");
    }
    unsigned char GetSmallEnum() const {
        return __Get<unsigned char>(TYPE_SMALL_ENUM, "GetSmallEnum - small enumeration");
    }
    unsigned long GetID() const { return __Get<std::uint32_t>(TYPE_ID, "GetID - identification"); }
    unsigned short GetSmallID() const {
        return __Get<unsigned short>(TYPE_SMALL_ID, "GetSmallID - small identification");
    }
    unsigned char GetTinyID() const {
        return __Get<unsigned char>(TYPE_TINY_ID, "GetTinyID - tiny identification");
    }
    CULongLongNative GetBigID() const {
        return __Get<std::uint64_t>(TYPE_BIG_ID, "GetBigID - identification");
    }
    unsigned long GetSize() const { return __Get<std::uint32_t>(TYPE_SIZE, "GetSize - size"); }
    CULongLongNative GetBigSize() const {
        return __Get<std::uint64_t>(TYPE_BIG_SIZE, "GetBigSize - big size");
    }
    unsigned long GetCommand() const {
        return __Get<std::uint32_t>(TYPE_COMMAND, "GetCommand - command code");
    }
    unsigned short GetCompactCommand() const {
        return __Get<unsigned short>(TYPE_COMPACT_COMMAND,
                                     "GetCompactCommand - compact command code");
    }
    unsigned short GetVersion() const {
        return __Get<unsigned short>(TYPE_VERSION, "GetVersion - version");
    }
    unsigned char GetSmallVersion() const {
        return __Get<unsigned char>(TYPE_SMALL_VERSION, "GetSmallVersion - small version");
    }

    /// The tag of the next value, which stays to be read. It may be none of the known ones.
    DATATYPE GetNextType() const;

    bool NextIsVoid() const { return GetNextType() == TYPE_VOID; }

    // Plain data: true before a void as well, which can be read as any of them.

    bool NextIsByte() const { return _PeekAndMatchType(TYPE_BYTE); }
    bool NextIsWord() const { return _PeekAndMatchType(TYPE_WORD); }
    bool NextIsDWord() const { return _PeekAndMatchType(TYPE_DWORD); }
    bool NextIsQWord() const { return _PeekAndMatchType(TYPE_QWORD); }
    bool NextIsFloat32() const { return _PeekAndMatchType(TYPE_FLOAT32); }
    bool NextIsFloat64() const { return _PeekAndMatchType(TYPE_FLOAT64); }
    bool NextIsFloat80() const { return _PeekAndMatchType(TYPE_FLOAT80); }
    bool NextIsBool() const { return _PeekAndMatchType(TYPE_BOOL); }
    bool NextIsString() const { return _PeekAndMatchType(TYPE_STRING); }
    bool NextIsTString() const { return NextIsString(); }
    bool NextIsWString() const { return _PeekAndMatchType(TYPE_WSTRING); }
    bool NextIsBLOB() const { return _PeekAndMatchType(TYPE_BLOB); }

    // Structure: true before that type alone.

    bool NextIsCtrlCode() const { return GetNextType() == TYPE_CTRL_CODE; }
    bool NextIsSegNumber() const { return GetNextType() == TYPE_SEG_NUMBER; }
    bool NextIsBigSegNumber() const { return GetNextType() == TYPE_BIG_SEG_NUMBER; }
    bool NextIsEofSeg() const { return GetNextType() == TYPE_EOF_SEG; }
    bool NextIsEofBigSeg() const { return GetNextType() == TYPE_EOF_BIG_SEG; }
    bool NextIsEnum() const { return GetNextType() == TYPE_ENUM; }
    bool NextIsSmallEnum() const { return GetNextType() == TYPE_SMALL_ENUM; }
    bool NextIsID() const { return GetNextType() == TYPE_ID; }
    bool NextIsSmallID() const { return GetNextType() == TYPE_SMALL_ID; }
    bool NextIsTinyID() const { return GetNextType() == TYPE_TINY_ID; }
    bool NextIsBigID() const { return GetNextType() == TYPE_BIG_ID; }
    bool NextIsSize() const { return GetNextType() == TYPE_SIZE; }
    bool NextIsBigSize() const { return GetNextType() == TYPE_BIG_SIZE; }
    bool NextIsCommand() const { return GetNextType() == TYPE_COMMAND; }
    bool NextIsCompactCommand() const { return GetNextType() == TYPE_COMPACT_COMMAND; }
    bool NextIsVersion() const { return GetNextType() == TYPE_VERSION; }
    bool NextIsSmallVersion() const { return GetNextType() == TYPE_SMALL_VERSION; }

    /// Steps over one value of any type. A tag that there isn't throws, code 3, and stays in hand:
    /// how long its value is, nobody knows.
    void IgnoreNext() const;

protected:
    /// Takes the next tag: true for `expected`, false for a void; another one throws, code 1.
    bool _GetAndVerifyType(DATATYPE expected) const;
    /// The same where a void throws too. `what` is the getter's name and what it reads.
    void _VerifyNotVoid(DATATYPE expected, const char* what) const;
    bool _PeekAndMatchType(DATATYPE type) const {
        const DATATYPE next = GetNextType();
        return next == type || next == TYPE_VOID;
    }
    /// Takes a text's tag and length: the bytes that follow, already charged to the bound.
    std::uint32_t _BeginText(DATATYPE type) const;

private:
    static constexpr int NO_TYPE = -1;

    template <class T>
    T __GetPlain(DATATYPE type) const {
        T value = 0;
        if (_GetAndVerifyType(type)) {
            __ReadPayload(&value, sizeof value);
        }
        return value;
    }
    template <class T>
    T __Get(DATATYPE type, const char* what) const {
        T value = 0;
        _VerifyNotVoid(type, what);
        __ReadPayload(&value, sizeof value);
        return value;
    }
    template <class S>
    S __Returned(void (CISXFReader::*get)(S&) const) const {
        S text;
        (this->*get)(text);
        return text;
    }
    template <class S>
    void __GetText(DATATYPE type, S& text, const char* getter) const;
    unsigned long __GetTextTo(DATATYPE type, void* buffer, unsigned long size,
                              unsigned int elementSize, const char* getter) const;
    std::uint64_t __FirstBlock() const;
    void __ReadPayload(void* payload, unsigned int size) const;
    unsigned int __ReadUpTo(void* to, unsigned int size) const;
    void __SkipNBytes(std::uint32_t n) const;

    const IO* __io;
    mutable int __nextType = NO_TYPE; ///< the tag that a look-ahead has read
};

extern template class CISXFReader<TDataSource>;
extern template class CISXFReader<CByteIO>;

} // namespace Quil
