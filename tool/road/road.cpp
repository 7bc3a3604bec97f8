#include "tool/road/road.h"

#include "tool/road/ExactRoad.h"
#include "tool/road/LineSearch.h"
#include "tool/road/RulesSearch.h"
#include "tool/road/Utf8Road.h"
#include "tool/road/WholeRoad.h"
#include "tool/road/WideRoad.h"
#include "tool/rules/RuleList.h"
#include "util/conv/utf8_codec.h"
#include "util/text/RegexReplacer.h"
#include "util/text/RuleSearch.h"

#include <algorithm>
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

CRegexReplacer::FORM FormOf(const Run& run) {
    return run.useExpand ? CRegexReplacer::FORM::COPY_OUT : CRegexReplacer::FORM::IN_PLACE;
}

/// The rules, which share the list.
std::shared_ptr<const CRuleSet> RulesOf(const Run& run) {
    return {run.rules, &run.rules->set};
}

/// The run's expression, or its rules, by lines if that will do.
template <class T>
std::unique_ptr<ISearch<T>> SearchLines(const Run& run, const byteEx& replacement, PIECES told) {
    std::unique_ptr<ITextReplacer> replacer;
    if (run.rules) {
        const CRuleSet& rules = run.rules->set;
        const auto growth = static_cast<double>(rules.GetMost(1, sizeof(T) == 1));
        replacer = std::make_unique<CRuleReplacer>(RulesOf(run));
        return std::make_unique<CLineSearch<T>>(std::move(replacer), rules.IsLocalToLines(), growth,
                                                told);
    }
    const wstringEx& wide = run.replaceText;
    const auto backslashes = std::count(wide.begin(), wide.end(), L'\\');
    const auto own = sizeof(T) == 1 ? replacement.length() : wide.length();
    // Letters in another case may have more bytes.
    const double longer = sizeof(T) == 1 && !run.cases.IsPlain() ? IMPL::UTF8_MAX_SEQUENCE : 1;
    replacer = std::make_unique<CRegexReplacer>(
        run.regexComp, wide, static_cast<stringEx>(replacement), FormOf(run), run.cases);
    return std::make_unique<CLineSearch<T>>(
        std::move(replacer), CRegexReplacer::IsLocalToLines(run.regexComp),
        longer * (own + static_cast<double>(backslashes)), told);
}

/// The search on wide characters; null where it goes by blocks and the text must be there as a
/// whole.
std::unique_ptr<ISearch<wchar_t>> SearchWide(const Run& run, PIECES told) {
    const bool isWhole = told != PIECES::BLOCKS;
    switch (run.findFunc) {
    case FIND::LITERAL:
        return std::make_unique<CLiteralSearch<wchar_t, IMPL::plain_fold>>(run.findText,
                                                                           run.replaceText, told);
    case FIND::LITERAL_NO_CASE:
        return std::make_unique<CLiteralSearch<wchar_t, IMPL::lower_fold<wstringEx>>>(
            run.findText, run.replaceText, told);
    case FIND::REGEX:
        if (!isWhole && !CRegexReplacer::IsLocalToLines(run.regexComp)) {
            return nullptr;
        }
        return SearchLines<wchar_t>(run, {}, told);
    case FIND::RULES:
        if (!run.rules->set.HasExpressions()) {
            return std::make_unique<CRulesSearch<wchar_t>>(RulesOf(run), told);
        }
        if (!isWhole && !run.rules->set.IsLocalToLines()) {
            return nullptr;
        }
        return SearchLines<wchar_t>(run, {}, told);
    default:
        break;
    }
    if (run.hasReplace) {
        return std::make_unique<CWholeSearch<wchar_t>>(run.replaceText);
    }
    return std::make_unique<CNoSearch<wchar_t>>();
}

/// A search on the bytes of UTF-8. Those that ignore the case of ASCII only do that for this text.
struct UTF8_SEARCH {
    std::unique_ptr<ISearch<unsigned char>> search;
    wstringEx folded;
};

/// Null where bytes don't do.
UTF8_SEARCH SearchRulesInUtf8(const Run& run) {
    const CRuleSet& rules = run.rules->set;
    UTF8_SEARCH made;
    if (!rules.HasExpressions() && !rules.FoldsBeyondAscii()) {
        made.search = std::make_unique<CRulesSearch<unsigned char>>(RulesOf(run));
        made.folded = rules.GetFoldedText();
    } else if (rules.IsLocalToLines()) {
        made.search = SearchLines<unsigned char>(run, {}, PIECES::BLOCKS);
    }
    return made;
}

UTF8_SEARCH SearchUtf8(const Run& run) {
    if (run.findFunc == FIND::RULES) {
        return SearchRulesInUtf8(run);
    }
    UTF8_SEARCH made;
    const std::optional<byteEx> find = EncodeStrictly(run.findText);
    const std::optional<byteEx> replacement = EncodeStrictly(run.replaceText);
    if (!find || !replacement) {
        return made;
    }
    switch (run.findFunc) {
    case FIND::LITERAL:
        made.search =
            std::make_unique<CLiteralSearch<unsigned char, IMPL::plain_fold>>(*find, *replacement);
        break;
    case FIND::LITERAL_NO_CASE:
        if (IsAscii(run.findText)) {
            made.search =
                std::make_unique<CLiteralSearch<unsigned char, ascii_fold>>(*find, *replacement);
            made.folded = run.findText;
        }
        break;
    case FIND::REGEX:
        if (CRegexReplacer::IsLocalToLines(run.regexComp)) {
            made.search = SearchLines<unsigned char>(run, *replacement, PIECES::BLOCKS);
        }
        break;
    default:
        if (run.hasReplace) {
            made.search = std::make_unique<CWholeSearch<unsigned char>>(*replacement);
        } else {
            made.search = std::make_unique<CNoSearch<unsigned char>>();
        }
        break;
    }
    return made;
}

/// The road for texts in any charset.
std::unique_ptr<IRoad> ChooseGeneralRoad(const Run& run) {
    if (run.keepsBytes || run.choice != nullptr) {
        return std::make_unique<CExactRoad>(run, SearchWide(run, PIECES::MATCHES));
    }
    if (CWideRoad::CanServe(run)) {
        if (auto search = SearchWide(run, PIECES::BLOCKS)) {
            return std::make_unique<CWideRoad>(run, std::move(search));
        }
    }
    return std::make_unique<CWholeRoad>(run);
}

} // namespace

void AddMet(RULE_MATCHES& matches, const CRuleCounts* counts) {
    if (counts != nullptr) {
        for (const unsigned int rule : counts->GetMet()) {
            matches.emplace_back(rule, counts->Get(rule));
        }
    }
}

bool CanKeepBytes(const Run& run) {
    return CUtf8Road::CanServe(run) || CExactRoad::CanServe(run);
}

std::unique_ptr<IRoad> ChooseRoad(const Run& run) {
    if (CUtf8Road::CanServe(run) && run.choice == nullptr) {
        if (auto [search, folded] = SearchUtf8(run); search) {
            return std::make_unique<CUtf8Road>(run, std::move(search), folded, ChooseGeneralRoad);
        }
    }
    return ChooseGeneralRoad(run);
}

} // namespace Quil
