#include "tool/road/Utf8Road.h"

#include "tool/road/ConsumedInput.h"
#include "tool/standard_output.h"
#include "util/conv/utf8_codec.h"
#include "util/conv/utf8_validation.h"
#include "util/text/match_replace.h"
#include "util/text/text_search.h"

namespace Quil {

namespace {

/// The end of a pipe reads as this byte, which is never part of UTF-8.
constexpr unsigned char END_OF_PIPE = 0xFF;

/// Compares ASCII letters without regard to case and all else as it stands.
struct ascii_fold {
    static constexpr bool is_plain = false;

    template <class T>
    static T apply(T element) {
        return element >= 'A' && element <= 'Z' ? static_cast<T>(element + ('a' - 'A')) : element;
    }
};

bool IsUtf8(const CHARSET& charset) {
    return !charset.isWide && charset.converter->IsUtf8();
}

/// The bytes of a text, or none if it holds an element that isn't a Unicode character.
std::optional<byteEx> EncodeStrictly(const wstringEx& text) {
    stringEx bytes;
    bytes.resize(text.length() * static_cast<unsigned int>(IMPL::UTF8_MAX_SEQUENCE) +
                 static_cast<unsigned int>(IMPL::UTF8_MAX_SEQUENCE));
    const IMPL::CODEC_STEP step =
        IMPL::EncodeUtf8(bytes.ref(), bytes.length(), text.data(), text.length());
    if (step.read != text.length()) {
        return std::nullopt;
    }
    bytes._eofonly(static_cast<unsigned int>(step.written));
    return static_cast<byteEx>(bytes);
}

bool IsAscii(const wstringEx& text) {
    for (unsigned int i = 0; i < text.length(); ++i) {
        if (text[i] < 0 || text[i] > 0x7F) {
            return false;
        }
    }
    return true;
}

constexpr wchar_t FIRST_FOREIGN = 0x80;
/// No character above folds to one in ASCII.
constexpr wchar_t LAST_WITH_CASE = 0xFFFF;

/// Characters outside ASCII that count as one of `text`'s when case doesn't count.
std::vector<byteEx> ForeignPartners(const wstringEx& text) {
    using fold = IMPL::lower_fold<wstringEx>;
    bool isInText[FIRST_FOREIGN] = {};
    for (unsigned int i = 0; i < text.length(); ++i) {
        isInText[fold::apply(text[i])] = true;
    }
    std::vector<byteEx> partners;
    IMPL::each_partner<fold>(
        FIRST_FOREIGN, LAST_WITH_CASE,
        [&isInText](wchar_t folded) {
            return folded >= 0 && folded < FIRST_FOREIGN && isInText[folded];
        },
        [&partners](wchar_t c) { partners.push_back(*EncodeStrictly(wstringEx(1, c))); });
    return partners;
}

} // namespace

bool CUtf8Road::CanServe(const Run& run) {
    const bool isServed = run.findFunc == FIND::LITERAL || run.findFunc == FIND::REGEX ||
                          (run.findFunc == FIND::LITERAL_NO_CASE && IsAscii(run.findText));
    return isServed && IsUtf8(run.in) && IsUtf8(run.out) && EncodeStrictly(run.findText) &&
           EncodeStrictly(run.replaceText);
}

CUtf8Road::CUtf8Road(const Run& run, std::unique_ptr<IRoad> plain)
    : __run(run), __plain(std::move(plain)), __find(*EncodeStrictly(run.findText)),
      __replacement(*EncodeStrictly(run.replaceText)),
      __replacer(run.regexComp, run.replaceText, static_cast<stringEx>(__replacement),
                 run.useExpand ? CRegexReplacer::FORM::COPY_OUT : CRegexReplacer::FORM::IN_PLACE),
      __lines(__replacer), __takesLines(__replacer.IsLocalToLines()) {
    if (run.findFunc == FIND::LITERAL_NO_CASE) {
        __foreign = ForeignPartners(run.findText);
    }
}

/// A pipe's end, the one byte behind a valid text that isn't valid itself, becomes the "?" that it
/// decodes to.
bool CUtf8Road::__Takes(byteEx& raw) {
    const char* const text = static_cast<const char*>(static_cast<const void*>(raw.data()));
    const bool hasPipesEnd = !raw.empty() && raw.back() == END_OF_PIPE;
    const unsigned int length = raw.length() - (hasPipesEnd ? 1 : 0);
    if (__run.findFunc == FIND::REGEX) {
        __isAscii = IMPL::AsciiLength(text, length) == length;
        if (!__isAscii && !__takesLines) {
            return false;
        }
    }
    if (IMPL::ValidUtf8Length(text, length) != length) {
        return false;
    }
    for (const byteEx& letter : __foreign) {
        if (raw.find(letter, 0) != byteEx::npos) {
            return false;
        }
    }
    if (hasPipesEnd) {
        raw.at(length) = '?';
    }
    return true;
}

std::optional<unsigned long> CUtf8Road::Replace(byteEx& raw) {
    __isPlain = !__Takes(raw);
    if (__isPlain) {
        return __plain->Replace(raw);
    }
    if (raw.empty()) {
        return std::nullopt;
    }
    __result.swap(raw);
    const byteEx& sign = __run.constants.btUtf8Sign;
    if (__result.begin_with(sign)) {
        __result.erase(0, sign.length());
    }
    switch (__run.findFunc) {
    case FIND::LITERAL:
        return __ReplaceLiteral<IMPL::plain_fold>();
    case FIND::LITERAL_NO_CASE:
        return __ReplaceLiteral<ascii_fold>();
    default:
        return __ReplaceExpression();
    }
}

/// A replacement that isn't longer is written over what it replaces, which takes no memory at all.
template <class Fold>
unsigned long CUtf8Road::__ReplaceLiteral() {
    IMPL::text_matcher<unsigned char, Fold> matcher(__find, __result.length());
    if (__replacement.length() <= __find.length()) {
        const IMPL::REPLACED done = IMPL::overwrite_matches<unsigned char>(
            __result.ref(), __result.length(), matcher, __replacement, 0, true);
        __result.set_size(done.length);
        return done.count;
    }
    CConsumedInput consumed(__result);
    const unsigned int count = IMPL::build_replaced<unsigned char>(
        __room, __result, matcher, __replacement, 0,
        [&consumed](unsigned int end) { consumed.Advance(end); });
    if (count != 0) {
        __result.swap(__room);
    }
    return count;
}

unsigned long CUtf8Road::__ReplaceExpression() {
    const unsigned long count =
        __takesLines ? __lines.Replace(__room, __result) : __replacer.Replace(__room, __result);
    if (count != 0) {
        __result.swap(__room);
    }
    return count;
}

const byteEx& CUtf8Road::Encode() {
    if (__isPlain) {
        return __plain->Encode();
    }
    if (__run.MarksUtf8()) {
        __result.insert(0, __run.constants.btUtf8Sign);
    }
    return __result;
}

void CUtf8Road::Print() {
    if (__isPlain) {
        __plain->Print();
        return;
    }
    PrintText(static_cast<stringEx>(__result));
}

} // namespace Quil
