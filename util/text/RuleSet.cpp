// Expressions that look for the longest match and don't refer to their groups are searched as
// alternatives of one: so its longest match is the longest of any, and the group that took part
// tells whose it is. Each of the others is searched by itself.
#include "util/text/RuleSet.h"

#include "regex/linelocal.h"
#include "util/text/RegexReplacer.h"
#include "util/text/rules/rule_forms.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <numeric>
#include <span>
#include <string_view>

namespace Quil {

namespace {

/// Alternatives of one expression. With more, the ways in which they can be under way at once,
/// each a state of the search, are too many to be found again.
constexpr std::size_t MOST_JOINED = 24;

/// Bytes of an element in UTF-8. What is no character has some as well, which stand in no text.
unsigned int Utf8Length(wchar_t element) {
    const auto c = static_cast<std::uint32_t>(element);
    return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
}

std::uint64_t Utf8Length(text_ref<wchar_t> text) {
    return std::accumulate(text.data, text.data + text.length, std::uint64_t{0},
                           [](std::uint64_t length, wchar_t c) { return length + Utf8Length(c); });
}

unsigned char* PutUtf8(unsigned char* to, wchar_t element) {
    const auto c = static_cast<std::uint32_t>(element);
    const unsigned int length = Utf8Length(element);
    if (length == 1) {
        *to++ = static_cast<unsigned char>(c);
        return to;
    }
    for (unsigned int i = 0; i < length; ++i) {
        const std::uint32_t bits = c >> (6 * (length - 1 - i));
        *to++ =
            static_cast<unsigned char>(i == 0 ? 0xF00U >> length | bits : 0x80U | (bits & 0x3F));
    }
    return to;
}

bool IsAscii(text_ref<wchar_t> text) {
    return std::all_of(text.data, text.data + text.length,
                       [](wchar_t c) { return static_cast<std::uint32_t>(c) < 0x80; });
}

/// With escapes, a line feed may come by one.
bool HasLineEnd(text_ref<wchar_t> text, bool hasEscapes) {
    const std::wstring_view view(text.data, text.length);
    return view.find(L'\n') != view.npos || (hasEscapes && view.find(L"\\n") != view.npos);
}

std::uint64_t Hash(text_ref<wchar_t> text, bool folds) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (unsigned int i = 0; i < text.length; ++i) {
        const wchar_t c = folds ? IMPL::fold_literal(text.data[i]) : text.data[i];
        hash = (hash ^ static_cast<std::uint32_t>(c)) * 0x100000001B3;
    }
    return hash;
}

bool IsSame(text_ref<wchar_t> a, text_ref<wchar_t> b, bool folds) {
    return std::equal(
        a.data, a.data + a.length, b.data, b.data + b.length, [folds](wchar_t x, wchar_t y) {
            return x == y || (folds && IMPL::fold_literal(x) == IMPL::fold_literal(y));
        });
}

wstringEx::regex_handle Compile(const wstringEx& expression, const RULE_KIND& kind,
                                REGEX_ERROR& error) {
    return wstringEx::regex_comp(expression, kind.noCase, !kind.noNewline, true, true, error);
}

const regex_t& EngineOf(const wstringEx::regex_handle& expression) {
    return IMPL::REGEX_RECORD::Of(expression.get()).re;
}

/// Whether an expression can be an alternative of another one.
bool IsJoinable(text_ref<wchar_t> pattern, const regex_t& re) {
    constexpr long OBSTACLES = REG_UBACKREF | REG_UPBOTCH | REG_UEMPTYMATCH | REG_USHORTEST;
    const std::wstring_view text(pattern.data, pattern.length);
    return (re.re_info & OBSTACLES) == 0 && !text.starts_with(L"***");
}

} // namespace

/// The forms that searches have asked for.
struct CRuleSet::FORMS {
    std::once_flag wideOnce;
    std::once_flag bytesOnce;
    std::unique_ptr<IMPL::rule_forms<wchar_t>> wide;
    std::unique_ptr<IMPL::rule_forms<unsigned char>> bytes;
};

CRuleSet::CRuleSet(const CASE_RULES& cases) : __cases(cases), __forms(std::make_unique<FORMS>()) {}

CRuleSet::~CRuleSet() = default;

void CRuleSet::Reserve(std::size_t rules, std::size_t elements) {
    __rules.reserve(__rules.size() + rules);
    __texts.reserve(__texts.size() + elements);
}

