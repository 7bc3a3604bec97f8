#include "tool/road/PlainRoad.h"

#include "tool/standard_output.h"

namespace Quil {

namespace {

/// Exchanges the two low bytes of each character and drops the high ones.
void FlipWord(wstringEx& str) {
    wchar_t* const begin = str.make_tail();
    for (wchar_t* at = begin; at != begin + str.length(); ++at) {
        const auto unit = static_cast<unsigned int>(*at);
        *at = static_cast<wchar_t>((unit & 0xFF) << 8 | (unit >> 8 & 0xFF));
    }
}

} // namespace

std::optional<unsigned long> CPlainRoad::Replace(byteEx& raw) {
    __Decode(raw);
    if (__text.empty()) {
        return std::nullopt;
    }
    if (__text.begin_with(__run.constants.wsUniSign)) {
        __text.erase(0, 1);
    }
    return __FindAndReplace();
}

/// The bytes go as soon as they are decoded: the wide text is four times as large already.
void CPlainRoad::__Decode(byteEx& raw) {
    if (__run.in.isWide) {
        __text = static_cast<wstringEx>(raw);
        raw = byteEx();
        if (__run.in.isBigEndian) {
            FlipWord(__text);
        }
        return;
    }
    __run.in.converter->MBtoWC(__text, static_cast<stringEx>(raw));
    raw = byteEx();
}

/// Without a match the text stays as it is: the expanding form's second buffer may be empty then.
unsigned long CPlainRoad::__FindAndReplace() {
    const Run& run = __run;
    unsigned long count = 0;
    switch (run.findFunc) {
    case FIND::LITERAL:
        count = run.useExpand ? __text.find_replace_to(__scratch, run.findText, run.replaceText, 0)
                              : __text.find_replace(run.findText, run.replaceText, 0, true);
        break;
    case FIND::LITERAL_NO_CASE:
        count = run.useExpand
                    ? __text.find_replace_no_case_to(__scratch, run.findText, run.replaceText, 0)
                    : __text.find_replace_no_case(run.findText, run.replaceText, 0, true);
        break;
    case FIND::REGEX:
        count = run.useExpand ? __text.regex_find_replace_all_with_comp_to(
                                    __scratch, run.regexComp, run.replaceText, false, false, true)
                              : __text.regex_find_replace_all_with_comp(
                                    run.regexComp, run.replaceText, false, false, true);
        break;
    default:
        if (run.hasReplace) {
            __text = run.replaceText;
            count = 1;
        }
        return count;
    }
    if (run.useExpand && count != 0) {
        __text.swap(__scratch);
    }
    return count;
}

const byteEx& CPlainRoad::Encode() {
    if (__run.out.isWide) {
        if (__run.addSign) {
            __text.insert(0, __run.constants.wsUniSign);
        }
        if (__run.out.isBigEndian) {
            FlipWord(__text);
        }
        __bytes = static_cast<byteEx>(__text);
        return __bytes;
    }
    __bytes = static_cast<byteEx>(__run.out.converter->WCtoMB(__text));
    if (__run.MarksUtf8()) {
        __bytes.insert(0, __run.constants.btUtf8Sign);
    }
    return __bytes;
}

void CPlainRoad::Print() {
    if (!__run.out.isWide) {
        PrintText(__run.out.converter->WCtoMB(__text));
        return;
    }
    if (__run.out.isBigEndian) {
        FlipWord(__text);
    }
    PrintText(__text);
}

} // namespace Quil
