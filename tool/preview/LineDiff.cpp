#include "tool/preview/LineDiff.h"

#include "tool/preview/edit_script.h"

#include <algorithm>
#include <cstring>

namespace Quil {

namespace {

constexpr std::size_t WINDOW_LINES = 4096;                 // for a script
constexpr std::size_t WINDOW_BYTES = std::size_t{1} << 15; // before one is looked for
constexpr std::size_t MOST_OF_HUNK = std::size_t{64} << 20;

std::size_t CommonPrefix(std::string_view a, std::string_view b) {
    constexpr std::size_t STRIDE = 4096;
    const std::size_t most = std::min(a.size(), b.size());
    std::size_t same = 0;
    while (most - same >= STRIDE && std::memcmp(a.data() + same, b.data() + same, STRIDE) == 0) {
        same += STRIDE;
    }
    const auto end = a.begin() + static_cast<std::ptrdiff_t>(most);
    return static_cast<std::size_t>(std::mismatch(a.begin() + static_cast<std::ptrdiff_t>(same),
                                                  end,
                                                  b.begin() + static_cast<std::ptrdiff_t>(same))
                                        .first -
                                    a.begin());
}

/// Eight bytes at a time: nearly all of a text is only counted.
std::uint64_t CountLineEnds(std::string_view text) {
    constexpr std::uint64_t ENDS = 0x0A0A0A0A0A0A0A0A;
    constexpr std::uint64_t LOW_BITS = 0x7F7F7F7F7F7F7F7F;
    constexpr std::uint64_t ONES = 0x0101010101010101;
    constexpr unsigned int HIGH_BIT = 7;
    constexpr unsigned int TOP_BYTE = 56;
    std::uint64_t count = 0;
    for (; text.size() >= sizeof(std::uint64_t); text.remove_prefix(sizeof(std::uint64_t))) {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, text.data(), sizeof bytes);
        bytes ^= ENDS;
        const std::uint64_t isOther = ((bytes & LOW_BITS) + LOW_BITS) | bytes | LOW_BITS;
        count += (~isOther >> HIGH_BIT) * ONES >> TOP_BYTE; // the sum of the bytes
    }
    return count + static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

/// Behind the last line end; 0 if there is none.
std::size_t BehindLines(std::string_view text) {
    return text.rfind('\n') + 1;
}

/// The length of the first line with its end; 0 if it isn't complete, unless the text is.
std::size_t FirstLine(std::string_view text, bool isLast) {
    const std::size_t end = text.find('\n');
    return end != std::string_view::npos ? end + 1 : isLast ? text.size() : 0;
}

std::vector<std::string_view> SplitLines(std::string_view text, bool isLast, std::size_t most) {
    std::vector<std::string_view> lines;
    while (lines.size() < most) {
        const std::size_t length = FirstLine(text, isLast);
        if (length == 0) {
            break;
        }
        lines.push_back(text.substr(0, length));
        text.remove_prefix(length);
    }
    return lines;
}

} // namespace

void CLineDiff::CPending::Append(std::string_view bytes) {
    if (__begin >= __text.size() - __begin) {
        __text.erase(0, __begin); // moves no more than was dropped
        __begin = 0;
    }
    __text.append(bytes);
}

/// What waits is mostly the begin of a line, whose end settles it: the rest needs no waiting.
void CLineDiff::Same(std::string_view bytes) {
    if (!__old.IsEmpty() || !__new.IsEmpty()) {
        const std::size_t length = FirstLine(bytes, true);
        Differ(bytes.substr(0, length), bytes.substr(0, length));
        bytes.remove_prefix(length);
    }
    if (__old.IsEmpty() && __new.IsEmpty()) {
        const std::size_t whole = BehindLines(bytes);
        __Equal(bytes.substr(0, whole));
        bytes.remove_prefix(whole);
    }
    Differ(bytes, bytes);
}

void CLineDiff::Differ(std::string_view old, std::string_view bytes) {
    __old.Append(old);
    __new.Append(bytes);
    __Advance(false);
}

void CLineDiff::Finish() {
    __Advance(true);
    if (__isOpen) {
        __CloseHunk();
    }
    __equal.clear();
    __oldLine = __newLine = 0;
}

void CLineDiff::__Advance(bool isLast) {
    for (;;) {
        const std::string_view old = __old.Get();
        const std::string_view changed = __new.Get();
        const std::size_t same = CommonPrefix(old, changed);
        const bool areSame = isLast && same == old.size() && same == changed.size();
        const std::size_t whole = areSame ? same : BehindLines(old.substr(0, same));
        if (whole != 0) {
            __Equal(old.substr(0, whole));
            __old.Drop(whole);
            __new.Drop(whole);
            __tried = 0;
        }
        if ((__old.IsEmpty() && __new.IsEmpty()) ||
            !(__keepsLines ? __TakePair(isLast) : __TakeScript(isLast))) {
            return;
        }
    }
}

/// Takes a line of each text as a change. False if they must wait.
bool CLineDiff::__TakePair(bool isLast) {
    const std::size_t old = FirstLine(__old.Get(), isLast);
    const std::size_t changed = FirstLine(__new.Get(), isLast);
    if (!isLast && (old == 0 || changed == 0)) {
        return false;
    }
    __Change(__old.Get().substr(0, old), __new.Get().substr(0, changed));
    __old.Drop(old);
    __new.Drop(changed);
    return true;
}

/// Takes what a script says up to where the texts meet again. False if that isn't in sight yet.
bool CLineDiff::__TakeScript(bool isLast) {
    const std::size_t size = std::min(__old.Get().size(), __new.Get().size());
    if (!isLast && size < std::max(WINDOW_BYTES, 2 * __tried)) {
        return false;
    }
    const std::vector<std::string_view> old = SplitLines(__old.Get(), isLast, WINDOW_LINES);
    const std::vector<std::string_view> changed = SplitLines(__new.Get(), isLast, WINDOW_LINES);
    const bool isFull = old.size() == WINDOW_LINES || changed.size() == WINDOW_LINES;
    const bool isAll = isLast && !isFull;
    const std::vector<EDIT> edits = FindEditScript(old, changed, isAll);
    if (edits.empty() && !isLast && !isFull) {
        __tried = size;
        return false;
    }
    std::size_t o = 0;
    std::size_t n = 0;
    for (const EDIT& edit : edits) {
        for (; o != edit.old; ++o, ++n) {
            __Equal(old[o]);
        }
        for (; o != edit.old + edit.oldCount; ++o) {
            __Change(old[o], {});
        }
        for (; n != edit.changed + edit.newCount; ++n) {
            __Change({}, changed[n]);
        }
    }
    if (edits.empty()) { // nothing in them meets
        for (; o != old.size(); ++o) {
            __Change(old[o], {});
        }
        for (; n != changed.size(); ++n) {
            __Change({}, changed[n]);
        }
    }
    const auto length = [](const std::vector<std::string_view>& lines, std::size_t count) {
        std::size_t sum = 0;
        for (std::size_t i = 0; i < count; ++i) {
            sum += lines[i].size();
        }
        return sum;
    };
    __old.Drop(length(old, o));
    __new.Drop(length(changed, n));
    __tried = 0;
    return true;
}

/// Lines that are in both texts.
void CLineDiff::__Equal(std::string_view lines) {
    while (__isOpen && !lines.empty()) {
        const std::size_t length = FirstLine(lines, true);
        __EqualInHunk(lines.substr(0, length));
        lines.remove_prefix(length);
    }
    if (lines.empty()) {
        return;
    }
    const std::uint64_t count = CountLineEnds(lines) + (lines.back() == '\n' ? 0 : 1);
    __oldLine += count;
    __newLine += count;
    // The last of them are kept, from the back.
    std::vector<std::string_view> last;
    while (!lines.empty() && last.size() < sm_context) {
        const std::size_t begin =
            lines.size() < 2 ? 0 : BehindLines(lines.substr(0, lines.size() - 1));
        last.push_back(lines.substr(begin));
        lines.remove_suffix(lines.size() - begin);
    }
    for (auto line = last.rbegin(); line != last.rend(); ++line) {
        __equal.emplace_back(*line);
    }
    while (__equal.size() > sm_context) {
        __equal.pop_front();
    }
}

/// Changes with no more lines between them than are shown around both stand in one hunk.
void CLineDiff::__EqualInHunk(std::string_view line) {
    __PutNew();
    __equal.emplace_back(line);
    ++__oldLine;
    ++__newLine;
    if (__equal.size() > 2 * sm_context) {
        __CloseHunk();
    }
}

/// A line of the old text, or none, becomes one of the new text, or none.
void CLineDiff::__Change(std::string_view old, std::string_view bytes) {
    __OpenHunk();
    if (__hunkSize > MOST_OF_HUNK) {
        __CloseHunk(); // without lines behind it: more changes follow at once
        __OpenHunk();
    }
    __hunkSize += old.size() + bytes.size();
    if (!old.empty()) {
        if (!__newLines.empty() && bytes.empty()) {
            __PutNew();
        }
        __hunk.lines.push_back({'-', std::string(old)});
        ++__hunk.oldCount;
        ++__oldLine;
    }
    if (!bytes.empty()) {
        __newLines.emplace_back(bytes);
        ++__hunk.newCount;
        ++__newLine;
    }
}

void CLineDiff::__OpenHunk() {
    if (!__isOpen) {
        __isOpen = true;
        __hunk = {};
        __hunkSize = 0;
        __hunk.oldBegin = __oldLine + 1 - __equal.size();
        __hunk.newBegin = __newLine + 1 - __equal.size();
    }
    for (std::string& line : __equal) {
        __hunk.lines.push_back({' ', std::move(line)});
        ++__hunk.oldCount;
        ++__hunk.newCount;
    }
    __equal.clear();
}

void CLineDiff::__PutNew() {
    for (std::string& line : __newLines) {
        __hunk.lines.push_back({'+', std::move(line)});
    }
    __newLines.clear();
}

/// Gives the hunk away. Of the equal lines at its end the first are its own, and the last may stand
/// in front of the next one.
void CLineDiff::__CloseHunk() {
    __PutNew();
    for (std::size_t i = 0; i < std::min(sm_context, __equal.size()); ++i) {
        __hunk.lines.push_back({' ', __equal[i]});
        ++__hunk.oldCount;
        ++__hunk.newCount;
    }
    __take(__hunk);
    __isOpen = false;
    while (__equal.size() > sm_context) {
        __equal.pop_front();
    }
}

} // namespace Quil
