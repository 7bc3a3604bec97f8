// One dispatch from form to matcher, then one of three ways to write the result: `__Overwrite`
// where no replacement is longer than what it replaces, `__Expand` where one may be, `__Build` into
// another string. A matcher finds the next match at or behind a position of a text that is not
// changed from there on.

#include "util/text/string_replace.h"

#include "util/text/byteEx.h"
#include "util/text/match_replace.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <vector>

namespace Quil {

using IMPL::MATCH;
using IMPL::move_elements;
using IMPL::set_matcher;
using IMPL::text_matcher;

template <class Self, class T>
template <class Use>
unsigned int string_replace<Self, T>::__WithMatcher(FORM form, text_ref<T> what,
                                                    unsigned int length, Use use) {
    const auto with = [&]<class Matcher>(std::type_identity<Matcher>) {
        Matcher matcher(what, length);
        return use(matcher);
    };
    const auto plain = [&]<class Fold>(std::type_identity<Fold>, FORM text, FORM set) {
        // A set of one element is a text.
        if (form == text || (form == set && what.length == 1)) {
            return with(std::type_identity<text_matcher<T, Fold>>());
        }
        if (form == set) {
            return with(std::type_identity<set_matcher<T, Fold, false>>());
        }
        return with(std::type_identity<set_matcher<T, Fold, true>>());
    };
    if constexpr (sm_isText) {
        if (form == FORM::TEXT_NO_CASE || form == FORM::SET_NO_CASE || form == FORM::RUN_NO_CASE) {
            return plain(std::type_identity<IMPL::lower_fold<Self>>(), FORM::TEXT_NO_CASE,
                         FORM::SET_NO_CASE);
        }
    }
    return plain(std::type_identity<IMPL::plain_fold>(), FORM::TEXT, FORM::SET);
}

template <class Self, class T>
unsigned int string_replace<Self, T>::__InPlace(FORM form, const Self& what, const Self& rep,
                                                unsigned int start, bool all) {
    if (start >= this->length()) {
        return 0;
    }
    if (what.empty()) {
        if (sm_isText || form != FORM::TEXT || rep.empty()) {
            return 0;
        }
        this->insert(start, rep);
        return 1;
    }
    const IMPL::kept_argument<T> heldWhat(*this, what);
    const IMPL::kept_argument<T> heldRep(*this, rep);
    // The string itself as the replacement is taken as it grows, which ends the work.
    const bool repeats = all && &rep != static_cast<const Buffer*>(this);
    return __WithMatcher(form, heldWhat.text(), this->length(), [&](auto& matcher) {
        return heldRep.text().length <= matcher.shortest()
                   ? __Overwrite(matcher, heldRep.text(), start, repeats)
                   : __Expand(matcher, heldRep.text(), start, repeats);
    });
}

template <class Self, class T>
template <class Matcher>
unsigned int string_replace<Self, T>::__Overwrite(Matcher& matcher, text_ref<T> rep,
                                                  unsigned int start, bool all) {
    const unsigned int length = this->length();
    const std::optional<MATCH> first = IMPL::first_match(matcher, this->data(), length, start);
    if (!first) {
        return 0;
    }
    this->_grow(std::uint64_t{length} + Buffer::sm_tail);
    const IMPL::REPLACED done =
        IMPL::overwrite_matches(this->ref(), length, matcher, rep, first->pos, all);
    this->_eofonly(done.length);
    return done.count;
}

template <class Self, class T>
template <class Matcher>
unsigned int string_replace<Self, T>::__Expand(Matcher& matcher, text_ref<T> rep,
                                               unsigned int start, bool all) {
    const unsigned int length = this->length();
    std::vector<MATCH> matches;
    std::int64_t growth = 0;
    matcher.each(this->data(), length, start, [&](MATCH found) {
        matches.push_back(found);
        growth += std::int64_t{rep.length} - found.length;
        return all;
    });
    if (matches.empty()) {
        return 0;
    }
    const std::int64_t newLength = std::int64_t{length} + growth;
    // Where long runs give way to short replacements the text may need the old room till the end.
    this->_grow(static_cast<std::uint64_t>(std::max<std::int64_t>(newLength, length)) +
                Buffer::sm_tail);

    // What stands between two matches keeps its order wherever it goes, so no piece that moves down
    // can reach one that moves up: first all that go down, front to back, then the others.
    T* const elements = this->ref();
    const auto pieceLength = [&](std::size_t i) {
        return (i + 1 < matches.size() ? matches[i + 1].pos : length) - matches[i].end();
    };
    std::int64_t shift = 0;
    for (std::size_t i = 0; i < matches.size(); ++i) {
        shift += std::int64_t{rep.length} - matches[i].length;
        if (shift < 0) {
            T* const piece = elements + matches[i].end();
            move_elements(piece + shift, piece, pieceLength(i));
        }
    }
    for (std::size_t i = matches.size(); i-- > 0;) {
        T* const piece = elements + matches[i].end();
        if (shift > 0) {
            move_elements(piece + shift, piece, pieceLength(i));
        }
        move_elements(piece + shift - rep.length, rep.data, rep.length);
        shift -= std::int64_t{rep.length} - matches[i].length;
    }
    this->_eofonly(static_cast<unsigned int>(newLength));
    return static_cast<unsigned int>(matches.size());
}

template <class Self, class T>
unsigned int string_replace<Self, T>::__To(Self& to, FORM form, const Self& what, const Self& rep,
                                           unsigned int start) const {
    if (&to == static_cast<const Buffer*>(this)) {
        to.clear();
        return 0;
    }
    const IMPL::kept_argument<T> source(to, *this);
    const IMPL::kept_argument<T> heldWhat(to, what);
    const IMPL::kept_argument<T> heldRep(to, rep);
    to.clear();
    if (start >= source.text().length || heldWhat.text().length == 0) {
        return 0;
    }
    const Self copy(source.copied());
    const string_replace& from = source.is_copied() ? copy : *this;
    return __WithMatcher(form, heldWhat.text(), from.length(), [&](auto& matcher) {
        return from.__Build(to, matcher, heldRep.text(), start);
    });
}

template <class Self, class T>
template <class Matcher>
unsigned int string_replace<Self, T>::__Build(Self& to, Matcher& matcher, text_ref<T> rep,
                                              unsigned int start) const {
    const unsigned int count =
        IMPL::build_replaced<T>(to, *this, matcher, rep, start, [](unsigned int) {});
    if (count == 0) {
        if (this->length() >= sm_shareFrom && !this->is_static()) {
            to.assign(*this);
        } else {
            IMPL::reserve_for_result(to, this->length(), matcher.shortest(), rep.length);
            to.assign(this->data(), this->length());
        }
    }
    return count;
}

template class string_replace<stringEx, char>;
template class string_replace<wstringEx, wchar_t>;
template class string_replace<byteEx, unsigned char>;

} // namespace Quil
