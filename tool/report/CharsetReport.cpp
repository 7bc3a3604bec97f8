#include "tool/report/CharsetReport.h"

#include "tool/WayChoice.h"
#include "tool/charset_names.h"
#include "tool/preview/DiffPrinter.h"
#include "tool/standard_output.h"
#include "util/conv/block_conversion.h"
#include "util/conv/utf8_validation.h"
#include "util/file/sysfile.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <fcntl.h>
#include <iostream>
#include <sys/stat.h>

namespace Quil {

namespace {

constexpr unsigned int WIDEST_PATH = 60;
// The columns behind the path's.
constexpr unsigned int CHARSET_WIDTH = 18;
constexpr unsigned int CONFIDENCE_WIDTH = 12;
constexpr unsigned int MARK_WIDTH = 6;
constexpr unsigned int ENDS_WIDTH = 11;

const char* NameOf(TEXT_FINDING::LINE_ENDS ends) {
    static constexpr const char* NAMES[] = {"none", "LF", "CRLF", "CR", "mixed"};
    return NAMES[ends];
}

stringEx CharsetOf(const TEXT_FINDING& found) {
    switch (found.kind) {
    case TEXT_FINDING::EMPTY:
        return stringEx("empty");
    case TEXT_FINDING::BINARY:
        return stringEx("binary");
    case TEXT_FINDING::UNKNOWN:
        return stringEx("unknown");
    default:
        return ShownCharset(found.charset);
    }
}

stringEx Number(std::uint64_t number) {
    stringEx text;
    text.append_ulong(number, 10);
    return text;
}

void AppendColumn(stringEx& line, const stringEx& text, unsigned int width) {
    line.append(text);
    do {
        line.push_back(' ');
        --width;
    } while (width > text.length());
}

/// A string of JSON. What isn't UTF-8 can't stand in one: each such byte is written as the lone
/// surrogate by which several languages tell that they met it.
stringEx Quoted(const stringEx& text) {
    stringEx quoted("\"");
    for (unsigned int pos = 0; pos < text.length();) {
        const std::size_t valid = IMPL::ValidUtf8Length(text.data() + pos, text.length() - pos);
        for (const unsigned int end = pos + static_cast<unsigned int>(valid); pos < end; ++pos) {
            const char c = text[pos];
            if (c == '"' || c == '\\') {
                quoted.push_back('\\');
                quoted.push_back(c);
            } else if (static_cast<unsigned char>(c) < ' ') {
                quoted.append_format("\\u%04x", static_cast<unsigned int>(c));
            } else {
                quoted.push_back(c);
            }
        }
        if (pos < text.length()) {
            quoted.append_format(
                "\\udc%02x", static_cast<unsigned int>(static_cast<unsigned char>(text[pos++])));
        }
    }
    return quoted.append("\"");
}

stringEx JsonOf(const stringEx& path, const TEXT_FINDING& found) {
    stringEx line("{\"path\":");
    line.append(Quoted(path)).append(",\"charset\":").append(Quoted(CharsetOf(found)));
    line.append(",\"confidence\":").append(Number(found.confidence));
    line.append(",\"mark\":").append(found.markLength != 0 ? "true" : "false");
    line.append(",\"lineEnds\":\"").append(NameOf(found.lineEnds)).append("\"");
    if (!found.second.empty()) {
        line.append(",\"second\":").append(Quoted(ShownCharset(found.second)));
        line.append(",\"secondConfidence\":").append(Number(found.secondConfidence));
    }
    if (found.undecoded) {
        line.append(",\"undecoded\":").append(Number(*found.undecoded));
    }
    return line.append("}\n");
}

stringEx FieldsOf(const stringEx& path, const TEXT_FINDING& found) {
    stringEx fields;
    for (const stringEx& field : {path, CharsetOf(found), Number(found.confidence),
                                  stringEx(found.markLength != 0 ? "yes" : "no"),
                                  stringEx(NameOf(found.lineEnds)), ShownCharset(found.second)}) {
        fields.append(field).push_back('\0');
    }
    return fields;
}

/// Where the source's input isn't UTF-8 any more.
std::optional<std::uint64_t> FindNotUtf8(CBlockSource& source) {
    constexpr std::size_t LONGEST_SEQUENCE = 4;
    for (bool isLast = false; !isLast;) {
        const BLOCK block = source.Next();
        isLast = block.isLast;
        const std::size_t valid = IMPL::ValidUtf8Length(block.data, block.length);
        if (valid != block.length && (isLast || block.length - valid >= LONGEST_SEQUENCE)) {
            return source.GetPlace() + valid;
        }
        source.Take(valid);
    }
    return std::nullopt;
}

} // namespace

CCharsetReport::CCharsetReport(const Run& run) : __run(run), __detect(run.candidates) {
    for (const stringEx& path : run.fileList) {
        __width = std::max(__width, ShownPath(path).length());
    }
    __width = std::clamp(__width + 2, 6U, WIDEST_PATH);
}

bool CCharsetReport::PrintAll() {
    if (!__run.asJson && !__run.endsByNull) {
        __PrintHead();
    }
    if (__run.stdioMode) {
        __source.StartPipe({});
        __Print(stringEx("-"), __Find(false));
        return true;
    }
    bool isAllRead = true;
    for (const stringEx& path : __run.fileList) {
        isAllRead = (__run.fifos.count(path) != 0 || __PrintFile(path)) && isAllRead;
    }
    return isAllRead;
}

bool CCharsetReport::__PrintFile(const stringEx& path) {
    try {
        CSysFile file;
        file.Open(path, CSysFile::ACCESS_READ, O_NONBLOCK, 0, 0, 0);
        struct stat state = {};
        file.GetStatus(state);
        if (!S_ISREG(state.st_mode)) {
            return true;
        }
        __source.StartFile(file, static_cast<std::uint64_t>(state.st_size));
        __Print(path, __Find(true));
        return true;
    } catch (const sysfileExp& cause) {
        std::cerr << "[ERROR] failed reading file: " << path << "\n@ " << cause.GetErrString()
                  << "\n";
        return false;
    }
}

TEXT_FINDING CCharsetReport::__Find(bool isFile) {
    TEXT_FINDING found = FindCharset(__detect, __source, isFile && __run.readsAll);
    if (__run.readsAll && isFile && found.kind == TEXT_FINDING::TEXT && !found.undecoded) {
        __ReadOn(found);
    }
    return found;
}

/// Sees whether what wasn't looked at decodes as well.
void CCharsetReport::__ReadOn(TEXT_FINDING& found) {
    if (found.charset == "UTF-8") {
        found.undecoded = FindNotUtf8(__source);
        return;
    }
    const CTextConvHandle converter = GainBestConvFor(0, found.charset);
    if (!CanGoByBlocks(*converter)) {
        return;
    }
    CWideWindow window;
    CBlockDecoder decoder(*converter);
    decoder.Start(window, CBlockDecoder::sm_unknownLength);
    for (bool isLast = false; !isLast && !found.undecoded;) {
        const BLOCK block = __source.Next();
        isLast = block.isLast;
        for (std::size_t done = 0;;) {
            window.Clear();
            const std::size_t taken =
                decoder.Fill(block.data + done, block.length - done, block.isLast);
            done += taken;
            if (taken == 0 || done == block.length) {
                __source.Take(done);
                break;
            }
        }
        if (decoder.GetLoss().count != 0) {
            found.undecoded = decoder.GetLoss().place;
        }
    }
}

void CCharsetReport::__PrintHead() const {
    stringEx line;
    AppendColumn(line, stringEx("PATH"), __width);
    AppendColumn(line, stringEx("CHARSET"), CHARSET_WIDTH);
    AppendColumn(line, stringEx("CONFIDENCE"), CONFIDENCE_WIDTH);
    AppendColumn(line, stringEx("MARK"), MARK_WIDTH);
    AppendColumn(line, stringEx("LINE ENDS"), ENDS_WIDTH);
    PrintText(line.append("SECOND\n"));
}

void CCharsetReport::__Print(const stringEx& path, const TEXT_FINDING& found) {
    const stringEx shown = ShownPath(path);
    if (__run.asJson || __run.endsByNull) {
        PrintText(__run.asJson ? JsonOf(shown, found) : FieldsOf(shown, found));
        return;
    }
    const bool isText = found.kind == TEXT_FINDING::TEXT;
    const stringEx none("-");
    stringEx line;
    AppendColumn(line, shown, __width);
    AppendColumn(line, CharsetOf(found), CHARSET_WIDTH);
    AppendColumn(line, isText ? Number(found.confidence) : none, CONFIDENCE_WIDTH);
    AppendColumn(line, stringEx(found.markLength != 0 ? "yes" : "no"), MARK_WIDTH);
    AppendColumn(line, isText ? stringEx(NameOf(found.lineEnds)) : none, ENDS_WIDTH);
    if (found.second.empty()) {
        line.append(none);
    } else {
        line.append(ShownCharset(found.second)).append(" ").append(Number(found.secondConfidence));
    }
    if (found.undecoded) {
        line.append("; doesn't decode from offset ").append(Number(*found.undecoded));
    }
    PrintText(line.append("\n"));
}

} // namespace Quil
