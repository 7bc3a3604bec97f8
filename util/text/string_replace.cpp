// One dispatch from form to matcher, then one of three ways to write the result: `__Overwrite`
// where no replacement is longer than what it replaces, `__Expand` where one may be, `__Build` into
// another string. A matcher finds the next match at or behind a position of a text that is not
// changed from there on.

#include "util/text/string_replace.h"

#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/text_build.h"
#include "util/text/text_search.h"
#include "util/text/wstringEx.h"

#include <vector>

namespace Quil {

namespace {

struct MATCH {
    unsigned int pos;
    unsigned int length;

    unsigned int end() const { return pos + length; }
};

template <class T, class Fold>
class text_matcher {
public:
    text_matcher(text_ref<T> what, unsigned int textLength)
        : __search(what.data, what.length, textLength) {}

    /// The length of the shortest possible match.
    unsigned int shortest() const { return __search.length(); }
    /// An occurrence takes so many elements in the estimate of a result's size.
    bool next(const T* text, unsigned int length, unsigned int pos, MATCH& found) {
        found = {__search.find(text, length, pos), __search.length()};
        return found.pos != basic_buffer<T>::npos;
    }

private:
    IMPL::text_search<T, Fold> __search;
};

/// One element of a set, or as many as follow each other.
template <class T, class Fold, bool Runs>
class set_matcher {
public:
    set_matcher(text_ref<T> what, unsigned int) : __set(what.data, what.length) {}

    unsigned int shortest() const { return 1; }
    bool next(const T* text, unsigned int length, unsigned int pos, MATCH& found) const {
        while (pos < length && !__set.contains(text[pos])) {
            ++pos;
        }
        unsigned int end = pos < length ? pos + 1 : pos;
        while (Runs && end < length && __set.contains(text[end])) {
            ++end;
        }
        found = {pos, end - pos};
        return pos < length;
    }

private:
    IMPL::element_set<T, Fold> __set;
};

template <class T>
void copy_elements(T* to, const T* from, std::size_t n) {
    if (n != 0) {
        std::memcpy(to, from, n * sizeof(T));
    }
}

template <class T>
void move_elements(T* to, const T* from, std::size_t n) {
    if (n != 0 && to != from) {
        std::memmove(to, from, n * sizeof(T));
    }
}

} // namespace

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
    MATCH found{};
    if (!matcher.next(this->data(), length, start, found)) {
        return 0;
    }
    this->_grow(std::uint64_t{length} + Buffer::sm_tail);
    T* const elements = this->ref();
    unsigned int written = found.pos;
    unsigned int read = found.pos;
    unsigned int count = 0;
    do {
        move_elements(elements + written, elements + read, found.pos - read);
        written += found.pos - read;
        copy_elements(elements + written, rep.data, rep.length);
        written += rep.length;
        read = found.end();
        ++count;
    } while (all && matcher.next(elements, length, read, found));
    move_elements(elements + written, elements + read, length - read);
    this->_eofonly(written + (length - read));
    return count;
}

template <class Self, class T>
template <class Matcher>
unsigned int string_replace<Self, T>::__Expand(Matcher& matcher, text_ref<T> rep,
                                               unsigned int start, bool all) {
    const unsigned int length = this->length();
    std::vector<MATCH> matches;
    std::int64_t growth = 0;
    MATCH found{};
    for (unsigned int pos = start; matcher.next(this->data(), length, pos, found);
         pos = found.end()) {
        matches.push_back(found);
        growth += std::int64_t{rep.length} - found.length;
        if (!all) {
            break;
        }
    }
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
        copy_elements(piece + shift - rep.length, rep.data, rep.length);
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
    const T* const elements = this->data();
    const unsigned int length = this->length();
    MATCH found{};
    bool more = matcher.next(elements, length, start, found);
    if (!more && length >= sm_shareFrom && !this->is_static()) {
        to.assign(*this);
        return 0;
    }

    double estimate = length;
    if (matcher.shortest() < rep.length) {
        estimate += static_cast<double>(rep.length) / matcher.shortest() * length / sm_matchRarity;
    }
    try {
        to._grow_no_expand(
            static_cast<std::uint64_t>(std::min<double>(estimate, Buffer::max_size() - 1)) + 1);
    } catch (const std::bad_alloc&) {
        to._grow_no_expand(std::uint64_t{length} + 1);
    }

    IMPL::text_writer<T> out(to);
    unsigned int copied = 0;
    unsigned int count = 0;
    for (; more; more = matcher.next(elements, length, copied, found)) {
        out.put({elements + copied, found.pos - copied});
        out.put(rep);
        copied = found.end();
        ++count;
    }
    out.put({elements + copied, length - copied});
    out.finish();
    return count;
}

template class string_replace<stringEx, char>;
template class string_replace<wstringEx, wchar_t>;
template class string_replace<byteEx, unsigned char>;

} // namespace Quil
