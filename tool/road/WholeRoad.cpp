#include "tool/road/WholeRoad.h"

#include "tool/rules/RuleList.h"
#include "tool/standard_output.h"
#include "util/conv/block_conversion.h"
#include "util/conv/utf8_validation.h"
#include "util/text/RegexReplacer.h"
#include "util/text/RuleSearch.h"

namespace Quil {

namespace {

/// The end of a pipe reads as this byte, which is never part of UTF-8 and decodes to "?".
constexpr char END_OF_PIPE = '\xFF';

/// Exchanges the two low bytes of each character and drops the high ones.
void FlipWord(wstringEx& str) {
    wchar_t* const begin = str.make_tail();
    for (wchar_t* at = begin; at != begin + str.length(); ++at) {
        const auto unit = static_cast<unsigned int>(*at);
        *at = static_cast<wchar_t>((unit & 0xFF) << 8 | (unit >> 8 & 0xFF));
    }
}

bool IsUtf8(const CHARSET& charset) {
    return !charset.isWide && charset.converter->IsUtf8();
}

/// Null where text passes no converter.
std::unique_ptr<const TTextConv> CloneOf(const CHARSET& charset) {
    return std::unique_ptr<const TTextConv>(charset.isWide ? nullptr : charset.converter->Clone());
}

std::unique_ptr<ITextReplacer> MakeReplacer(const Run& run) {
    if (run.findFunc == FIND::RULES) {
        return std::make_unique<CRuleReplacer>(
            std::shared_ptr<const CRuleSet>(run.rules, &run.rules->set));
    }
    if (run.findFunc != FIND::REGEX) {
        return nullptr;
    }
    const stringEx bytes = run.out.isWide ? stringEx() : run.out.converter->WCtoMB(run.replaceText);
    return std::make_unique<CRegexReplacer>(
        run.regexComp, run.replaceText, bytes,
        run.useExpand ? CRegexReplacer::FORM::COPY_OUT : CRegexReplacer::FORM::IN_PLACE, run.cases);
}

} // namespace

CWholeRoad::CWholeRoad(const Run& run)
    : __run(run), __replacer(MakeReplacer(run)), __decoder(CloneOf(run.in)),
      __encoder(CloneOf(run.out)) {}

void CWholeRoad::Start(const TASK& task) {
    __isDone = __isDone && task.isAgain;
    __task = task;
    if (!__isDone) {
        __count = 0;
        __losses = {};
        __hasText = task.place != 0;
        if (__replacer) {
            __replacer->StartText();
        }
    }
}

std::size_t CWholeRoad::Take(const BLOCK& block, ISink& sink) {
    if (!block.isLast) {
        return 0;
    }
    if (!__isDone) {
        if (!__TakeAscii(block)) {
            __Decode({block.data, block.length});
            __FindAndReplace();
            __Encode();
        }
        __isDone = __task.result == TASK::RESULT::NONE;
    }
    if (__hasText && __task.result != TASK::RESULT::NONE) {
        sink.Replace({block.data, block.length},
                     {reinterpret_cast<const char*>(__bytes.data()), __bytes.length()});
    }
    return block.length;
}

/// Takes a text in which an expression can be found on the bytes. False for any other.
bool CWholeRoad::__TakeAscii(const BLOCK& block) {
    if (!__replacer || !IsUtf8(__run.in) || !IsUtf8(__run.out)) {
        return false;
    }
    const std::size_t ascii = IMPL::AsciiLength(block.data, block.length);
    if (ascii + 1 == block.length && block.data[ascii] == END_OF_PIPE) {
        block.data[ascii] = '?';
    } else if (ascii == 0 || ascii != block.length) {
        return false;
    }
    const text_ref<unsigned char> text(reinterpret_cast<const unsigned char*>(block.data),
                                       static_cast<unsigned int>(block.length));
    __hasText = true;
    __hasMark = false;
    __count = __replacer->Replace(__bytes, text, nullptr);
    if (__count == 0) {
        __bytes = byteEx(text.data, text.length);
    }
    __Mark();
    return true;
}

void CWholeRoad::__Decode(std::string_view bytes) {
    const auto length = static_cast<unsigned int>(bytes.size());
    if (__run.in.isWide) {
        __text.resize(length / sizeof(wchar_t));
        bytes.copy(reinterpret_cast<char*>(__text.make_tail()), __text.length() * sizeof(wchar_t));
        if (__run.in.isBigEndian) {
            FlipWord(__text);
        }
    } else {
        __losses.undecoded =
            DecodeWhole(*__decoder, __text, stringEx(bytes.data(), length, stringEx::NOT_OWNER()));
    }
    __losses.characters = __text.length();
    const bool isStart = !__hasText;
    __hasText = __hasText || !__text.empty();
    __hasMark = isStart && __text.begin_with(__run.constants.wsUniSign);
    if (__hasMark) {
        __text.erase(0, 1);
    }
}

/// Without a match the text stays as it is: the expanding form's second buffer may be empty then.
void CWholeRoad::__FindAndReplace() {
    const Run& run = __run;
    __count = 0;
    switch (run.findFunc) {
    case FIND::LITERAL:
        __count = run.useExpand
                      ? __text.find_replace_to(__scratch, run.findText, run.replaceText, 0)
                      : __text.find_replace(run.findText, run.replaceText, 0, true);
        break;
    case FIND::LITERAL_NO_CASE:
        __count = run.useExpand
                      ? __text.find_replace_no_case_to(__scratch, run.findText, run.replaceText, 0)
                      : __text.find_replace_no_case(run.findText, run.replaceText, 0, true);
        break;
    case FIND::REGEX:
    case FIND::RULES:
        __count = __replacer->Replace(__scratch, __text, nullptr);
        if (__count != 0) {
            __text.swap(__scratch);
        }
        return;
    default:
        if (run.hasReplace && __hasText) {
            const bool isReplaced = __task.place != 0; // by the road that began
            __text = isReplaced ? wstringEx() : run.replaceText;
            __count = isReplaced ? 0 : 1;
        }
        return;
    }
    if (run.useExpand && __count != 0) {
        __text.swap(__scratch);
    }
}

void CWholeRoad::__Encode() {
    const bool isOutput = __task.result == TASK::RESULT::OUTPUT;
    if (!__run.out.isWide) {
        stringEx bytes;
        __losses.unencoded = EncodeWhole(*__encoder, bytes, __text);
        __bytes = static_cast<byteEx>(bytes);
        __Mark();
        return;
    }
    if (__run.addSign && !isOutput) {
        __text.insert(0, __run.constants.wsUniSign);
    }
    if (__run.out.isBigEndian) {
        FlipWord(__text);
    }
    __bytes = static_cast<byteEx>(__text);
    if (isOutput) {
        PrintText(__text);
        __bytes = byteEx();
    }
}

void CWholeRoad::__Mark() {
    if (__task.place == 0 && __run.WritesMark(__hasMark, __task.result != TASK::RESULT::OUTPUT)) {
        const std::string_view mark = __run.GetMark();
        __bytes.insert(0, byteEx(reinterpret_cast<const unsigned char*>(mark.data()),
                                 static_cast<unsigned int>(mark.size())));
    }
}

} // namespace Quil
