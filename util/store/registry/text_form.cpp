// Values as text: the name of the type and what it holds, exactly.
#include "util/store/registry/Node.h"
#include "util/text/ConvStr.h"

#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace Quil::IMPL {

namespace {

using VALUE = CFakeRegistry::VALUE;

/// In the order of the alternatives.
constexpr std::array<const char*, std::variant_size_v<VALUE>> NAMES = {
    "void",    "byte",    "word", "dword",  "qword",   "float32",
    "float64", "float80", "bool", "string", "wstring", "blob"};

std::string_view View(const stringEx& text) {
    return {text.data(), text.length()};
}

template <class T>
stringEx NumberText(T value) {
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return stringEx(text, static_cast<unsigned int>(end - text));
}

template <class T>
std::optional<T> NumberOf(std::string_view text) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isAll = error == std::errc() && end == text.data() + text.size();
    return isAll ? std::optional<T>(value) : std::nullopt;
}

stringEx HexOf(const byteEx& bytes) {
    stringEx text;
    for (const unsigned char byte : bytes) {
        text.append_format("%02x", static_cast<unsigned int>(byte));
    }
    return text;
}

std::optional<byteEx> BytesOf(std::string_view hex) {
    byteEx bytes;
    for (; hex.size() >= 2; hex.remove_prefix(2)) {
        unsigned int byte = 0;
        const auto [end, error] = std::from_chars(hex.data(), hex.data() + 2, byte, 16);
        if (error != std::errc() || end != hex.data() + 2) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<unsigned char>(byte));
    }
    return hex.empty() ? std::optional(bytes) : std::nullopt;
}

/// A value of the type `T` from its text; none if that isn't one.
template <class T>
std::optional<VALUE> Read(const stringEx& text) {
    if constexpr (std::is_same_v<T, std::monostate>) {
        return text.empty() ? std::optional<VALUE>(VALUE()) : std::nullopt;
    } else if constexpr (std::is_same_v<T, bool>) {
        const bool isTrue = text == "true";
        return isTrue || text == "false" ? std::optional<VALUE>(isTrue) : std::nullopt;
    } else if constexpr (std::is_same_v<T, stringEx>) {
        return VALUE(text);
    } else if constexpr (std::is_same_v<T, wstringEx>) {
        return VALUE(ConvStrUToW(text));
    } else if constexpr (std::is_same_v<T, byteEx>) {
        const std::optional<byteEx> bytes = BytesOf(View(text));
        return bytes ? std::optional<VALUE>(*bytes) : std::nullopt;
    } else {
        const std::optional<T> number = NumberOf<T>(View(text));
        return number ? std::optional<VALUE>(*number) : std::nullopt;
    }
}

template <std::size_t... INDEX>
std::optional<VALUE> ReadType(std::size_t type, const stringEx& text,
                              std::index_sequence<INDEX...>) {
    using READ = std::optional<VALUE> (*)(const stringEx&);
    static constexpr READ READERS[] = {&Read<std::variant_alternative_t<INDEX, VALUE>>...};
    return READERS[type](text);
}

std::size_t IndexOf(const stringEx& name) {
    std::size_t index = 0;
    while (index < NAMES.size() && !(name == NAMES[index])) {
        ++index;
    }
    return index;
}

struct WRITER {
    stringEx operator()(std::monostate) const { return stEMPTY; }
    stringEx operator()(bool value) const { return stringEx(value ? "true" : "false"); }
    stringEx operator()(const stringEx& value) const { return value; }
    stringEx operator()(const wstringEx& value) const { return ConvStrSToU(value); }
    stringEx operator()(const byteEx& value) const { return HexOf(value); }
    template <class T>
    stringEx operator()(T value) const {
        return NumberText(value);
    }
};

} // namespace

const char* NameOfType(const VALUE& value) {
    return NAMES[value.index()];
}

stringEx TextOf(const VALUE& value) {
    return std::visit(WRITER(), value);
}

bool IsTypeName(const stringEx& name) {
    return IndexOf(name) < NAMES.size();
}

VALUE ValueOf(const stringEx& type, const stringEx& text, std::uint64_t line) {
    const std::size_t index = IndexOf(type);
    const std::optional<VALUE> value =
        index < NAMES.size()
            ? ReadType(index, text, std::make_index_sequence<std::variant_size_v<VALUE>>())
            : std::nullopt;
    if (!value) {
        stringEx detail;
        detail.append_ulong(line, 10).append("\n  text = ").append(type).append(":").append(text);
        ThrowRegistry(CFakeRegistry::BAD_TEXT, "a value can't be read", "line", detail);
    }
    return *value;
}

} // namespace Quil::IMPL
