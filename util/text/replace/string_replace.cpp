// One dispatch from form to matcher, then one of two ways to write the result: `__OverwriteMatches`
// in place, `__Build` into another string. A matcher finds the next match at or behind a position
// of a text that is not changed from there on.

#include "util/text/replace/string_replace.h"

#include "util/text/byteEx.h"
#include "util/text/match_replace.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace Quil {

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
        return __OverwriteMatches(matcher, heldRep.text(), start, repeats);
    });
}

/// Two passes where the text grows: the first one measures by how much, then the text is moved up
/// and written down again with its replacements. Where it can't grow the first match is enough.
template <class Self, class T>
template <class Matcher>
unsigned int string_replace<Self, T>::__OverwriteMatches(Matcher& matcher, text_ref<T> rep,
                                                         unsigned int start, bool all) {
    const unsigned int length = this->length();
    const bool mayGrow = rep.length > matcher.shortest();
    const IMPL::GROWTH growth =
        IMPL::measure_growth(this->data(), length, matcher, rep.length, start, all && mayGrow);
    if (growth.count == 0) {
        return 0;
    }
    if (growth.most != 0 && this->is_static()) { // nothing is written behind a view's result
        Self own(this->data(), length);
        const unsigned int count = own.__OverwriteMatches(matcher, rep, growth.first, all);
        this->assign(own.data(), own.length());
        return count;
    }
    this->_grow(length + growth.most + Buffer::sm_tail);
    T* const elements = this->ref();
    if (growth.most != 0) {
        Buffer::__move(elements + growth.first + growth.most, elements + growth.first,
                       length - growth.first);
    }
    const IMPL::REPLACED done =
        IMPL::overwrite_matches(elements, length, matcher, rep, growth.first, all, growth.most);
    this->_eofonly(done.length);
    return done.count;
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
