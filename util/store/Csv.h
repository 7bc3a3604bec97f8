// Tables of text cells as files of comma-separated values (RFC 4180): as a stream of rows, of which
// one is in memory at a time, or as a table.
//
// A cell stands as it is or in quotes; within quotes everything is text, line ends and separators
// too, and a quote is written twice. What complicates it: programs differ on all else. Here rows
// end with LF or CRLF, a CR by itself is text, text behind a closing quote belongs to the cell, a
// byte-order mark at the begin is none of the table, and an empty line is a row without cells.
#pragma once

#include "util/base/visibility.h"
#include "util/file/data_object.h"
#include "util/text/stringEx.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace QUIL_PUBLIC Quil {

/// How the cells are parted and quoted: two different bytes, neither of them CR or LF.
struct CSV_FORM {
    char separator = ',';
    char quote = '"';
    bool endsWithCr = true; ///< rows are written with CRLF, not with LF
};

using CSV_ROW = std::vector<stringEx>;

/// Reads rows from a source, which must stay. For one thread.
class CCsvReader {
public:
    explicit CCsvReader(const TDataSource& source, const CSV_FORM& form = {});
    CCsvReader(const CCsvReader&) = delete;
    CCsvReader& operator=(const CCsvReader&) = delete;
    ~CCsvReader();

    /// The next row; false at the end. What the source throws passes through. A quote that is never
    /// closed throws `csvExp`, code 1, with the line and column (in bytes, from 1 on) where it
    /// stands.
    bool Next(CSV_ROW& row);

    /// The line on which the last row began, from 1 on: rows may have several lines.
    std::uint64_t GetLine() const { return __rowLine; }
    /// Where the cell in quotes began that was read last: its line, and its column in bytes.
    std::uint64_t GetQuoteLine() const { return __quoteLine; }
    std::uint64_t GetQuoteColumn() const { return __quoteColumn; }

private:
    static constexpr int sm_end = -1;

    int __Peek();
    int __Take();
    void __SkipMark();
    void __ReadCell(stringEx& cell, bool isQuoted);
    void __ReadQuoted(stringEx& cell);

    const TDataSource& __source;
    CSV_FORM __form;
    std::unique_ptr<char[]> __block;
    unsigned int __begin = 0; ///< of what wasn't taken of the block
    unsigned int __end = 0;
    bool __isAtStart = true;
    std::uint64_t __line = 1;
    std::uint64_t __column = 0; ///< bytes of the line that were taken
    std::uint64_t __rowLine = 0;
    std::uint64_t __quoteLine = 0;
    std::uint64_t __quoteColumn = 0;
};

/// Writes rows to a sink, which must stay. For one thread.
class CCsvWriter {
public:
    explicit CCsvWriter(TDataSink& sink, const CSV_FORM& form = {}) : __sink(sink), __form(form) {}

    /// What the sink throws passes through; one that takes nothing more throws `csvExp`, code 2.
    void Append(const CSV_ROW& row);

private:
    void __AppendCell(const stringEx& cell);

    TDataSink& __sink;
    CSV_FORM __form;
    stringEx __text; ///< the row
};

/// A table. Its rows need not be equally long.
class CCsv {
public:
    CCsv() = default;

    /// The rows of a source, or of a text, take the place of those that are there; after an
    /// exception these are as they were.
    void Read(const TDataSource& source, const CSV_FORM& form = {});
    void Parse(const stringEx& text, const CSV_FORM& form = {});

    void Write(TDataSink& sink, const CSV_FORM& form = {}) const;
    stringEx Format(const CSV_FORM& form = {}) const;

    std::size_t GetRowCount() const { return __rows.size(); }
    const CSV_ROW& GetRow(std::size_t row) const { return __rows.at(row); }
    /// Empty where there is none.
    stringEx GetCell(std::size_t row, std::size_t column) const;
    /// Makes the table as large as it takes.
    void SetCell(std::size_t row, std::size_t column, const stringEx& text);
    void Append(const CSV_ROW& row) { __rows.push_back(row); }
    void Clear() { __rows.clear(); }

    friend bool operator==(const CCsv& a, const CCsv& b) { return a.__rows == b.__rows; }

private:
    std::vector<CSV_ROW> __rows;
};

} // namespace Quil
