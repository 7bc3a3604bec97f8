// The loop: the literals and each unit of expressions have a next match at or behind a place; the
// best of these is the next one of all. A match that lies behind the place that the search goes on
// from stays the next one, so each of them reads the text about once.
#include "util/text/RuleSearch.h"

#include "util/text/replace/cased_text.h"
#include "util/text/rules/rule_forms.h"

#include <algorithm>
#include <new>
#include <optional>

namespace Quil {

namespace {

/// The next match of one unit's expressions.
template <class T>
class unit_search {
public:
    unit_search(const IMPL::rule_unit& unit, const IMPL::rule_forms<T>& forms)
        : __unit(unit), __context(&IMPL::REGEX_RECORD::Of(unit.expression.get()).re) {
        std::size_t groups = 1;
        for (const auto& member : unit.members) {
            const bool isJoined = member.group != 0;
            groups = std::max<std::size_t>(
                groups, isJoined
                            ? member.group + member.groups
                            : std::min(member.groups, forms.filler(member.rule).groups_used()));
        }
        __groups.resize(groups);
    }

    void SetText(text_ref<T> text) {
        __text = text;
        __context.settext(text.data, text.length);
        __isKnown = false;
        __isOver = false;
    }

    /// The next match at or behind a place; null if there is none.
    const RULE_MATCH* Find(unsigned int from) {
        if (!__isOver && (!__isKnown || __match.begin < from)) {
            __isOver = !__Search(from);
            __isKnown = true;
        }
        return __isOver ? nullptr : &__match;
    }

    /// The text of a group of the match's rule.
    text_ref<T> Group(unsigned int group) const {
        const regmatch_t& found = __groups[__member->group + group];
        return found.rm_so < 0 ? text_ref<T>(__text.data, 0)
                               : text_ref<T>(__text.data + __base + found.rm_so,
                                             static_cast<unsigned int>(found.rm_eo - found.rm_so));
    }

private:
    bool __Search(unsigned int from) {
        for (; from < __text.length; ++from) {
            const int code =
                __context.exec(from, __groups.size(), __groups.data(), REG_STARTEND | REG_BEHIND);
            if (code == REG_ESPACE) {
                throw std::bad_alloc();
            }
            if (code != REG_OKAY) {
                return false;
            }
            __base = from;
            const auto begin = static_cast<unsigned int>(__groups[0].rm_so);
            const auto length = static_cast<unsigned int>(__groups[0].rm_eo) - begin;
            if (length != 0) {
                __Note(from + begin, length);
                return true;
            }
            from += begin;
        }
        return false;
    }

    void __Note(unsigned int begin, unsigned int length) {
        __member = &*std::find_if(
            __unit.members.begin(), __unit.members.end() - 1,
            [this](const auto& member) { return __groups[member.group].rm_so >= 0; });
        __match = {begin, length, __member->rule};
    }

    const IMPL::rule_unit& __unit;
    TRegexContext<T> __context;
    text_ref<T> __text{basic_buffer<T>()};
    std::vector<regmatch_t> __groups;
    const IMPL::rule_unit::MEMBER* __member = nullptr;
    unsigned int __base = 0; ///< where the last search began
    bool __isKnown = false;
    bool __isOver = false;
    RULE_MATCH __match;
};

/// Whether a match counts before another one.
bool IsBefore(const RULE_MATCH& a, const RULE_MATCH& b) {
    return a.begin != b.begin     ? a.begin < b.begin
           : a.length != b.length ? a.length > b.length
                                  : a.rule < b.rule;
}

} // namespace

template <class T>
struct CRuleSearch<T>::machine {
    const std::shared_ptr<const CRuleSet> rules;
    const IMPL::rule_forms<T>& forms;
    IMPL::literal_search<T> literals;
    std::vector<std::unique_ptr<unit_search<T>>> units;
    text_ref<T> text{basic_buffer<T>()};
    bool isKnown = false; ///< the literals' next match, or that there is none
    bool isOver = false;
    RULE_MATCH literal;
    const unit_search<T>* source = nullptr; ///< of the last match; null: the literals

