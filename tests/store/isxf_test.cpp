// ISXF: the bytes of each type of value, the way back, and streams that are cut off, of the wrong
// type or plain rubbish.

#include "util/file/generic_stream.h"
#include "util/store/ISXFWriter.h"
#include "util/store/MemoryBasedISXFReader.h"
#include "util/store/extended80.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

using namespace Quil;

byteEx Bytes(const stringEx& hex) {
    return byteEx().from_hex_code(hex);
}
stringEx Hex(const byteEx& bytes) {
    return bytes.to_hex_encode();
}

/// A source that can't seek and hands out at most `step` bytes a time.
class TrickleSource : public TDataSource {
public:
    TrickleSource(byteEx data, unsigned int step) : _data(std::move(data)), _step(step) {}
    bool IsValid() const override { return true; }
    bool IsEOF() const override { return _io.IsEOF(); }
    unsigned int Read(void* buffer, unsigned int size) const override {
        requests.push_back(size);
        return _io.Read(buffer, std::min(size, _step));
    }
    mutable std::vector<unsigned int> requests;

private:
    byteEx _data;
    CByteIO _io{&_data};
    unsigned int _step;
};

// The two kinds of I/O object: written to by `sink`, and read again from the start by `source`.

struct Memory {
    using Writer = CISXFWriter<CByteIO>;
    using Reader = CISXFReader<CByteIO>;
    explicit Memory(byteEx bytes = byteEx()) : data(std::move(bytes)) {}
    byteEx data;
    CByteIO sink{&data};
    CByteIO source{&data};
};
struct Stream {
    using Writer = CISXFWriter<TDataSink>;
    using Reader = CISXFReader<TDataSource>;
    explicit Stream(const byteEx& bytes = byteEx()) : data(bytes), source(bytes, 2) {}
    byteEx data;
    CGenericSeekableSink<CByteIO> sink{CByteIO(&data)};
    TrickleSource source;
};

template <class IO>
struct VALUE {
    stringEx bytes;
    void (*append)(typename IO::Writer& to);
    bool (*isRead)(const typename IO::Reader& from);
    bool (*isNext)(const typename IO::Reader& from);
    const char* voidMessage; ///< of a structure getter
};

