// The registry as an INI file: what reads one goes line by line, and what writes one quotes all
// that would be read as something else.
#include "util/store/registry/Node.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

namespace Quil::IMPL {

namespace {

constexpr unsigned int HEX_DIGITS = 2;
constexpr std::string_view MARK = "\xEF\xBB\xBF";

std::string_view Trim(std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

stringEx Text(std::string_view view) {
    return stringEx(view.data(), static_cast<unsigned int>(view.size()));
}

[[noreturn]] void ThrowLine(const char* what, std::uint64_t line) {
    ThrowRegistry(CFakeRegistry::BAD_TEXT, what, "line", stringEx().append_ulong(line, 10));
}

/// What stands between the quotes.
stringEx Unquoted(std::string_view text, std::uint64_t line) {
    stringEx plain;
    text.remove_prefix(1);
    for (;;) {
        if (text.empty()) {
            ThrowLine("a quote isn't closed", line);
        }
        const char c = text.front();
        text.remove_prefix(1);
        if (c == '"') {
            break;
        }
        if (c != '\\') {
            plain.push_back(c);
            continue;
        }
        const char kind = text.empty() ? '\0' : text.front();
        text.remove_prefix(text.empty() ? 0 : 1);
        if (kind == 'x' && text.size() >= HEX_DIGITS &&
            std::isxdigit(static_cast<unsigned char>(text[0])) != 0 &&
            std::isxdigit(static_cast<unsigned char>(text[1])) != 0) {
            plain.push_back(
                static_cast<char>(std::stoi(std::string(text.substr(0, HEX_DIGITS)), nullptr, 16)));
            text.remove_prefix(HEX_DIGITS);
        } else if (kind == 'n' || kind == 'r' || kind == 't') {
            plain.push_back(kind == 'n' ? '\n' : kind == 'r' ? '\r' : '\t');
        } else if (kind == '\\' || kind == '"') {
            plain.push_back(kind);
        } else {
            ThrowLine("there is no such escape", line);
        }
    }
    if (!Trim(text).empty()) {
        ThrowLine("something stands behind a closing quote", line);
    }
    return plain;
}

stringEx Quoted(const stringEx& text) {
    stringEx quoted("\"");
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted.push_back('\\');
            quoted.push_back(c);
        } else if (static_cast<unsigned char>(c) < ' ') {
            quoted.append_format("\\x%02x", static_cast<unsigned int>(c));
        } else {
            quoted.push_back(c);
        }
    }
    quoted.push_back('"');
    return quoted;
}

/// Whether a text is read as it stands, as a value or as a name.
bool IsPlain(const stringEx& text) {
    const std::string_view view(text.data(), text.length());
    const auto needsQuotes = [](char c) {
        return static_cast<unsigned char>(c) < ' ' || c == '"' || c == '\\' || c == '=';
    };
    return !view.empty() && !view.starts_with(MARK) && Trim(view).size() == view.size() &&
           view.front() != ';' && view.front() != '#' && view.front() != '[' &&
           !std::ranges::any_of(view, needsQuotes) &&
           !IsTypeName(text.substr(0, std::min(text.find(':'), text.length())));
}

CFakeRegistry::VALUE ReadValue(std::string_view text, std::uint64_t line) {
    if (text.starts_with('"')) {
        return Unquoted(text, line);
    }
    const std::size_t colon = text.find(':');
    const stringEx type = Text(text.substr(0, std::min(colon, text.size())));
    if (colon == std::string_view::npos || !IsTypeName(type)) {
        return Text(text);
    }
    const std::string_view rest = text.substr(colon + 1);
    return ValueOf(type, rest.starts_with('"') ? Unquoted(rest, line) : Text(rest), line);
}

/// The next line, with those that it goes on in, and their number.
std::string TakeLine(std::string_view& text, std::uint64_t& line) {
    std::string whole;
    for (bool goesOn = true; goesOn && !text.empty();) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view part = Trim(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        ++line;
        const bool isComment = part.starts_with(';') || part.starts_with('#');
        goesOn = part.ends_with('\\') && !isComment;
        part.remove_suffix(goesOn ? 1 : 0);
        whole.append(part);
    }
    return whole;
}

/// Where a line's name ends: at the sign behind it, which may be in a name in quotes.
std::size_t FindSign(std::string_view line) {
    std::size_t begin = 0;
    if (line.starts_with('"')) {
        for (begin = 1; begin < line.size() && line[begin] != '"'; ++begin) {
            begin += line[begin] == '\\' ? 1 : 0;
        }
    }
    return line.find('=', begin);
}

} // namespace

void ReadIni(const stringEx& text, CFakeRegistry::NODE& root) {
    CFakeRegistry::NODE* key = &root;
    std::string_view rest(text.data(), text.length());
    if (rest.starts_with(MARK)) {
        rest.remove_prefix(MARK.size());
    }
    for (std::uint64_t number = 0; !rest.empty();) {
        const std::string whole = TakeLine(rest, number);
        const std::string_view line = Trim(whole);
        if (line.empty() || line.front() == ';' || line.front() == '#') {
            continue;
        }
        if (line.front() == '[') {
            if (line.back() != ']') {
                ThrowLine("a section isn't closed", number);
            }
            const std::string_view inside = Trim(line.substr(1, line.size() - 2));
            const REGISTRY_PATH path =
                SplitPath(inside.starts_with('"') ? Unquoted(inside, number) : Text(inside));
            if (path.size() > CFakeRegistry::sm_deepest) {
                ThrowLine("a section is too deep", number);
            }
            key = &root.Make(path, path.size());
            continue;
        }
        const std::size_t sign = FindSign(line);
        const std::string_view left = Trim(line.substr(0, std::min(sign, line.size())));
        const stringEx name = left.starts_with('"') ? Unquoted(left, number) : Text(left);
        if (sign == std::string_view::npos || SplitPath(name) != REGISTRY_PATH{name}) {
            ThrowLine("a line isn't a name, \"=\" and a value", number);
        }
        key->values[name] = ReadValue(Trim(line.substr(sign + 1)), number);
    }
}

stringEx WriteIni(const CFakeRegistry::NODE& root) {
    stringEx text;
    root.ForEach(stEMPTY, [&](const stringEx& path, const CFakeRegistry::NODE& node) {
        if (!path.empty()) {
            text.append(text.empty() ? "[" : "\n[");
            text.append(IsPlain(path) ? path : Quoted(path)).append("]\n");
        }
        for (const auto& [name, value] : node.values) {
            text.append(IsPlain(name) ? name : Quoted(name)).append(" = ");
            const stringEx what = TextOf(value);
            const bool isText = std::holds_alternative<stringEx>(value);
            if (!isText) {
                text.append(NameOfType(value)).append(":");
            }
            const bool isBare = isText ? IsPlain(what) : !std::holds_alternative<wstringEx>(value);
            text.append(isBare ? what : Quoted(what)).append("\n");
        }
    });
    return text;
}

} // namespace Quil::IMPL
