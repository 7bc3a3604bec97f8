// Searching one text again and again by a compiled expression, and replacing all that is found. One
// template over the elements of the text: those of the two text classes, and bytes that are the
// characters of a wide expression.
#pragma once

#include "regex/regcontext.h"
#include "regex/regex.h"
#include "util/text/replace/regex_template.h"
#include "util/text/replaced_match.h"
#include "util/text/text_build.h"

#include <array>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

namespace Quil::IMPL {

constexpr unsigned int REGEX_GROUPS_TOLD = 10; ///< \0 to \9
constexpr double REGEX_GROWTH_ESTIMATE = 1.17; ///< of a text in which all matches are replaced

inline int regex_execute_flags(bool notBol, bool notEol) {
    return REG_STARTEND | (notBol ? REG_NOTBOL : 0) | (notEol ? REG_NOTEOL : 0);
}

/// What the handle of a compiled expression points to: the engine's record, and directly behind it
/// the flags that it was compiled with.
struct REGEX_RECORD {
    regex_t re;
    std::uint32_t flags;

    static REGEX_RECORD& Of(unsigned char* block) noexcept {
        return *static_cast<REGEX_RECORD*>(static_cast<void*>(block));
    }
    bool is_newline_sensitive() const noexcept { return (flags & REG_NEWLINE) != 0; }
};

/// Puts the elements in a replacement that its escapes name.
template <class S>
void translate_replacement(S& rep);

/// The searches of one expression in one text at a time.
template <class T>
class regex_search {
public:
    regex_search(const regex_t& re, text_ref<T> text, bool notEol)
        : __context(&re), __text(text), __eflags(regex_execute_flags(false, notEol)) {
        set_text(text);
    }

    /// Goes on in another text with what was learned of the expression.
    void set_text(text_ref<T> text) {
        __text = text;
        __context.settext(text.data, text.length);
    }

    /// True if there is a match at or behind `pos`; `groups` groups are then told of.
    bool find(unsigned int pos, bool notBol, unsigned int groups) {
        __base = pos;
        const int eflags = __eflags | (notBol ? REG_NOTBOL : 0);
        __code = __context.exec(pos, groups, __matches.data(), eflags);
        return __code == REG_OKAY;
    }
    /// The same for who makes a result of all matches, which without some would look whole: throws
    /// std::bad_alloc where the engine finds no memory.
    bool find_or_throw(unsigned int pos, bool notBol, unsigned int groups) {
        const bool found = find(pos, notBol, groups);
        if (__code == REG_ESPACE) {
            throw std::bad_alloc();
        }
        return found;
    }
    /// The same for the match number `index`. `newlineSensitive` is asked when the first search
    /// begins behind the text's start.
    template <class Ask>
    bool find_nth(unsigned int index, unsigned int pos, bool notBol, bool continued,
                  Ask newlineSensitive) {
        for (unsigned int seen = 0;; ++seen) {
            if (pos != 0 && (continued || seen != 0)) {
                notBol = !newlineSensitive() || __text.data[pos - 1] != T('\n');
            }
            if (!find(pos, notBol, REGEX_GROUPS_TOLD)) {
                return false;
            }
            if (seen == index) {
                return true;
            }
            // An empty match further on doesn't count as empty here: it is found again.
            const bool isEmpty = __matches[0].rm_eo == 0;
            pos += static_cast<unsigned int>(__matches[0].rm_eo) + (isEmpty ? 1 : 0);
            if (isEmpty && pos >= __text.length) {
                return false;
            }
        }
    }

    /// Whether all matches can be had by `spans`, once one was found.
    bool in_bulk() const { return __context.inbulk(); }
    /// The next matches from `pos` on, by their bounds; fewer than there is room for if those are
    /// all.
    template <std::size_t Most>
    std::size_t spans(unsigned int pos, std::array<regmatch_t, Most>& found) {
        return __context.spans(pos, found.data(), Most);
    }

    unsigned int offset(unsigned int group) const {
        return __base + static_cast<unsigned int>(__matches[group].rm_so);
    }
    unsigned int length(unsigned int group) const {
        return static_cast<unsigned int>(__matches[group].rm_eo - __matches[group].rm_so);
    }
    text_ref<T> text(unsigned int group) const {
        const unsigned int n = length(group);
        return {n == 0 ? __text.data : __text.data + offset(group), n};
    }
    void tell(std::vector<std::pair<unsigned int, unsigned int>>& out,
              std::size_t groupCount) const {
        for (unsigned int i = 0; i < groupCount; ++i) {
            if (i < REGEX_GROUPS_TOLD) {
                out.emplace_back(offset(i), length(i));
            } else {
                out.emplace_back(basic_buffer<T>::npos, 0U);
            }
        }
    }

private:
    TRegexContext<T> __context;
    text_ref<T> __text;
    int __eflags;
    unsigned int __base = 0;
    int __code = REG_OKAY; ///< of the last search
    std::array<regmatch_t, REGEX_GROUPS_TOLD> __matches{};
};

/// Whether the next search does not begin a line, as the in-place form has it: at the very start
/// what the caller said, else by what stands before.
struct in_place_beginning {
    bool notBol;

