#include "util/conv/detect/signs.h"

#include "util/conv/utf8_validation.h"

#include <algorithm>
#include <array>

namespace Quil::IMPL {

namespace {

constexpr char ESCAPE = '\x1B';

/// Both bytes of a pair in one of the sets of 94 by 94 characters.
bool IsPair(std::string_view text, std::size_t pos) {
    const auto isOfSet = [](char c) { return c > ' ' && c < '\x7F'; };
    return pos + 1 < text.size() && isOfSet(text[pos]) && isOfSet(text[pos + 1]);
}

/// Whether a text has stretches of HZ, and each of them is one.
bool IsHz(std::string_view text) {
    std::size_t stretches = 0;
    for (std::size_t pos = text.find("~{"); pos != std::string_view::npos;
         pos = text.find("~{", pos)) {
        pos += 2;
        std::size_t pairs = 0;
        for (; text.substr(pos, 2) != "~}"; pos += 2) {
            if (!IsPair(text, pos) || text[pos] > 'w') {
                return pos + 1 >= text.size() && stretches != 0; // a cut
            }
            ++pairs;
        }
        if (pairs == 0) {
            return false;
        }
        ++stretches;
    }
    return stretches != 0;
}

} // namespace

MARK_FOUND FindMark(std::string_view text) {
    using namespace std::string_view_literals;
    static constexpr struct {
        const char* charset;
        std::string_view mark;
        std::size_t width;
    } MARKS[] = {{"UTF-8", "\xEF\xBB\xBF"sv, 1},    {"UTF-32LE", "\xFF\xFE\0\0"sv, 4},
                 {"UTF-32BE", "\0\0\xFE\xFF"sv, 4}, {"UTF-16LE", "\xFF\xFE"sv, 2},
                 {"UTF-16BE", "\xFE\xFF"sv, 2},     {"GB18030", "\x84\x31\x95\x33"sv, 1}};
    for (const auto& row : MARKS) {
        if (text.starts_with(row.mark)) {
            return {row.charset, row.mark.size(), row.width};
        }
    }
    return {nullptr, 0, 1};
}

const char* FindEscapes(std::string_view text) {
    static constexpr struct {
        const char* charset;
        const char* sequence; ///< behind the escape
    } ROWS[] = {{"ISO-2022-KR", "$)C"}, {"ISO-2022-CN", "$)A"}, {"ISO-2022-CN", "$)G"},
                {"ISO-2022-JP", "$@"},  {"ISO-2022-JP", "$B"},  {"ISO-2022-JP", "(J"},
                {"ISO-2022-JP", "(I"},  {"ISO-2022-JP", "$(D"}};
    for (std::size_t pos = text.find(ESCAPE); pos != std::string_view::npos;
         pos = text.find(ESCAPE, pos + 1)) {
        for (const auto& row : ROWS) {
            if (text.substr(pos + 1).starts_with(row.sequence)) {
                return row.charset;
            }
        }
    }
    return IsHz(text) ? "HZ" : nullptr;
}

UTF8_EXTENT MeasureUtf8(std::string_view text) {
    constexpr std::size_t ENOUGH = 16;
    UTF8_EXTENT extent{ValidUtf8Length(text.data(), text.size()), 0};
    for (std::size_t pos = 0; pos < extent.length && extent.characters < ENOUGH; ++pos) {
        pos += AsciiLength(text.data() + pos, extent.length - pos);
        if (pos < extent.length && (text[pos] & 0xC0) == 0xC0) {
            ++extent.characters;
        }
    }
    return extent;
}

bool HasBinary(std::string_view text) {
    constexpr std::size_t ONE_OF = 64;
    static constexpr auto IS_CONTROL = [] {
        std::array<std::uint8_t, 0x100> is{};
        for (std::size_t c = 0; c < ' '; ++c) {
            is[c] = (c < '\b' || c > '\r') && c != ESCAPE && c != '\x1A' ? 1 : 0;
        }
        is[0x7F] = 1;
        return is;
    }();
    constexpr std::size_t LOOKED_AT = std::size_t{64} << 10;
    text = text.substr(0, LOOKED_AT);
    std::size_t controls = 0;
    for (const char c : text) {
        controls += IS_CONTROL[static_cast<unsigned char>(c)];
    }
    return controls > 1 + text.size() / ONE_OF;
}

TEXT_FINDING::LINE_ENDS FindLineEnds(std::string_view text, std::size_t width, bool isBigEndian) {
    if (width == 1 && text.find('\r') == std::string_view::npos) {
        return text.find('\n') == std::string_view::npos ? TEXT_FINDING::NO_ENDS : TEXT_FINDING::LF;
    }
    const std::size_t low = isBigEndian ? width - 1 : 0;
    const auto characterAt = [&](std::size_t pos) {
        unsigned int others = 0;
        for (std::size_t i = 0; i < width; ++i) {
            others |= i == low ? 0U : static_cast<unsigned char>(text[pos + i]);
        }
        return others != 0 ? '\0' : text[pos + low];
    };
    bool hasLf = false;
    bool hasCrLf = false;
    bool hasCr = false;
    bool isBehindCr = false;
    for (std::size_t pos = 0; pos + width <= text.size(); pos += width) {
        const char c = characterAt(pos);
        hasCrLf = hasCrLf || (isBehindCr && c == '\n');
        hasLf = hasLf || (!isBehindCr && c == '\n');
        hasCr = hasCr || (isBehindCr && c != '\n');
        isBehindCr = c == '\r';
    }
    hasCr = hasCr || isBehindCr;
    const int kinds = int{hasLf} + int{hasCrLf} + int{hasCr};
    return kinds > 1 ? TEXT_FINDING::MIXED
           : hasLf   ? TEXT_FINDING::LF
           : hasCrLf ? TEXT_FINDING::CRLF
           : hasCr   ? TEXT_FINDING::CR
                     : TEXT_FINDING::NO_ENDS;
}

} // namespace Quil::IMPL