void CRuleSet::Add(const RULE_KIND& kind, text_ref<wchar_t> find, text_ref<wchar_t> replacement) {
    const auto begin = static_cast<std::uint32_t>(__texts.size());
    if (std::uint64_t{begin} + find.length + replacement.length > wstringEx::max_size()) {
        throw std::bad_alloc();
    }
    __texts.insert(__texts.end(), find.data, find.data + find.length);
    __texts.insert(__texts.end(), replacement.data, replacement.data + replacement.length);
    __rules.push_back({kind, {begin, find.length}, {begin + find.length, replacement.length}});
}

text_ref<wchar_t> CRuleSet::GetFind(unsigned int rule) const {
    return __rules[rule].find.in(__texts.data());
}

text_ref<wchar_t> CRuleSet::GetReplacement(unsigned int rule) const {
    return __rules[rule].replacement.in(__texts.data());
}

bool CRuleSet::Prepare(TROUBLE& trouble) {
    if (!__FindTwins(trouble) || !__Compile(trouble)) {
        return false;
    }
    __Join();
    __Measure();
    return true;
}

/// Whether the earlier rule takes all that the later one could match, and finds the same.
bool CRuleSet::__Covers(const RULE& earlier, const RULE& later) const {
    const text_ref<wchar_t> a = earlier.find.in(__texts.data());
    const text_ref<wchar_t> b = later.find.in(__texts.data());
    if (earlier.kind.isExpression || later.kind.isExpression) {
        return earlier.kind == later.kind && IsSame(a, b, false);
    }
    return (earlier.kind.noCase || !later.kind.noCase) &&
           (!earlier.kind.wholeWord || later.kind.wholeWord) && IsSame(a, b, earlier.kind.noCase);
}

/// False if a rule could never match for another one that finds the same.
bool CRuleSet::__FindTwins(TROUBLE& trouble) const {
    struct KEY {
        std::uint64_t hash;
        unsigned int rule;
    };
    const bool folds = std::ranges::any_of(
        __rules, [](const RULE& rule) { return rule.kind.noCase && !rule.kind.isExpression; });
    std::vector<KEY> keys;
    keys.reserve(__rules.size());
    for (unsigned int rule = 0; rule < __rules.size(); ++rule) {
        keys.push_back({Hash(GetFind(rule), folds && !__rules[rule].kind.isExpression), rule});
    }
    std::sort(keys.begin(), keys.end(), [](const KEY& a, const KEY& b) {
        return a.hash != b.hash ? a.hash < b.hash : a.rule < b.rule;
    });
    bool isFound = false;
    for (auto group = keys.begin(); group != keys.end();) {
        const auto end = std::find_if(group, keys.end(),
                                      [&](const KEY& key) { return key.hash != group->hash; });
        for (auto later = group + (group == end ? 0 : 1); later != end; ++later) {
            const auto earlier = std::find_if(group, later, [&](const KEY& key) {
                return __Covers(__rules[key.rule], __rules[later->rule]);
            });
            if (earlier != later && (!isFound || later->rule < trouble.rule)) {
                isFound = true;
                trouble = {later->rule, true, earlier->rule, {}};
            }
            if (earlier != later) {
                break;
            }
        }
        group = end;
    }
    return !isFound;
}

/// Makes a unit of each expression. False if one doesn't compile.
bool CRuleSet::__Compile(TROUBLE& trouble) {
    for (unsigned int rule = 0; rule < __rules.size(); ++rule) {
        if (!__rules[rule].kind.isExpression) {
            continue;
        }
        const text_ref<wchar_t> find = GetFind(rule);
        REGEX_ERROR error;
        IMPL::rule_unit unit{Compile(wstringEx(find.data, find.length), __rules[rule].kind, error),
                             {}};
        if (error) {
            trouble = {rule, false, 0, error};
            return false;
        }
        const auto groups = static_cast<unsigned int>(EngineOf(unit.expression).re_nsub + 1);
        unit.members.push_back({rule, 0, groups});
        __isLocal = __isLocal && CRegexReplacer::IsLocalToLines(unit.expression);
        __units.push_back(std::move(unit));
    }
    __hasExpressions = !__units.empty();
    return true;
}

