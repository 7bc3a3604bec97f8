// ISXF streams of any bytes: what a reader of memory makes of them a reader of a source makes too,
// byte for byte and failure for failure, and what was written is read again.
#include "fuzz/FuzzInput.h"
#include "util/file/generic_stream.h"
#include "util/store/ISXFWriter.h"
#include "util/store/MemoryBasedISXFReader.h"
#include "util/sys/errhdl.h"

#include <cstring>

using namespace Quil;

namespace {

/// Hands out a few bytes at a time and can't go back.
class CTrickle : public TDataSource {
public:
    CTrickle(byteEx data, unsigned int step) : _data(std::move(data)), _step(step) {}
    bool IsValid() const override { return true; }
    bool IsEOF() const override { return _io.IsEOF(); }
    unsigned int Read(void* buffer, unsigned int size) const override {
        return _io.Read(buffer, std::min(size, _step));
    }

private:
    byteEx _data;
    CByteIO _io{&_data};
    unsigned int _step;
};

std::string Shown(const byteEx& bytes) {
    return bytes.to_hex_encode().c_str();
}
template <class Number>
std::string Shown(Number number) {
    return std::to_string(number);
}

/// One step of a reader, chosen by a byte, and what it answers.
template <class Reader>
std::string Step(const Reader& reader, unsigned int choice, unsigned int size) {
    char narrow[16];
    wchar_t wide[16];
    switch (choice % 24) {
    case 0:
        return Shown(reader.GetByte());
    case 1:
        return Shown(reader.GetWord());
    case 2:
        return Shown(reader.GetDWord());
    case 3:
        return Shown(reader.GetQWord().Value());
    case 4:
        return Shown(reader.GetFloat32());
    case 5:
        return Shown(reader.GetFloat64());
    case 6:
        return Shown(reader.GetFloat80());
    case 7:
        return Shown(reader.GetBool());
    case 8:
        return reader.GetString().c_str();
    case 9:
        return Shown(reader.GetWString().length());
    case 10:
        return Shown(reader.GetBlob());
    case 11:
        return Shown(reader.GetString(narrow, size % 17));
    case 12:
        return Shown(reader.GetWString(wide, size % 17));
    case 13:
        return Shown(reader.GetString(nullptr, size));
    case 14:
        return Shown(reader.GetCtrlCode());
    case 15:
        return Shown(reader.GetBigSegNumber());
    case 16:
        reader.GetEofSeg();
        return "end";
    case 17:
        return Shown(reader.GetBigID().Value());
    case 18:
        return Shown(reader.GetSmallVersion());
    case 19:
        return Shown(reader.GetSize());
    case 20:
        return Shown(reader.NextIsString());
    case 21:
        return Shown(reader.NextIsVoid());
    default:
        reader.IgnoreNext();
        return "over";
    }
}

/// What steps answer until one fails.
template <class Reader>
std::string Told(const Reader& reader, const std::string& steps) {
    std::string all;
    try {
        for (const char step : steps) {
            const auto choice = static_cast<unsigned char>(step);
            all += Step(reader, choice, choice / 8) + (reader.IsEOF() ? "." : ",");
        }
    } catch (const isxfExp& failure) {
        all += "!" + std::to_string(failure.GetErrCode());
    }
    return all;
}

void CheckHostile(FUZZ::CFuzzInput& input) {
    const auto step = 1 + input.Below(9);
    const CLongLongNative bound(input.Flag() ? CISXFBasic::NO_BOUND
                                             : CLongLongNative(input.Byte()));
    const std::string steps = input.Text(60);
    const std::string stream = input.Rest();
    byteEx bytes(reinterpret_cast<const unsigned char*>(stream.data()),
                 static_cast<unsigned int>(stream.size()));
    const CByteIO memory(&bytes);
    const CTrickle source(bytes, step);
    const std::string told = Told(CISXFReader<CByteIO>(memory, bound), steps);
    FUZZ::Require(Told(CISXFReader<TDataSource>(source, bound), steps) == told,
                  "a source is read as memory");

    memory.SeekBegin(0);
    const CMemoryBasedISXFReader<CByteIO> views(memory, bound);
    try {
        while (!views.IsEOF()) {
            if (views.NextIsBLOB()) {
                Shown(views.GetStaticBlob());
            } else if (views.NextIsString()) {
                stringEx text;
                views.GetStaticString(text);
                FUZZ::Require(text.find('\n') != 0 || !text.empty(), "a view can be looked at");
            } else {
                views.IgnoreNext();
            }
        }
    } catch (const isxfExp&) { // the stream ends there
    }
}

void CheckRoundTrip(FUZZ::CFuzzInput& input) {
    byteEx stream;
    CByteIO io(&stream);
    CISXFWriter<CByteIO> writer(io);
    const std::uint64_t number = input.Number();
    double fraction = 0;
    std::memcpy(&fraction, &number, sizeof fraction);
    const std::string rest = input.Rest();
    const stringEx text(rest.data(), static_cast<unsigned int>(rest.size()));
    const auto bytes = static_cast<byteEx>(text);
    wstringEx wide;
    for (const char c : rest) {
        wide.push_back(static_cast<wchar_t>(static_cast<std::uint32_t>(number) ^
                                            static_cast<unsigned char>(c)));
    }
    writer.AppendQWord(number);
    writer.AppendFloat64(fraction);
    writer.AppendFloat80(fraction);
    writer.AppendString(text);
    writer.AppendWString(wide);
    writer.AppendBlob(bytes);
    writer.AppendBigID(number);
    const CTrickle source(stream, 1 + static_cast<unsigned int>(number % 7));
    const CISXFReader<TDataSource> reader(source);
    const auto isSame = [&](auto read) {
        return read == fraction || (read != read && fraction != fraction);
    };
    FUZZ::Require(reader.GetQWord() == CULongLongNative(number), "a number comes back");
    FUZZ::Require(isSame(reader.GetFloat64()) && isSame(reader.GetFloat80()),
                  "a fraction comes back");
    FUZZ::Require(reader.GetString() == text && reader.GetWString() == wide, "a text comes back");
    FUZZ::Require(reader.GetBlob() == bytes, "a blob comes back");
    FUZZ::Require(reader.GetBigID() == CULongLongNative(number) && reader.IsEOF(),
                  "so does an id, the last");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FUZZ::CFuzzInput input(data, size);
    if (input.Flag()) {
        CheckHostile(input);
    } else {
        CheckRoundTrip(input);
    }
    return 0;
}