    bool operator()(bool isAtStart, bool isStepped, bool isLineStart) const {
        return isAtStart && !isStepped ? notBol : !isLineStart;
    }
};

/// The same as the copy-out form has it: a result that is still empty leaves a beginning.
struct copy_out_beginning {
    bool operator()(bool isAtStart, bool, bool isLineStart) const {
        return !isAtStart && !isLineStart;
    }
};

/// Replaces all matches of an expression that finds them in bulk: with one every few elements, a
/// search for each would cost more than the rest.
template <class T, class Filler>
unsigned int regex_replace_in_bulk(text_writer<T>& out, text_ref<T> text, regex_search<T>& searches,
                                   const Filler& filler, REPLACED_MATCHES* matches) {
    constexpr std::size_t BULK = 128;
    std::array<regmatch_t, BULK> spans;
    std::size_t found = 0;
    unsigned int copied = 0;
    unsigned int count = 0;
    do {
        found = searches.spans(copied, spans);
        for (std::size_t i = 0; i < found; ++i) {
            const auto begin = static_cast<unsigned int>(spans[i].rm_so);
            const auto end = static_cast<unsigned int>(spans[i].rm_eo);
            out.put({text.data + copied, begin - copied});
            const unsigned int before = out.length();
            filler.put(out,
                       [&](unsigned int) { return text_ref<T>(text.data + begin, end - begin); });
            if (matches != nullptr) {
                matches->push_back({begin, end - begin, before, out.length() - before});
            }
            copied = end;
        }
        count += static_cast<unsigned int>(found);
    } while (found == BULK);
    out.put({text.data + copied, text.length - copied});
    out.finish();
    return count;
}

/// The one loop of all replace-all forms: appends the result to `to`, which is empty and apart from
/// the text, and answers the number of matches; with none, nothing is appended. `decide` tells, for
/// a search at a position, whether it does not begin a line. `filler` is a template, plain or
/// cased. The text is that of `searches`. `matches`, unless null, is appended each match.
template <class T, class Filler, class Decide>
unsigned int regex_replace_all(basic_buffer<T>& to, text_ref<T> text, regex_search<T>& searches,
                               bool sensitive, const Filler& filler, bool notBol, Decide decide,
                               REPLACED_MATCHES* matches = nullptr) {
    const T* const source = text.data;
    const unsigned int length = text.length;
    if (length == 0 || !searches.find_or_throw(0, notBol, filler.groups_used())) {
        return 0;
    }

    try {
        to.reserve(static_cast<std::uint64_t>(std::min<double>(length * REGEX_GROWTH_ESTIMATE,
                                                               basic_buffer<T>::max_size() - 1)) +
                   1);
    } catch (const std::bad_alloc&) {
        to.reserve(std::uint64_t{length} + 1);
    }
    text_writer<T> out(to);
    if (filler.groups_used() == 1 && searches.in_bulk()) {
        return regex_replace_in_bulk(out, text, searches, filler, matches);
    }
    unsigned int copied = 0;
    unsigned int count = 0;
    unsigned int pos = 0;
    bool more = true;
    while (more) {
        const unsigned int offset = searches.offset(0);
        const unsigned int n = searches.length(0);
        out.put({source + copied, offset - copied});
        const unsigned int before = out.length();
        filler.put(out, [&](unsigned int group) { return searches.text(group); });
        if (matches != nullptr) {
            matches->push_back({offset, n, before, out.length() - before});
        }
        ++count;
        copied = offset + n;
        pos = copied + (n == 0 ? 1 : 0);
        if (pos >= length) {
            break;
        }
        // What stands before `pos` in the result, if anything does.
        const bool isStepped = pos > copied;
        const bool isAtStart = out.length() == 0;
        const bool isLineStart = sensitive && (isStepped   ? source[pos - 1]
                                               : isAtStart ? T('\n')
                                                           : out.last()) == T('\n');
        more = searches.find_or_throw(pos, decide(isAtStart, isStepped, isLineStart),
                                      filler.groups_used());
    }
    out.put({source + copied, length - copied});
    out.finish();
    return count;
}

} // namespace Quil::IMPL
