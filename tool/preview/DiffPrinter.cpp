#include "tool/preview/DiffPrinter.h"

#include "tool/standard_output.h"
#include "util/file/dir.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace Quil {

namespace {

constexpr const char* PLAIN = "\x1B[m";
constexpr const char* BOLD = "\x1B[1m";
constexpr const char* RED = "\x1B[31m";
constexpr const char* GREEN = "\x1B[32m";
constexpr const char* CYAN = "\x1B[36m";
constexpr const char* REVERSE = "\x1B[7m";
constexpr const char* NOT_REVERSE = "\x1B[27m";

std::string_view View(const stringEx& text) {
    return {text.data(), text.length()};
}

bool IsControl(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7F;
}

/// A path as diffs write it: one with control characters, quotes or backslashes is quoted, and one
/// with blanks is ended by a tab, so that what reads it knows its end.
std::string HeaderPath(std::string_view path) {
    const bool isPlain =
        std::ranges::none_of(path, [](char c) { return IsControl(c) || c == '"' || c == '\\'; });
    if (isPlain) {
        return std::string(path) + (path.find(' ') != std::string_view::npos ? "\t" : "");
    }
    std::string quoted = "\"";
    for (const char c : path) {
        if (IsControl(c)) {
            char octal[8];
            std::snprintf(octal, sizeof octal, "\\%03o", static_cast<unsigned int>(c));
            quoted += octal;
        } else {
            quoted += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
        }
    }
    return quoted + "\"";
}

std::string Range(std::uint64_t begin, std::uint64_t count) {
    // A range without lines is told by the line in front of it.
    std::string range = std::to_string(count == 0 ? begin - 1 : begin);
    return count == 1 ? range : range + "," + std::to_string(count);
}

/// What a terminal must not take for its own commands is shown as "^X".
std::string Harmless(std::string_view text) {
    std::string shown;
    for (const char c : text) {
        if (IsControl(c) && c != '\t') {
            shown += '^';
            shown += static_cast<char>(c ^ 0x40);
        } else {
            shown += c;
        }
    }
    return shown;
}

/// Of two lines the stretch of the first one that isn't as in the other.
std::pair<std::size_t, std::size_t> ChangedStretch(std::string_view line, std::string_view other) {
    const auto isInside = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
    const std::size_t most = std::min(line.size(), other.size());
    std::size_t begin = 0;
    while (begin < most && line[begin] == other[begin]) {
        ++begin;
    }
    std::size_t same = 0; // at the end
    while (same < most - begin && line[line.size() - 1 - same] == other[other.size() - 1 - same]) {
        ++same;
    }
    // Whole characters, where they are of UTF-8; in other charsets it is only emphasis.
    while (begin > 0 && begin < line.size() && isInside(line[begin])) {
        --begin;
    }
    while (same > 0 && isInside(line[line.size() - same])) {
        --same;
    }
    return {begin, line.size() - same};
}

} // namespace

stringEx ShownPath(const stringEx& path) {
    static const stringEx here = CDir::GetPwd();
    return path.begin_with(here) ? path.substr(here.length(), stringEx::npos) : path;
}

CDiffPrinter::CDiffPrinter(const Run& run)
    : __run(run), __isShown(::isatty(STDOUT_FILENO) != 0),
      __hasColor(run.color == COLOR::ALWAYS ||
                 (run.color == COLOR::AUTO && __isShown && std::getenv("NO_COLOR") == nullptr)),
      __terminal(GainBestSysDefConv()) {}

void CDiffPrinter::StartFile(const stringEx& path) {
    __path = path;
    __hasHeader = false;
}

void CDiffPrinter::__PrintHeader() {
    std::string path = HeaderPath(View(ShownPath(__path)));
    if (__run.isFound) { // behind a tab is what programs that apply diffs leave out
        path.append(path.ends_with('\t') ? "(" : "\t(").append(View(__run.in.name)).append(")");
    }
    const std::string_view on = __hasColor ? BOLD : "";
    const std::string_view off = __hasColor ? PLAIN : "";
    std::string header;
    for (const char* const mark : {"--- ", "+++ "}) {
        header.append(on).append(mark).append(path).append(off).append("\n");
    }
    PrintText(header);
    __hasHeader = true;
}

void CDiffPrinter::Print(const DIFF_HUNK& hunk) {
    if (!__hasHeader) {
        __PrintHeader();
    }
    std::string range = "@@ -" + Range(hunk.oldBegin, hunk.oldCount) + " +" +
                        Range(hunk.newBegin, hunk.newCount) + " @@";
    PrintText((__hasColor ? CYAN + range + PLAIN : range) + "\n");
    for (std::size_t i = 0; i < hunk.lines.size();) {
        const auto endOf = [&](std::size_t begin, char kind) {
            while (begin < hunk.lines.size() && hunk.lines[begin].kind == kind) {
                ++begin;
            }
            return begin;
        };
        const std::size_t oldEnd = endOf(i, '-');
        const std::size_t newEnd = endOf(oldEnd, '+');
        // Of as many lines before as after the change each has become its counterpart.
        const std::size_t count = oldEnd - i;
        const bool arePairs = count != 0 && newEnd - oldEnd == count;
        const std::size_t end = std::max(newEnd, i + 1);
        for (std::size_t k = i; k < end; ++k) {
            __PrintLine(hunk.lines[k], !arePairs    ? nullptr
                                       : k < oldEnd ? &hunk.lines[k + count]
                                                    : &hunk.lines[k - count]);
        }
        i = end;
    }
}

void CDiffPrinter::__PrintLine(const DIFF_LINE& line, const DIFF_LINE* other) {
    const bool isWhole = line.text.ends_with('\n');
    std::string text = __Shown(line);
    const std::string_view color = line.kind == '-' ? RED : line.kind == '+' ? GREEN : "";
    std::string shown(1, line.kind);
    if (!__hasColor || color.empty()) {
        shown += text;
    } else {
        auto [begin, end] = other != nullptr ? ChangedStretch(text, __Shown(*other))
                                             : std::pair<std::size_t, std::size_t>{0, 0};
        if (begin < end) {
            text.insert(end, NOT_REVERSE);
            text.insert(begin, REVERSE);
        }
        shown = std::string(color) + shown + text + PLAIN;
    }
    PrintText(shown + "\n" + (isWhole ? "" : "\\ No newline at end of file\n"));
}

/// A line's text without its end, as it is to be seen.
std::string CDiffPrinter::__Shown(const DIFF_LINE& line) const {
    std::string_view text = line.text;
    if (text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    if (!__isShown) {
        return std::string(text);
    }
    const CHARSET& charset = line.kind == '+' ? __run.out : __run.in;
    const stringEx bytes(text.data(), static_cast<unsigned int>(text.size()));
    const stringEx converted = __terminal->WCtoMB(charset.converter->MBtoWC(bytes));
    return Harmless(View(converted));
}

} // namespace Quil