/// Puts expressions together that can be searched together.
void CRuleSet::__Join() {
    std::vector<IMPL::rule_unit> units;
    std::vector<IMPL::rule_unit> joinable;
    for (IMPL::rule_unit& unit : __units) {
        const unsigned int rule = unit.members.front().rule;
        (IsJoinable(GetFind(rule), EngineOf(unit.expression)) ? joinable : units)
            .push_back(std::move(unit));
    }
    const auto kindOf = [&](const IMPL::rule_unit& unit) -> const RULE_KIND& {
        return __rules[unit.members.front().rule].kind;
    };
    std::stable_sort(joinable.begin(), joinable.end(), [&](const auto& a, const auto& b) {
        const auto key = [](const RULE_KIND& kind) {
            return (kind.noCase ? 2 : 0) + (kind.noNewline ? 1 : 0);
        };
        return key(kindOf(a)) < key(kindOf(b));
    });
    for (std::size_t begin = 0; begin < joinable.size();) {
        IMPL::rule_unit joined;
        wstringEx pattern;
        unsigned int groups = 1;
        std::size_t end = begin;
        for (; end < joinable.size() && end - begin < MOST_JOINED &&
               kindOf(joinable[end]) == kindOf(joinable[begin]);
             ++end) {
            const IMPL::rule_unit::MEMBER& member = joinable[end].members.front();
            const text_ref<wchar_t> find = GetFind(member.rule);
            pattern.append(pattern.empty() ? L"(" : L"|(").append(find.data, find.length);
            pattern.append(L")");
            joined.members.push_back({member.rule, groups, member.groups});
            groups += member.groups;
        }
        REGEX_ERROR error;
        if (end - begin > 1) {
            joined.expression = Compile(pattern, kindOf(joinable[begin]), error);
        }
        if (joined.expression && EngineOf(joined.expression).re_nsub + 1 == groups) {
            units.push_back(std::move(joined));
        } else {
            std::move(joinable.begin() + static_cast<std::ptrdiff_t>(begin),
                      joinable.begin() + static_cast<std::ptrdiff_t>(end),
                      std::back_inserter(units));
        }
        begin = end;
    }
    __units = std::move(units);
}

void CRuleSet::__Measure() {
    const auto note = [this](int form, double find, double replacement) {
        __growth[form] = std::max(__growth[form], replacement / find);
        __keepsPlaces[form] = __keepsPlaces[form] && find == replacement;
    };
    constexpr unsigned int LONGEST_CHARACTER = 4; // bytes
    for (unsigned int rule = 0; rule < __rules.size(); ++rule) {
        const RULE_KIND& kind = __rules[rule].kind;
        const text_ref<wchar_t> find = GetFind(rule);
        const text_ref<wchar_t> replacement = GetReplacement(rule);
        const auto bytes = static_cast<double>(Utf8Length(replacement));
        if (kind.isExpression) {
            const auto groups =
                std::count(replacement.data, replacement.data + replacement.length, L'\\');
            note(0, 1, replacement.length + static_cast<double>(groups));
            note(1, 1, (bytes + static_cast<double>(groups)) * LONGEST_CHARACTER);
            __keepsPlaces[0] = __keepsPlaces[1] = false;
            continue;
        }
        // Letters in another case may be longer or shorter in bytes.
        const bool changes = kind.noCase && __cases.follows;
        note(0, find.length, replacement.length);
        note(1, static_cast<double>(Utf8Length(find)), changes ? bytes * LONGEST_CHARACTER : bytes);
        __keepsPlaces[1] = __keepsPlaces[1] && !(changes && !IsAscii(replacement));
        __longest = std::max(__longest, find.length);
        __foldsBeyond = __foldsBeyond || (kind.noCase && !IsAscii(find));
        __isLocal = __isLocal && !HasLineEnd(find, false);
    }
    __keepsLines = __isLocal;
    for (unsigned int rule = 0; rule < __rules.size() && __keepsLines; ++rule) {
        __keepsLines = !HasLineEnd(GetReplacement(rule), __rules[rule].kind.isExpression);
    }
}

wstringEx CRuleSet::GetFoldedText() const {
    wstringEx text;
    for (unsigned int rule = 0; rule < __rules.size(); ++rule) {
        if (__rules[rule].kind.noCase && !__rules[rule].kind.isExpression) {
            const text_ref<wchar_t> find = GetFind(rule);
            text.append(find.data, find.length);
        }
    }
    return text;
}

