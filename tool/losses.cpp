#include "tool/losses.h"

namespace Quil {

namespace {

/// "3 bytes aren't " or "1 character isn't ".
stringEx Head(std::uint64_t count, const char* what) {
    stringEx text;
    text.append_ulong(count, 10);
    text.append(" ").append(what);
    return text.append(count == 1 ? " isn't " : "s aren't ");
}

stringEx Hexadecimal(const char* before, std::uint32_t number, int digits) {
    stringEx text(before);
    return text.append_format("%0*X", digits, number);
}

void AppendLine(stringEx& text, std::uint64_t line) {
    if (line != 0) {
        text.append(" on line ");
        text.append_ulong(line, 10);
    }
}

} // namespace

stringEx DescribeLosses(const Run& run, const LOSSES& losses) {
    stringEx text;
    if (losses.undecoded.count != 0) {
        const LOSS& lost = losses.undecoded;
        text = Head(lost.count, "byte").append(run.in.name);
        text.append(", the first is ").append(Hexadecimal("0x", lost.element, 2));
        text.append(" at offset ");
        text.append_ulong(lost.place, 10);
        AppendLine(text, lost.line);
    }
    if (losses.unencoded.count != 0) {
        const LOSS& lost = losses.unencoded;
        text.append(text.empty() ? "" : "; ").append(Head(lost.count, "character"));
        text.append("in ").append(run.out.name).append(", the first is ");
        text.append(Hexadecimal("U+", lost.element, 4)).append(", character ");
        text.append_ulong(lost.place + 1, 10);
        AppendLine(text.append(" of the result"), lost.line);
    }
    return text;
}

} // namespace Quil