    machine(std::shared_ptr<const CRuleSet> set, text_ref<T> sample)
        : rules(std::move(set)), forms(rules->__GetForms<T>(sample)), literals(*forms.literals) {
        for (const IMPL::rule_unit& unit : rules->__units) {
            units.push_back(std::make_unique<unit_search<T>>(unit, forms));
        }
    }
};

template <class T>
CRuleSearch<T>::CRuleSearch(std::shared_ptr<const CRuleSet> rules) : __rules(std::move(rules)) {}

template <class T>
CRuleSearch<T>::~CRuleSearch() = default;

template <class T>
void CRuleSearch<T>::SetText(text_ref<T> text, bool isLast, bool isInWord) {
    if (!__machine) {
        __machine = std::make_unique<machine>(__rules, text);
        __machine->literals.restart(__size);
    }
    machine& m = *__machine;
    if (m.units.empty() && !m.rules->__cases.follows) {
        __replacements = m.forms.replacements.data();
        __texts = m.forms.text;
    }
    __ahead = {};
    m.text = text;
    m.isKnown = m.isOver = false;
    m.literals.set_text(text, isLast, isInWord);
    for (const auto& unit : m.units) {
        unit->SetText(text);
    }
}

template <class T>
bool CRuleSearch<T>::__Find(unsigned int from, RULE_MATCH& match) {
    __ahead = {};
    machine& m = *__machine;
    if (!m.isOver && (!m.isKnown || m.literal.begin < from)) {
        m.isOver = !m.literals.find(from, m.literal);
        m.isKnown = true;
    }
    const RULE_MATCH* best = m.isOver ? nullptr : &m.literal;
    m.source = nullptr;
    for (const auto& unit : m.units) {
        const RULE_MATCH* const found = unit->Find(from);
        if (found != nullptr && (best == nullptr || IsBefore(*found, *best))) {
            best = found;
            m.source = unit.get();
        }
    }
    if (best == nullptr) {
        return false;
    }
    match = *best;
    if (m.units.empty()) {
        __Ahead(m.literals.ahead(), match.end());
    }
    return true;
}

template <class T>
unsigned int CRuleSearch<T>::GetUndecided() const {
    return __machine->literals.undecided();
}

template <class T>
void CRuleSearch<T>::__PutReplacement(IMPL::text_writer<T>& out, const RULE_MATCH& match) const {
    const machine& m = *__machine;
    if (m.source != nullptr) {
        m.forms.filler(match.rule).put(out, [&](unsigned int group) {
            return m.source->Group(group);
        });
    } else if (m.rules->__cases.follows && m.rules->__rules[match.rule].kind.noCase) {
        IMPL::put_like(out, m.forms.replacement(match.rule),
                       {m.text.data + match.begin, match.length});
    } else {
        out.put_part(m.forms.replacement(match.rule), m.forms.text.data() + m.forms.text.length());
    }
}

template <class T>
bool CRuleSearch<T>::EndsInWord(text_ref<T> text) {
    return text.length != 0 && IMPL::is_word_before(text, text.length);
}

template <class T>
void CRuleSearch<T>::Restart(std::uint64_t size) {
    __ahead = {};
    __size = size;
    if (__machine) {
        __machine->literals.restart(size);
    }
}

template class CRuleSearch<unsigned char>;
template class CRuleSearch<wchar_t>;

CRuleReplacer::CRuleReplacer(std::shared_ptr<const CRuleSet> rules)
    : __rules(std::move(rules)), __counts(__rules->GetCount()) {}

CRuleReplacer::~CRuleReplacer() = default;

unsigned int CRuleReplacer::Replace(basic_buffer<wchar_t>& to, text_ref<wchar_t> text,
                                    REPLACED_MATCHES* matches) {
    return __Replace(__wide, to, text, matches);
}

unsigned int CRuleReplacer::Replace(basic_buffer<unsigned char>& to, text_ref<unsigned char> text,
                                    REPLACED_MATCHES* matches) {
    return __Replace(__bytes, to, text, matches);
}

template <class T>
unsigned int CRuleReplacer::__Replace(std::unique_ptr<CRuleSearch<T>>& search, basic_buffer<T>& to,
                                      text_ref<T> text, REPLACED_MATCHES* matches) {
    to.clear();
    if (matches != nullptr) {
        matches->clear();
    }
    if (!search) {
        search = std::make_unique<CRuleSearch<T>>(__rules);
    }
    search->SetText(text);
    std::optional<IMPL::text_writer<T>> out;
    unsigned int copied = 0;
    unsigned int count = 0;
    for (RULE_MATCH match; search->Find(copied, match); ++count) {
        if (!out) {
            to.reserve(std::uint64_t{text.length} + 1);
            out.emplace(to);
        }
        out->put({text.data + copied, match.begin - copied});
        const unsigned int before = out->length();
        search->PutReplacement(*out, match);
        if (matches != nullptr) {
            matches->push_back({match.begin, match.length, before, out->length() - before});
        }
        __counts.Add(match.rule);
        copied = match.end();
    }
    if (out) {
        out->put({text.data + copied, text.length - copied});
        out->finish();
    }
    return count;
}

} // namespace Quil
