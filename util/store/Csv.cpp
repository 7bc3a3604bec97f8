#include "util/store/Csv.h"

#include "util/file/ByteIO.h"
#include "util/file/generic_stream.h"
#include "util/sys/errhdl.h"
#include "util/text/byteEx.h"

#include <string_view>

namespace Quil {

namespace {

constexpr unsigned int BLOCK_SIZE = 64 * 1024;
constexpr unsigned int UNCLOSED = 1;
constexpr unsigned int NOT_WRITTEN = 2;
constexpr std::string_view MARK = "\xEF\xBB\xBF";

} // namespace

CCsvReader::CCsvReader(const TDataSource& source, const CSV_FORM& form)
    : __source(source), __form(form), __block(std::make_unique_for_overwrite<char[]>(BLOCK_SIZE)) {}

CCsvReader::~CCsvReader() = default;

/// The next byte, or sm_end.
int CCsvReader::__Peek() {
    if (__begin == __end) {
        __begin = 0;
        __end = __source.Read(__block.get(), BLOCK_SIZE);
        if (__end == 0) {
            return sm_end;
        }
    }
    return static_cast<unsigned char>(__block[__begin]);
}

int CCsvReader::__Take() {
    const int byte = __Peek();
    if (byte != sm_end) {
        ++__begin;
        ++__column;
    }
    if (byte == '\n') {
        ++__line;
        __column = 0;
    }
    return byte;
}

/// The mark, if there is one, is three bytes at the start; a source may give them one by one.
void CCsvReader::__SkipMark() {
    while (__end < MARK.size()) {
        const unsigned int count = __source.Read(__block.get() + __end, BLOCK_SIZE - __end);
        if (count == 0) {
            break;
        }
        __end += count;
    }
    if (std::string_view(__block.get(), __end).starts_with(MARK)) {
        __begin = MARK.size();
    }
}

bool CCsvReader::Next(CSV_ROW& row) {
    row.clear();
    if (__isAtStart) {
        __isAtStart = false;
        __SkipMark();
    }
    if (__Peek() == sm_end) {
        return false;
    }
    __rowLine = __line;
    for (;;) {
        const bool isQuoted = __Peek() == static_cast<unsigned char>(__form.quote);
        stringEx& cell = row.emplace_back();
        __ReadCell(cell, isQuoted);
        if (__Peek() == static_cast<unsigned char>(__form.separator)) {
            __Take();
            continue;
        }
        __Take(); // the line feed, if it isn't the end of all
        if (row.size() == 1 && cell.empty() && !isQuoted) {
            row.clear();
        }
        return true;
    }
}

/// A cell up to the separator, the line feed or the end; the CR of a row's end goes with it.
void CCsvReader::__ReadCell(stringEx& cell, bool isQuoted) {
    if (isQuoted) {
        __ReadQuoted(cell);
    }
    for (int byte = __Peek();
         byte != sm_end && byte != '\n' && byte != static_cast<unsigned char>(__form.separator);
         byte = __Peek()) {
        __Take();
        if (byte != '\r' || __Peek() != '\n') {
            cell.push_back(static_cast<char>(byte));
        }
    }
}

void CCsvReader::__ReadQuoted(stringEx& cell) {
    __quoteLine = __line;
    __quoteColumn = __column + 1;
    __Take();
    for (;;) {
        const int byte = __Take();
        if (byte == sm_end) {
            stringEx message("CCsvReader::Next - unclosed quote\n  line   = ");
            message.append_ulong(__quoteLine, 10).append("\n  column = ");
            throw csvExp(UNCLOSED, message.append_ulong(__quoteColumn, 10));
        }
        if (byte != static_cast<unsigned char>(__form.quote)) {
            cell.push_back(static_cast<char>(byte));
        } else if (__Peek() != byte) {
            return;
        } else {
            cell.push_back(static_cast<char>(__Take()));
        }
    }
}

void CCsvWriter::__AppendCell(const stringEx& cell) {
    // At the begin of all a mark that is text would be taken for one.
    bool isPlain = !std::string_view(cell.data(), cell.length()).starts_with(MARK);
    for (const char c : cell) {
        isPlain = isPlain && c != __form.separator && c != __form.quote && c != '\r' && c != '\n';
    }
    if (isPlain) {
        __text.append(cell);
        return;
    }
    __text.push_back(__form.quote);
    for (const char c : cell) {
        if (c == __form.quote) {
            __text.push_back(c);
        }
        __text.push_back(c);
    }
    __text.push_back(__form.quote);
}

void CCsvWriter::Append(const CSV_ROW& row) {
    __text.clear();
    if (row.size() == 1 && row.front().empty()) { // an empty line would be a row without cells
        __text.push_back(__form.quote);
        __text.push_back(__form.quote);
    }
    for (std::size_t i = 0; i < row.size(); ++i) {
        if (i != 0) {
            __text.push_back(__form.separator);
        }
        __AppendCell(row[i]);
    }
    __text.append(__form.endsWithCr ? "\r\n" : "\n");
    for (unsigned int done = 0; done < __text.length();) {
        const unsigned int count = __sink.Write(__text.data() + done, __text.length() - done);
        if (count == 0) {
            throw csvExp(NOT_WRITTEN, stringEx("CCsvWriter::Append - the sink takes nothing more"));
        }
        done += count;
    }
}

void CCsv::Read(const TDataSource& source, const CSV_FORM& form) {
    CCsvReader reader(source, form);
    std::vector<CSV_ROW> rows;
    for (CSV_ROW row; reader.Next(row);) {
        rows.push_back(std::move(row));
    }
    __rows = std::move(rows);
}

void CCsv::Parse(const stringEx& text, const CSV_FORM& form) {
    byteEx bytes = static_cast<byteEx>(text);
    const CGenericSeekableSource<CByteIO> source{CByteIO(&bytes)};
    Read(source, form);
}

void CCsv::Write(TDataSink& sink, const CSV_FORM& form) const {
    CCsvWriter writer(sink, form);
    for (const CSV_ROW& row : __rows) {
        writer.Append(row);
    }
}

stringEx CCsv::Format(const CSV_FORM& form) const {
    byteEx bytes;
    CGenericSeekableSink<CByteIO> sink{CByteIO(&bytes)};
    Write(sink, form);
    return stringEx(reinterpret_cast<const char*>(bytes.data()), bytes.length());
}

stringEx CCsv::GetCell(std::size_t row, std::size_t column) const {
    return row < __rows.size() && column < __rows[row].size() ? __rows[row][column] : stEMPTY;
}

void CCsv::SetCell(std::size_t row, std::size_t column, const stringEx& text) {
    if (__rows.size() <= row) {
        __rows.resize(row + 1);
    }
    if (__rows[row].size() <= column) {
        __rows[row].resize(column + 1);
    }
    __rows[row][column] = text;
}

} // namespace Quil