std::uint64_t CRuleSet::GetMost(std::uint64_t size, bool inBytes) const {
    constexpr double LIMIT = 1e18;
    return static_cast<std::uint64_t>(
        std::min(LIMIT, static_cast<double>(size) * __growth[inBytes ? 1 : 0] + 1));
}

bool CRuleSet::KeepsPlaces(bool inBytes) const {
    return __keepsPlaces[inBytes ? 1 : 0];
}

template <>
const IMPL::rule_forms<wchar_t>& CRuleSet::__GetForms(text_ref<wchar_t> sample) const {
    std::call_once(__forms->wideOnce, [&] {
        __forms->wide = std::make_unique<IMPL::rule_forms<wchar_t>>(*this, sample);
    });
    return *__forms->wide;
}

template <>
const IMPL::rule_forms<unsigned char>& CRuleSet::__GetForms(text_ref<unsigned char> sample) const {
    std::call_once(__forms->bytesOnce, [&] {
        __forms->bytes = std::make_unique<IMPL::rule_forms<unsigned char>>(*this, sample);
    });
    return *__forms->bytes;
}

namespace IMPL {

namespace {

/// Puts the set's texts into a form, with the places of each rule's.
void FillTexts(rule_forms<wchar_t>& forms, std::span<const wchar_t> texts) {
    forms.text = basic_buffer<wchar_t>(texts.data(), static_cast<unsigned int>(texts.size()),
                                       basic_buffer<wchar_t>::NOT_OWNER());
}

void FillTexts(rule_forms<unsigned char>& forms, std::span<const wchar_t> texts) {
    const std::uint64_t size = Utf8Length({texts.data(), static_cast<unsigned int>(texts.size())});
    forms.text.resize(size <= byteEx::max_size() ? static_cast<unsigned int>(size)
                                                 : throw std::bad_alloc());
    unsigned char* const front = forms.text.ref();
    unsigned char* to = front;
    const auto encode = [&](TEXT_PLACE& place) {
        const auto wide = texts.subspan(place.begin, place.length);
        place.begin = static_cast<std::uint32_t>(to - front);
        to = std::accumulate(wide.begin(), wide.end(), to, PutUtf8);
        place.length = static_cast<std::uint32_t>(to - front) - place.begin;
    };
    for (std::size_t rule = 0; rule < forms.finds.size(); ++rule) {
        encode(forms.finds[rule]);
        encode(forms.replacements[rule]);
    }
}

wstringEx Translated(const basic_buffer<wchar_t>& replacement) {
    wstringEx text(replacement.data(), replacement.length());
    translate_replacement(text);
    return text;
}

byteEx Translated(const basic_buffer<unsigned char>& replacement) {
    stringEx text(reinterpret_cast<const char*>(replacement.data()), replacement.length());
    translate_replacement(text);
    return static_cast<byteEx>(text);
}

} // namespace

template <class T>
rule_forms<T>::rule_forms(const CRuleSet& set, text_ref<T> sample) {
    std::vector<LITERAL<T>> all;
    finds.reserve(set.__rules.size());
    replacements.reserve(set.__rules.size());
    for (const CRuleSet::RULE& rule : set.__rules) {
        finds.push_back(rule.find);
        replacements.push_back(rule.replacement);
    }
    FillTexts(*this, set.__texts);
    for (unsigned int rule = 0; rule < finds.size(); ++rule) {
        if (const RULE_KIND& kind = set.__rules[rule].kind; !kind.isExpression) {
            all.push_back({find(rule), rule, kind.noCase, kind.wholeWord});
        }
    }
    literals = std::make_unique<literal_set<T>>(all, sample);
    if (!set.__units.empty()) {
        templates.resize(replacements.size());
        fillers.resize(replacements.size());
    }
    for (const rule_unit& unit : set.__units) {
        for (const rule_unit::MEMBER& member : unit.members) {
            const text_ref<T> own = replacement(member.rule);
            auto& text = templates[member.rule];
            text = std::make_unique<basic_buffer<T>>(
                Translated(basic_buffer<T>(own.data, own.length)));
            CASE_RULES cases = set.__cases;
            cases.follows = cases.follows && set.__rules[member.rule].kind.noCase;
            fillers[member.rule] = std::make_unique<cased_template<T>>(*text, member.groups, cases);
        }
    }
}

template struct rule_forms<unsigned char>;
template struct rule_forms<wchar_t>;

} // namespace IMPL

} // namespace Quil
