#include "tool/road/road.h"

#include "tool/road/ExactRoad.h"
#include "tool/road/LineSearch.h"
#include "tool/road/Utf8Road.h"
#include "tool/road/WholeRoad.h"
#include "tool/road/WideRoad.h"
#include "util/conv/utf8_codec.h"

#include <optional>

namespace Quil {

namespace {

/// Compares ASCII letters without regard to case and all else as it stands.
struct ascii_fold {
    static constexpr bool is_plain = false;

    template <class T>
    static T apply(T element) {
        return element >= 'A' && element <= 'Z' ? static_cast<T>(element + ('a' - 'A')) : element;
    }
};

/// The bytes of a text, or none if it holds an element that isn't a Unicode character.
std::optional<byteEx> EncodeStrictly(const wstringEx& text) {
    stringEx bytes;
    bytes.resize((text.length() + 1) * static_cast<unsigned int>(IMPL::UTF8_MAX_SEQUENCE));
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
        if (static_cast<std::uint32_t>(text[i]) > 0x7F) { // whether or not it has a sign
            return false;
        }
    }
    return true;
}

/// The search on wide characters; null where it goes by blocks and the text must be there as a
/// whole.
std::unique_ptr<ISearch<wchar_t>> SearchWide(const Run& run, CRegexReplacer::FORM form,
                                             PIECES told) {
    switch (run.findFunc) {
    case FIND::LITERAL:
        return std::make_unique<CLiteralSearch<wchar_t, IMPL::plain_fold>>(run.findText,
                                                                           run.replaceText, told);
    case FIND::LITERAL_NO_CASE:
        return std::make_unique<CLiteralSearch<wchar_t, IMPL::lower_fold<wstringEx>>>(
            run.findText, run.replaceText, told);
    case FIND::REGEX:
        if (told == PIECES::BLOCKS && !CRegexReplacer::IsLocalToLines(run.regexComp)) {
            return nullptr;
        }
        return std::make_unique<CLineSearch<wchar_t>>(run.regexComp, run.replaceText, stringEx(),
                                                      form, told);
    default:
        break;
    }
    if (run.hasReplace) {
        return std::make_unique<CWholeSearch<wchar_t>>(run.replaceText);
    }
    return std::make_unique<CNoSearch<wchar_t>>();
}

/// The search on the bytes of UTF-8; null where they don't do.
std::unique_ptr<ISearch<unsigned char>> SearchUtf8(const Run& run, CRegexReplacer::FORM form) {
    const std::optional<byteEx> find = EncodeStrictly(run.findText);
    const std::optional<byteEx> replacement = EncodeStrictly(run.replaceText);
    if (!find || !replacement) {
        return nullptr;
    }
    switch (run.findFunc) {
    case FIND::LITERAL:
        return std::make_unique<CLiteralSearch<unsigned char, IMPL::plain_fold>>(*find,
                                                                                 *replacement);
    case FIND::LITERAL_NO_CASE:
        return !IsAscii(run.findText) ? nullptr
                                      : std::make_unique<CLiteralSearch<unsigned char, ascii_fold>>(
                                            *find, *replacement);
    case FIND::REGEX:
        if (!CRegexReplacer::IsLocalToLines(run.regexComp)) {
            return nullptr;
        }
        return std::make_unique<CLineSearch<unsigned char>>(
            run.regexComp, run.replaceText, static_cast<stringEx>(*replacement), form);
    default:
        break;
    }
    if (run.hasReplace) {
        return std::make_unique<CWholeSearch<unsigned char>>(*replacement);
    }
    return std::make_unique<CNoSearch<unsigned char>>();
}

CRegexReplacer::FORM FormOf(const Run& run) {
    return run.useExpand ? CRegexReplacer::FORM::COPY_OUT : CRegexReplacer::FORM::IN_PLACE;
}

/// The road for texts in any charset.
std::unique_ptr<IRoad> ChooseGeneralRoad(const Run& run) {
    if (run.keepsBytes || run.choice != nullptr) {
        return std::make_unique<CExactRoad>(run, SearchWide(run, FormOf(run), PIECES::MATCHES));
    }
    if (CWideRoad::CanServe(run)) {
        if (auto search = SearchWide(run, FormOf(run), PIECES::BLOCKS)) {
            return std::make_unique<CWideRoad>(run, std::move(search));
        }
    }
    return std::make_unique<CWholeRoad>(run);
}

} // namespace

bool CanKeepBytes(const Run& run) {
    return CUtf8Road::CanServe(run) || CExactRoad::CanServe(run);
}

std::unique_ptr<IRoad> ChooseRoad(const Run& run) {
    if (CUtf8Road::CanServe(run) && run.choice == nullptr) {
        if (auto search = SearchUtf8(run, FormOf(run))) {
            return std::make_unique<CUtf8Road>(run, std::move(search), ChooseGeneralRoad);
        }
    }
    return ChooseGeneralRoad(run);
}

} // namespace Quil
