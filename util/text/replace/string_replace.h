// Literal find and replace of the string classes.
//
// A form is a way of matching (a text, one element of a set, a run of elements of a set; each plain
// or folded) times a way of replacing. Matching is the business of `text_search.h`; there are two
// ways of replacing. In place, the text itself is rewritten from front to back; where it grows, it
// is first moved up by as much, so that nothing is written over before it is read. The `_to` forms
// build the result in a second string, for the price of its memory.
#pragma once

#include "util/base/visibility.h"
#include "util/text/string/string_core.h"

namespace QUIL_PUBLIC Quil {

namespace IMPL {

/// Where a search begins, and whether it is for all matches. The third argument of a replace
/// operation is the one of text and may be the other of bytes, so neither takes what converts to
/// it: `find_replace(x, y, true)` on a text would begin at 1.
class start_argument {
public:
    start_argument(unsigned int position) noexcept : __position(position) {}
    template <std::same_as<bool> Flag>
    start_argument(Flag) = delete;
    operator unsigned int() const noexcept { return __position; }

private:
    unsigned int __position;
};

class all_argument {
public:
    template <std::same_as<bool> Flag>
    all_argument(Flag isAll) noexcept : __isAll(isAll) {}
    operator bool() const noexcept { return __isAll; }

private:
    bool __isAll;
};

} // namespace IMPL

/// The layer of the literal replace operations. Positions and results are in elements; every
/// operation answers the number of replacements.
///
/// What all have in common: the search begins at `start`; the leftmost match wins and the search
/// goes on behind it, so matches never overlap and a replacement is never searched. A start at or
/// behind the end, or nothing to find, gives 0. Folding compares `to_lower` of both sides, element
/// by element. Only memory fails (std::bad_alloc); the string is then valid.
///
/// In place: without a match nothing is copied or un-shared; without `all` only the first match is
/// replaced. A view is written through. Arguments may look into the string. A `rep` that is the
/// very string is inserted once, whatever `all` says.
///
/// `_to`: `to` gets the whole text with all matches from `start` on replaced, and a copy of the
/// text when there is none. But it is left empty when the start is at or behind the end or there is
/// nothing to find. It is emptied first of all: with the string itself as `to` nothing is left to
/// search. The source is never changed otherwise.
template <class Self, class T>
class string_replace : public string_core<Self, T> {
    using Core = string_core<Self, T>;
    using Buffer = basic_buffer<T>;
    using Start = IMPL::start_argument;
    using All = IMPL::all_argument;
    static constexpr bool sm_isText = !std::is_same_v<T, unsigned char>;

public:
    using Buffer::npos;
    using Core::Core;
    constexpr string_replace() noexcept = default;

    /// The text `find`. Of bytes only: an empty `find` is found once, at `start`.
    unsigned int find_replace(const Self& find, const Self& rep, Start start, All all) {
        return __InPlace(FORM::TEXT, find, rep, start, all);
    }
    unsigned int find_replace(const Self& find, const Self& rep,
                              Start start = 0) requires sm_isText {
        return __InPlace(FORM::TEXT, find, rep, start, true);
    }
    unsigned int find_replace(const Self& find, const Self& rep,
                              All all = true) requires(!sm_isText) {
        return __InPlace(FORM::TEXT, find, rep, 0, all);
    }
    unsigned int find_replace_to(Self& to, const Self& find, const Self& rep,
                                 Start start = 0) const {
        return __To(to, FORM::TEXT, find, rep, start);
    }
    unsigned int find_replace_no_case(const Self& find, const Self& rep, Start start = 0,
                                      All all = true) requires sm_isText {
        return __InPlace(FORM::TEXT_NO_CASE, find, rep, start, all);
    }
    unsigned int find_replace_no_case_to(Self& to, const Self& find, const Self& rep,
                                         Start start = 0) const requires sm_isText {
        return __To(to, FORM::TEXT_NO_CASE, find, rep, start);
    }

    /// Any one element of `set`.
    unsigned int find_replace_set(const Self& set, const Self& rep, Start start, All all) {
        return __InPlace(FORM::SET, set, rep, start, all);
    }
    unsigned int find_replace_set(const Self& set, const Self& rep,
                                  Start start = 0) requires sm_isText {
        return __InPlace(FORM::SET, set, rep, start, true);
    }
    unsigned int find_replace_set(const Self& set, const Self& rep,
                                  All all = true) requires(!sm_isText) {
        return __InPlace(FORM::SET, set, rep, 0, all);
    }
    unsigned int find_replace_set_to(Self& to, const Self& set, const Self& rep,
                                     Start start = 0) const {
        return __To(to, FORM::SET, set, rep, start);
    }
    unsigned int find_replace_set_no_case(const Self& set, const Self& rep, Start start = 0,
                                          All all = true) requires sm_isText {
        return __InPlace(FORM::SET_NO_CASE, set, rep, start, all);
    }
    unsigned int find_replace_set_no_case_to(Self& to, const Self& set, const Self& rep,
                                             Start start = 0) const requires sm_isText {
        return __To(to, FORM::SET_NO_CASE, set, rep, start);
    }

    /// A run of elements of `set`, as long as it goes, replaced once.
    unsigned int shrink_set(const Self& set, const Self& rep, Start start = 0,
                            All all = true) requires sm_isText {
        return __InPlace(FORM::RUN, set, rep, start, all);
    }
    unsigned int shrink_set_to(Self& to, const Self& set, const Self& rep,
                               Start start = 0) const requires sm_isText {
        return __To(to, FORM::RUN, set, rep, start);
    }
    unsigned int shrink_set_no_case(const Self& set, const Self& rep, Start start = 0,
                                    All all = true) requires sm_isText {
        return __InPlace(FORM::RUN_NO_CASE, set, rep, start, all);
    }
    unsigned int shrink_set_no_case_to(Self& to, const Self& set, const Self& rep,
                                       Start start = 0) const requires sm_isText {
        return __To(to, FORM::RUN_NO_CASE, set, rep, start);
    }

protected:
    // A long text without a match is shared with `to` instead of being copied. A short one isn't:
    // its copy costs less than the un-sharing that the next change of either would bring.
    static constexpr unsigned int sm_shareFrom = 1 << 16;

private:
    enum class FORM { TEXT, TEXT_NO_CASE, SET, SET_NO_CASE, RUN, RUN_NO_CASE };

    template <class Use>
    static unsigned int __WithMatcher(FORM form, text_ref<T> what, unsigned int length, Use use);
    unsigned int __InPlace(FORM form, const Self& what, const Self& rep, unsigned int start,
                           bool all);
    unsigned int __To(Self& to, FORM form, const Self& what, const Self& rep,
                      unsigned int start) const;
    template <class Matcher>
    unsigned int __OverwriteMatches(Matcher& matcher, text_ref<T> rep, unsigned int start,
                                    bool all);
    template <class Matcher>
    unsigned int __Build(Self& to, Matcher& matcher, text_ref<T> rep, unsigned int start) const;
};

} // namespace Quil
