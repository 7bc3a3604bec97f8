// The difference of two texts by lines, found while both come in pieces: hunks of what is changed
// with some lines around it, as "diff -u" shows them.
//
// Nearly all of both texts is the same, and only counted. What complicates it: the pieces of the
// two texts end where they like, and one may be ahead of the other. So what isn't decided waits,
// both texts from the same line on. Where replacements keep the lines, line goes with line; else
// the shortest script is looked for, in a window, and as far as that pays.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Quil {

/// A line of a hunk.
struct DIFF_LINE {
    char kind;        ///< ' ' in both texts, '-' in the old one, '+' in the new one
    std::string text; ///< with its line end, which the last line of a text may lack
};

struct DIFF_HUNK {
    std::uint64_t oldBegin = 0; ///< number of its first line, from 1 on
    std::uint64_t oldCount = 0; ///< lines
    std::uint64_t newBegin = 0;
    std::uint64_t newCount = 0;
    std::vector<DIFF_LINE> lines;
};

/// Compares one pair of texts after the other. For one thread.
class CLineDiff {
public:
    using TAKE = std::function<void(const DIFF_HUNK&)>;

    /// @param keepsLines  each line of the old text becomes one of the new text
    /// @param take  is given the hunks, in their order
    CLineDiff(bool keepsLines, TAKE take) : __keepsLines(keepsLines), __take(std::move(take)) {}

    /// Both texts go on by these bytes.
    void Same(std::string_view bytes);
    /// The old and the new text go on by these.
    void Differ(std::string_view old, std::string_view bytes);
    /// Both texts are at their end; the next pair begins.
    void Finish();

private:
    static constexpr std::size_t sm_context = 3; ///< lines around a change

    /// What waits of a text: from the begin of a line on.
    class CPending {
    public:
        std::string_view Get() const { return std::string_view(__text).substr(__begin); }
        bool IsEmpty() const { return __begin == __text.size(); }
        void Append(std::string_view bytes);
        void Drop(std::size_t count) { __begin += count; }

    private:
        std::string __text;
        std::size_t __begin = 0; ///< of what wasn't dropped
    };

    void __Advance(bool isLast);
    bool __TakePair(bool isLast);
    bool __TakeScript(bool isLast);
    void __Equal(std::string_view lines);
    void __EqualInHunk(std::string_view line);
    void __Change(std::string_view old, std::string_view bytes);
    void __OpenHunk();
    void __PutNew();
    void __CloseHunk();

    bool __keepsLines;
    TAKE __take;
    CPending __old;
    CPending __new;
    std::size_t __tried = 0;     ///< bytes that were too few for a script
    std::uint64_t __oldLine = 0; ///< lines that are decided on
    std::uint64_t __newLine = 0;
    bool __isOpen = false;
    DIFF_HUNK __hunk;
    std::size_t __hunkSize = 0;          ///< bytes of its changes
    std::vector<std::string> __newLines; ///< of the change at the hunk's end
    std::deque<std::string> __equal;     ///< equal lines in front, or at the open hunk's end
};

} // namespace Quil