#define VALUE_ROW(bytes, type, value, message)                                                     \
    {                                                                                              \
        bytes, [](auto& to) { to.Append##type(value); },                                           \
            [](auto& from) { return from.Get##type() == (value); },                                \
            [](auto& from) { return from.NextIs##type(); }, message                                \
    }
#define PLAIN_ROW(bytes, type, value) VALUE_ROW(bytes, type, value, nullptr)
#define STRUCTURE_ROW(bytes, type, value, message)                                                 \
    VALUE_ROW(bytes, type, value, "CISXFReader::Get" #type " - " message " can't be void")
#define MARK_ROW(bytes, type, message)                                                             \
    {                                                                                              \
        bytes, [](auto& to) { to.Append##type(); },                                                \
            [](auto& from) { return from.Get##type(), true; },                                     \
            [](auto& from) { return from.NextIs##type(); },                                        \
            "CISXFReader::" message " can't be void"                                               \
    }

const wchar_t WIDE[] = {L'A', wchar_t(0x1F600), 0};
const unsigned char BLOB[] = {0, 255};

template <class IO>
const std::vector<VALUE<IO>>& Values() {
    static const std::vector<VALUE<IO>> values = {
        PLAIN_ROW("01FF", Byte, 255),
        PLAIN_ROW("023412", Word, 0x1234),
        PLAIN_ROW("0301000000", DWord, 1UL),
        PLAIN_ROW("050000000001000000", QWord, CULongLongNative(1ULL << 32)),
        PLAIN_ROW("06000020C0", Float32, -2.5F),
        PLAIN_ROW("079A9999999999B93F", Float64, 0.1),
        PLAIN_ROW("0800000000000000A000C00000", Float80, -2.5L),
        PLAIN_ROW("080000000000000080FF3F0000", Float80, 1.0L),
        PLAIN_ROW("09", Bool, true),
        PLAIN_ROW("0A03000000616263", String, stringEx("abc")),
        PLAIN_ROW("0A0100000000", TString, stringEx("\0", 1)),
        PLAIN_ROW("0B080000004100000000F60100", WString, wstringEx(WIDE)),
        {"0C0200000000FF", [](auto& to) { to.AppendBlob(byteEx(BLOB, 2)); },
         [](auto& from) { return from.GetBlob() == byteEx(BLOB, 2); },
         [](auto& from) { return from.NextIsBLOB(); }, nullptr},
        STRUCTURE_ROW("8000", CtrlCode, 0, "control code"),
        STRUCTURE_ROW("810201", SegNumber, 0x102, "segment number"),
        STRUCTURE_ROW("8204030201", Enum, 0x1020304UL, "enumeration"),
        STRUCTURE_ROW("8300000000", ID, 0UL, "identification"),
        STRUCTURE_ROW("84FFFFFFFF", Size, 0xFFFFFFFFUL, "size"),
        STRUCTURE_ROW("850000000000000080", BigSize, CULongLongNative(1ULL << 63), "big size"),
        STRUCTURE_ROW("8600000080", Command, 0x80000000UL, "command code"),
        STRUCTURE_ROW("87FFFFFFFFFFFFFFFF", BigID, CULongLongNative(-1), "identification"),
        STRUCTURE_ROW("88FFFF", SmallID, 0xFFFF, "small identification"),
        STRUCTURE_ROW("8907", TinyID, 7, "tiny identification"),
        STRUCTURE_ROW("8A80", SmallEnum, 128, "small enumeration"),
        STRUCTURE_ROW("8B01", SmallVersion, 1, "small version"),
        STRUCTURE_ROW("8C0002", Version, 0x200, "version"),
        MARK_ROW("8D", EofSeg, "GetEofSegNumber - segment ending number"),
        STRUCTURE_ROW("8E01000000", BigSegNumber, 1UL, "big segment number"),
        MARK_ROW("8F", EofBigSeg, "GetEofBigSegNumber - big segment ending number"),
        STRUCTURE_ROW("900201", CompactCommand, 0x102, "compact command code"),
    };
    return values;
}

struct FAILURE {
    unsigned int code; ///< 0 for none
    stringEx text;
};
FAILURE FailureOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const isxfExp& e) {
        return {e.GetErrCode(), e.GetErrString()};
    }
    return {0, ""};
}
stringEx Overrun(int expected, int rest) {
    stringEx text("CISXFBasic::_CheckBound - buffer overflow\n");
    return text << "  expected size = " << expected << "\n  check bound   = " << rest;
}

template <class IO>
struct Isxf : testing::Test {};
using Ios = testing::Types<Memory, Stream>;
TYPED_TEST_SUITE(Isxf, Ios);
#define USE_IO                                                                                     \
    using IO = TypeParam;                                                                          \
    using Writer [[maybe_unused]] = typename IO::Writer;                                           \
    using Reader [[maybe_unused]] = typename IO::Reader

TYPED_TEST(Isxf, EachTypeThereAndBack) {
    USE_IO;
    for (const auto& value : Values<IO>()) {
        IO io;
        Writer writer(io.sink);
        value.append(writer);
        EXPECT_EQ(Hex(io.data), value.bytes);
        const IO written(io.data);
        const Reader reader(written.source);
        EXPECT_TRUE(value.isNext(reader)) << value.bytes;
        EXPECT_TRUE(value.isRead(reader)) << value.bytes;
        EXPECT_TRUE(reader.IsEOF()) << value.bytes;
    }
}

// Of nothing, and of each type.
TYPED_TEST(Isxf, EachPrefixByIgnoreNextAndByEachGetter) {
    USE_IO;
    std::vector<stringEx> streams = {"00"};
    for (const auto& value : Values<IO>()) {
        streams.push_back(value.bytes);
    }
    for (const stringEx& stream : streams) {
        const byteEx whole = Bytes(stream);
        const int real = whole[0];
        const bool isText = real >= 0x0A && real <= 0x0C;
        for (unsigned int n = 0; n <= whole.length(); ++n) {
            const IO io(byteEx(whole, 0, n));
            const Reader reader(io.source);
            EXPECT_EQ(FailureOf([&] { reader.IgnoreNext(); }).code, n < whole.length() ? 2U : 0U);
            EXPECT_TRUE(reader.IsEOF());
            const bool enough = n == whole.length() || (isText && n >= 5);
            for (const auto& getter : Values<IO>()) {
                stringEx note(stream);
                note << " cut to " << n << " by " << getter.bytes;
                const int expected = Bytes(getter.bytes)[0];
                const bool fits = real == expected || (real == 0 && getter.voidMessage == nullptr);
                const IO again(byteEx(whole, 0, n));
                const Reader other(again.source);
                EXPECT_TRUE(n == 0 || getter.isNext(other) == fits) << note;
                const FAILURE failure = FailureOf([&] { getter.isRead(other); });
                EXPECT_EQ(failure.code, n == 0 || (fits && !enough) ? 2U : fits ? 0U : 1U) << note;
                stringEx text;
                if (real != 0) {
                    text << "CISXFReader::_GetAndVerifyType - wrong data type\n  expected = "
                         << expected << "\n  real     = " << real;
                } else {
                    text << getter.voidMessage;
                }
                EXPECT_TRUE(failure.code != 1 || failure.text == text) << note;
            }
        }
    }
}

TYPED_TEST(Isxf, DefaultValuesTakeOneByte) {
    USE_IO;
    IO io;
    Writer writer(io.sink);
    writer.AppendDWord(0);
    writer.AppendDWord(0x100000000UL);
    writer.AppendFloat32(-0.0F);
    writer.AppendFloat80(0);
    writer.AppendBool(false);
    writer.AppendString("");
    writer.AppendString(nullptr, 5);
    writer.AppendWString(L"x", 0);
    writer.AppendBlob(byteEx());
    EXPECT_EQ(Hex(io.data), "000000000000000000");
}

TYPED_TEST(Isxf, NothingPassesTheBound) {
    USE_IO;
    IO io;
    Writer writer(io.sink, 4);
    EXPECT_EQ(FailureOf([&] { writer.AppendDWord(1); }).text, Overrun(5, -1));
    EXPECT_EQ(FailureOf([&] { writer.AppendVoid(); }).text, Overrun(1, -1));
    Writer negative(io.sink, Writer::NO_BOUND + 1);
    EXPECT_EQ(FailureOf([&] { negative.AppendString("ab"); }).code, 2U);
    Writer unbound(io.sink);
    EXPECT_EQ(FailureOf([&] { unbound.AppendString("", 0x100000000UL); }).code, 2U);
    EXPECT_EQ(FailureOf([&] { unbound.AppendWString(L"", 0x40000000UL); }).code, 2U);
    EXPECT_TRUE(io.data.empty());

    const IO given(Bytes("03010000000A03000000616263"));
    const Reader reader(given.source, 12);
    EXPECT_EQ(reader.GetDWord(), 1U);
    EXPECT_EQ(FailureOf([&] { (void)reader.GetString(); }).text, Overrun(3, -1));
    EXPECT_TRUE(reader.IsEOF());
    for (int bound = 0; bound <= 6; ++bound) { // a tag and four bytes
        const IO number(Bytes("0301000000"));
        const Reader bounded(number.source, bound);
        EXPECT_EQ(FailureOf([&] { (void)bounded.GetDWord(); }).code, bound < 5 ? 2U : 0U) << bound;
        IO written;
        Writer limited(written.sink, bound);
        EXPECT_EQ(FailureOf([&] { limited.AppendDWord(1); }).code, bound < 5 ? 2U : 0U) << bound;
        EXPECT_EQ(written.data.length(), bound < 5 ? 0U : 5U);
    }
    const Reader none(given.source, 0);
    EXPECT_TRUE(none.IsEOF());
    EXPECT_EQ(FailureOf([&] { (void)none.NextIsVoid(); }).code, 2U);
}

TYPED_TEST(Isxf, LengthsAreNotBelieved) {
    USE_IO;
    const IO cut(Bytes("0AFFFFFFFF616263"));
    const stringEx text = Reader(cut.source).GetString();
    EXPECT_EQ(text, "abc");
    EXPECT_LE(text.capacity(), 65537U);
    const IO odd(Bytes("0B070000004100000042000001FF"));
    const Reader reader(odd.source);
    EXPECT_TRUE(reader.GetWString() == L"A");
    EXPECT_EQ(reader.GetByte(), 255);

    const byteEx large(200000, 'x');
    IO io;
    Writer(io.sink).AppendBlob(large);
    const IO written(io.data);
    EXPECT_TRUE(Reader(written.source).GetBlob() == large);
}

TYPED_TEST(Isxf, StringsThatShareOrLookElsewhere) {
    USE_IO;
    const IO io(Bytes("0A03000000616263" // "abc", nothing, "x"
                      "000A0100000078"));
    const Reader reader(io.source);
    const stringEx original("shared");
    stringEx text = original;
    reader.GetString(text);
    EXPECT_EQ(text, "abc");
    text = original;
    reader.GetString(text);
    EXPECT_EQ(text, "");
    EXPECT_EQ(original, "shared");
    const char foreign[] = "foreign";
    text.assign(foreign, stringEx::NOT_OWNER());
    reader.GetString(text);
    EXPECT_EQ(text, "x");
    EXPECT_STREQ(foreign, "foreign");
}

TYPED_TEST(Isxf, BuffersOfTheCaller) {
    USE_IO;
    const byteEx stream = Bytes("0B08000000410000004200000001FF");
    wchar_t room[2] = {};
    const IO fits(stream);
    EXPECT_EQ(Reader(fits.source).GetWString(room, 2), 8U);
    EXPECT_TRUE(room[0] == L'A' && room[1] == L'B');
    const IO small(stream);
    const FAILURE failure = FailureOf([&] { Reader(small.source).GetWString(room, 1); });
    EXPECT_EQ(failure.code, 2U);
    EXPECT_EQ(failure.text, "CISXFReader::GetWString - overflow: buffer too small\n"
                            "  expected size = 8\n  buffer size = 1");
    const IO odd(Bytes("0B050000004100000042")); // a character and a quarter
    EXPECT_EQ(FailureOf([&] { Reader(odd.source).GetWString(room, 1); }).code, 2U);
    const IO skipped(stream);
    const Reader reader(skipped.source);
    EXPECT_EQ(reader.GetWString(static_cast<wchar_t*>(nullptr), 0), 0U);
    EXPECT_EQ(reader.GetByte(), 255);
}

TYPED_TEST(Isxf, UnknownTagsStayInHand) {
    USE_IO;
    for (const char* const tag : {"04", "0D", "7F", "91", "FF"}) {
        const IO io(Bytes(tag));
        const Reader reader(io.source);
        stringEx text("CISXFReader::IgnoreNext - unknown data type\n  type = ");
        text << int{Bytes(tag)[0]};
        for (int round = 0; round < 2; ++round) {
            const FAILURE failure = FailureOf([&] { reader.IgnoreNext(); });
            EXPECT_EQ(failure.code, 3U);
            EXPECT_EQ(failure.text, text);
        }
    }
}

TEST(IsxfReader, SkipsBySmallReads) {
    byteEx data = Bytes("0AE8030000");
    data.append(1000, 'x');
    const TrickleSource source(data, 384);
    CISXFReader<TDataSource>(source).IgnoreNext();
    EXPECT_EQ(source.requests, (std::vector<unsigned int>{1, 4, 384, 384, 232}));
}

// Whatever the bytes are: memory and a source that trickles give the same results, and both end.
TEST(IsxfReader, RandomStreams) {
    std::mt19937 random(7);
    const auto below = [&](std::size_t n) { return static_cast<unsigned int>(random() % n); };
    const std::size_t kinds = Values<Memory>().size();
    const auto read = [&](const auto& values, const auto& reader, unsigned int kind, bool& isRead) {
        return FailureOf([&] {
            if (kind == kinds) {
                reader.IgnoreNext();
            } else {
                isRead = values[kind].isRead(reader);
            }
        });
    };
    for (int round = 0; round < 1500; ++round) {
        byteEx data;
        for (unsigned int left = below(12); left != 0; --left) {
            if (below(4) != 0) {
                data.append(Bytes(Values<Memory>()[below(kinds)].bytes));
            }
            if (below(8) == 0) {
                data.push_back(static_cast<unsigned char>(random()));
            }
        }
        const Memory memory(data);
        const Stream stream(data);
        const CISXFReader<CByteIO> first(memory.source);
        const CISXFReader<TDataSource> second(stream.source);
        for (unsigned int step = 0; step < 40; ++step) {
            const unsigned int kind = below(kinds + 1);
            bool isRead[2] = {};
            const FAILURE a = read(Values<Memory>(), first, kind, isRead[0]);
            const FAILURE b = read(Values<Stream>(), second, kind, isRead[1]);
            ASSERT_EQ(a.text, b.text) << Hex(data);
            ASSERT_EQ(isRead[0], isRead[1]) << Hex(data);
        }
    }
}

TEST(MemoryBasedIsxfReader, GivesViewsWithinTheBuffer) {
    byteEx data = Bytes("000C0200000000FF0A0300000061626300");
    CByteIO io(&data);
    io.SeekBegin(1);
    const CMemoryBasedISXFReader<CByteIO> reader(io);
    const byteEx blob = reader.GetStaticBlob();
    EXPECT_TRUE(blob == byteEx(BLOB, 2));
    EXPECT_EQ(blob.data(), data.data() + 6);
    stringEx text("old");
    reader.GetStaticString(text);
    EXPECT_EQ(text, "abc");
    EXPECT_TRUE(text.is_static());
    reader.GetStaticString(text);
    EXPECT_EQ(text, "");
    EXPECT_TRUE(reader.IsEOF());
    EXPECT_EQ(FailureOf([&] { (void)reader.GetStaticBlob(); }).text, Overrun(1, -1));

    byteEx longer = Bytes("0C03000000AABB"); // by one
    const CByteIO longerIo(&longer);
    EXPECT_EQ(
        FailureOf([&] { (void)CMemoryBasedISXFReader<CByteIO>(longerIo).GetStaticBlob(); }).text,
        Overrun(3, -1));

    byteEx cut = Bytes("0C05000000AABB");
    for (const CLongLongNative& bound : {CISXFBasic::NO_BOUND, CLongLongNative(1000)}) {
        const CByteIO cutIo(&cut);
        const CMemoryBasedISXFReader<CByteIO> cutReader(cutIo, bound);
        EXPECT_EQ(FailureOf([&] { (void)cutReader.GetStaticBlob(); }).text, Overrun(5, -3));
        EXPECT_TRUE(cutReader.IsEOF());
        cutIo.SeekBegin(100);
        EXPECT_TRUE(CMemoryBasedISXFReader<CByteIO>(cutIo).IsEOF());
    }
}

/// Takes a few bytes at a time, as a file may, and ends when it is full.
class CNarrowSink final : public TDataSink {
public:
    bool IsValid() const override { return true; }
    unsigned int Write(const void* buffer, unsigned int size) override {
        const auto room = static_cast<unsigned int>(limit - taken.size());
        const unsigned int count = std::min({size, 3U, room});
        taken.append(static_cast<const char*>(buffer), count);
        return count;
    }
    void Flush() override {}

    std::string taken;
    std::size_t limit = 1000;
};

TEST(Isxf, WhatAShortWriteLeavesIsWritten) {
    CNarrowSink sink;
    CISXFWriter<TDataSink> writer(sink);
    writer.AppendString(stringEx("a longer text"));
    writer.AppendQWord(0x0807060504030201ULL);
    EXPECT_EQ(sink.taken, std::string("\x0A\x0D\0\0\0a longer text\x05\1\2\3\4\5\6\7\x08", 27));
    sink.limit = 30;
    const unsigned int full = FailureOf([&] { writer.AppendQWord(1); }).code;
    EXPECT_EQ(full, CISXFBasic::ERROR_OVERRUN) << "the sink is full";
    EXPECT_THROW(writer.AppendVoid(), isxfExp) << "nothing can follow";
}

/// What the processor makes of a stream's float, or takes for one.
long double Native(const IMPL::EXTENDED80& extended) {
    long double value = 0;
    std::memcpy(&value, &extended.significand, sizeof extended.significand);
    std::memcpy(reinterpret_cast<char*>(&value) + sizeof extended.significand, &extended.exponent,
                sizeof extended.exponent);
    return value;
}

template <class T>
bool AreSame(T one, T other) {
    return (std::isnan(one) && std::isnan(other)) ||
           (one == other && std::signbit(one) == std::signbit(other));
}

// Where there is no such processor, values go round through the stream's form.
TEST(Extended80, IsAsTheProcessorHasIt) {
    std::mt19937_64 random(80);
    const int edges[] = {0,     1,     2,     64,    15300, 15308, 15309, 15361, 16233, 16234,
                         16257, 16383, 16446, 16510, 16511, 17406, 17407, 32765, 32766, 32767};
    for (int i = 0; i < 200000; ++i) {
        const int edge = edges[random() % std::size(edges)] + static_cast<int>(random() % 3) - 1;
        IMPL::EXTENDED80 extended{random(),
                                  static_cast<std::uint16_t>(i % 4 == 0 ? random() : edge)};
        // Few bits, or many in a row, are what rounding has to do with.
        extended.significand |= i % 3 == 0 ? ~0ULL >> random() % 64 : 0;
        extended.significand &= i % 5 == 0 ? ~0ULL << random() % 64 : ~0ULL;
        const bool isNormal = (extended.exponent & 0x7FFF) != 0;
        extended.significand &= ~IMPL::EXTENDED_TOP;
        extended.significand |= isNormal ? IMPL::EXTENDED_TOP : 0;
        const auto value = IMPL::from_extended80<long double>(extended);
        const auto shorter = IMPL::from_extended80<double>(extended);
        const std::string message =
            std::to_string(extended.exponent) + " " + std::to_string(extended.significand);
        ASSERT_TRUE(AreSame(static_cast<double>(value), shorter)) << message;
        const IMPL::EXTENDED80 back = IMPL::to_extended80(value);
        ASSERT_TRUE(AreSame(IMPL::from_extended80<long double>(back), value)) << message;
        if (IMPL::IS_EXTENDED80) {
            ASSERT_TRUE(AreSame(value, Native(extended))) << message;
            ASSERT_TRUE(AreSame(value, Native(back))) << message;
            const IMPL::EXTENDED80 ofDouble = IMPL::to_extended80(shorter);
            ASSERT_TRUE(AreSame(Native(ofDouble), static_cast<long double>(shorter))) << message;
        }
    }
}

} // namespace
