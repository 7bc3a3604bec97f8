// The registry's bytes: ISXF values, with a sum of them all behind.
//
// A key is its values, each with name, type and value, and then its keys, each with its name; a
// number stands before either. A zero of any type is void in ISXF, so the type stands by itself.
#include "util/file/ByteIO.h"
#include "util/store/ISXFReader.h"
#include "util/store/ISXFWriter.h"
#include "util/store/registry/Node.h"
#include "util/sys/errhdl.h"

#include <array>
#include <type_traits>

namespace Quil {

namespace {

using VALUE = CFakeRegistry::VALUE;
using WRITER = CISXFWriter<CByteIO>;
using READER = CISXFReader<CByteIO>;

constexpr unsigned long MAGIC = 0x47455251; // "QREG" in a file
constexpr unsigned short VERSION = 1;
constexpr unsigned int SUM_SIZE = 5; ///< with its tag

struct APPEND {
    WRITER& writer;

    void operator()(std::monostate) const { writer.AppendVoid(); }
    void operator()(std::uint8_t value) const { writer.AppendByte(value); }
    void operator()(std::uint16_t value) const { writer.AppendWord(value); }
    void operator()(std::uint32_t value) const { writer.AppendDWord(value); }
    void operator()(std::uint64_t value) const { writer.AppendQWord(value); }
    void operator()(float value) const { writer.AppendFloat32(value); }
    void operator()(double value) const { writer.AppendFloat64(value); }
    void operator()(long double value) const { writer.AppendFloat80(value); }
    void operator()(bool value) const { writer.AppendBool(value); }
    void operator()(const stringEx& value) const { writer.AppendString(value); }
    void operator()(const wstringEx& value) const { writer.AppendWString(value); }
    void operator()(const byteEx& value) const { writer.AppendBlob(value); }
};

VALUE ReadValue(const READER& reader, unsigned int type) {
    using GET = VALUE (*)(const READER&);
    static constexpr std::array<GET, std::variant_size_v<VALUE>> GETTERS = {
        [](const READER& from) {
            from.IgnoreNext();
            return VALUE();
        },
        [](const READER& from) { return VALUE(std::uint8_t{from.GetByte()}); },
        [](const READER& from) { return VALUE(std::uint16_t{from.GetWord()}); },
        [](const READER& from) { return VALUE(static_cast<std::uint32_t>(from.GetDWord())); },
        [](const READER& from) { return VALUE(std::uint64_t{from.GetQWord().Value()}); },
        [](const READER& from) { return VALUE(from.GetFloat32()); },
        [](const READER& from) { return VALUE(from.GetFloat64()); },
        [](const READER& from) { return VALUE(from.GetFloat80()); },
        [](const READER& from) { return VALUE(from.GetBool()); },
        [](const READER& from) { return VALUE(from.GetString()); },
        [](const READER& from) { return VALUE(from.GetWString()); },
        [](const READER& from) { return VALUE(from.GetBlob()); }};
    return GETTERS.at(type)(reader);
}

[[noreturn]] void ThrowBroken(const char* what, std::int64_t place) {
    stringEx at;
    IMPL::ThrowRegistry(CFakeRegistry::BROKEN, what, "byte",
                        at.append_ulong(static_cast<unsigned long>(place), 10));
}

} // namespace

/// Reads and writes branches.
struct CFakeRegistry::CODEC {
    static void Write(WRITER& writer, const NODE& node) {
        writer.AppendSize(static_cast<unsigned long>(node.values.size()));
        for (const auto& [name, value] : node.values) {
            writer.AppendString(name);
            writer.AppendSmallEnum(static_cast<unsigned char>(value.index()));
            std::visit(APPEND{writer}, value);
        }
        writer.AppendSize(static_cast<unsigned long>(node.keys.size()));
        for (const auto& [name, key] : node.keys) {
            writer.AppendString(name);
            Write(writer, *key);
        }
    }

    static void Read(const READER& reader, NODE& node, std::size_t depth) {
        if (depth > sm_deepest) {
            throw isxfExp(0, stringEx("it is too deep"));
        }
        for (unsigned long count = reader.GetSize(); count != 0; --count) {
            const stringEx name = reader.GetString();
            const unsigned int type = reader.GetSmallEnum();
            if (name.empty() || type >= std::variant_size_v<VALUE>) {
                throw isxfExp(0, stringEx("a value has no name or an unknown type"));
            }
            node.values[name] = ReadValue(reader, type);
        }
        for (unsigned long count = reader.GetSize(); count != 0; --count) {
            const stringEx name = reader.GetString();
            if (name.empty()) {
                throw isxfExp(0, stringEx("a key has no name"));
            }
            std::unique_ptr<NODE>& key = node.keys[name];
            key = std::make_unique<NODE>();
            Read(reader, *key, depth + 1);
        }
    }
};

byteEx CFakeRegistry::Encode() const {
    byteEx bytes;
    CByteIO io(&bytes);
    WRITER writer(io);
    writer.AppendID(MAGIC);
    writer.AppendVersion(VERSION);
    {
        const CFastReaderLock lock(__store->state);
        CODEC::Write(writer, *__store->root);
    }
    writer.AppendID(hash_value(bytes));
    return bytes;
}

void CFakeRegistry::Decode(const byteEx& bytes) {
    if (bytes.length() < SUM_SIZE) {
        ThrowBroken("the file is too short", bytes.length());
    }
    byteEx body = bytes.substr(0, bytes.length() - SUM_SIZE);
    CByteIO io(&body);
    const READER reader(io);
    auto root = std::make_unique<NODE>();
    try {
        if (reader.GetID() != MAGIC || reader.GetVersion() != VERSION) {
            ThrowBroken("the file is none of this kind or version", 0);
        }
        CODEC::Read(reader, *root, 0);
    } catch (const isxfExp& failure) {
        stringEx what("the file is broken: ");
        ThrowBroken(what.append(failure.GetErrString()).c_str(), io.GetCurrentPos().Value());
    }
    byteEx sum = bytes.substr(body.length(), SUM_SIZE);
    CByteIO sumIo(&sum);
    const READER sumReader(sumIo);
    if (!io.IsEOF() || sumReader.GetNextType() != CISXFBasic::TYPE_ID ||
        sumReader.GetID() != hash_value(body)) {
        ThrowBroken("the file was damaged: its sum is another one", io.GetCurrentPos().Value());
    }
    const CFastWriterLock lock(__store->state);
    __Replace(std::move(root), false);
}

} // namespace Quil
