#include "util/text/string/string_field.h"

#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace Quil {

// Searches ------------------------------------------------------------------------------------

template <class Self, class T>
unsigned int string_field<Self, T>::__Find(text_ref<T> what, unsigned int pos, bool noCase) const {
    if (what.length == 0) {
        return npos;
    }
    if constexpr (sm_isText) {
        if (noCase) {
            return this->find_no_case(what, pos);
        }
    }
    return this->find(what.data, pos, what.length);
}

/// The last occurrence that ends at or before `end`.
template <class Self, class T>
unsigned int string_field<Self, T>::__RFindBefore(text_ref<T> what, unsigned int end,
                                                  bool noCase) const {
    if (what.length == 0 || end < what.length) {
        return npos;
    }
    if constexpr (sm_isText) {
        if (noCase) {
            return this->rfind_no_case(what, end - what.length);
        }
    }
    return this->rfind(what.data, end - what.length, what.length);
}

template <class Self, class T>
bool string_field<Self, T>::__IsTagPair(text_ref<T> begin, text_ref<T> end, bool noCase) const {
    if (begin.length == 0 || end.length == 0) {
        return false;
    }
    const Self first(begin.data, begin.length, typename Self::NOT_OWNER());
    if constexpr (sm_isText) {
        if (noCase) {
            return !first.equal_no_case(end);
        }
    }
    return first.compare(0, npos, end.data, end.length) != 0;
}

// Parts ---------------------------------------------------------------------------------------

/// The whole text as a field; an empty delimiter measures nothing.
template <class Self, class T>
auto string_field<Self, T>::__Whole(text_ref<T> delimiter) const noexcept -> PART {
    return {0, delimiter.length == 0 ? 0 : this->length()};
}

template <class Self, class T>
auto string_field<Self, T>::__From(unsigned int start) const noexcept -> PART {
    return {start, this->length() - start};
}

template <class Self, class T>
auto string_field<Self, T>::__Field(text_ref<T> delimiter, long index, bool noCase) const -> PART {
    if (index < 0) {
        return __Whole(delimiter);
    }
    unsigned int start = 0;
    for (;; --index) {
        const unsigned int hit = __Find(delimiter, start, noCase);
        if (index == 0) {
            return hit == npos ? __From(start) : PART{start, hit - start};
        }
        if (hit == npos) {
            return {};
        }
        start = hit + delimiter.length;
    }
}

template <class Self, class T>
auto string_field<Self, T>::__RField(text_ref<T> delimiter, long index, bool noCase) const -> PART {
    if (index < 0) {
        return __Whole(delimiter);
    }
    unsigned int end = this->length();
    for (;; --index) {
        const unsigned int hit = __RFindBefore(delimiter, end, noCase);
        if (index == 0) {
            const unsigned int start = hit == npos ? 0 : hit + delimiter.length;
            return {start, end - start};
        }
        if (hit == npos) {
            return {};
        }
        end = hit;
    }
}

template <class Self, class T>
auto string_field<Self, T>::__Segment(text_ref<T> delimiter, long index, bool noCase) const
    -> PART {
    unsigned int start = 0;
    for (; index > 0; --index) {
        const unsigned int hit = __Find(delimiter, start, noCase);
        if (hit == npos) {
            return {};
        }
        start = hit + delimiter.length;
    }
    return __From(start);
}

template <class Self, class T>
auto string_field<Self, T>::__RSegment(text_ref<T> delimiter, long index, bool noCase) const
    -> PART {
    if (index < 0) {
        return __From(0);
    }
    const bool isLast = index == 0;
    unsigned int end = this->length();
    for (;; --index) {
        const unsigned int hit = __RFindBefore(delimiter, end, noCase);
        if (hit == npos) {
            return isLast ? __From(0) : PART{};
        }
        if (index == 0) {
            return __From(hit + delimiter.length);
        }
        end = hit;
    }
}

template <class Self, class T>
auto string_field<Self, T>::__Delimited(text_ref<T> begin, text_ref<T> end, long index,
                                        bool noCase) const -> PART {
    if (!__IsTagPair(begin, end, noCase)) {
        return {};
    }
    if (index < 0) {
        return __From(0);
    }
    unsigned int start = 0;
    for (;; --index) {
        const unsigned int hit = __Find(begin, start, noCase);
        if (hit == npos) {
            return {};
        }
        start = hit + begin.length;
        if (index == 0) {
            const unsigned int stop = __Find(end, start, noCase);
            return stop == npos ? PART{} : PART{start, stop - start};
        }
    }
}

template <class Self, class T>
auto string_field<Self, T>::__RDelimited(text_ref<T> begin, text_ref<T> end, long index,
                                         bool noCase) const -> PART {
    if (!__IsTagPair(begin, end, noCase)) {
        return {};
    }
    if (index < 0) {
        return __From(0);
    }
    // A begin behind the last end opens nothing.
    const unsigned int lastEnd = __RFindBefore(end, this->length(), noCase);
    for (unsigned int limit = lastEnd; limit != npos; --index) {
        const unsigned int hit = __RFindBefore(begin, limit, noCase);
        if (hit == npos) {
            break;
        }
        if (index == 0) {
            const unsigned int start = hit + begin.length;
            return {start, __Find(end, start, noCase) - start};
        }
        limit = hit;
    }
    return {};
}

template <class Self, class T>
Self& string_field<Self, T>::__Replace(PART part, text_ref<T> rep) {
    if (part.is_there()) {
        this->replace(part.start, part.length,
                      Self(rep.data, rep.length, typename Self::NOT_OWNER()));
    }
    return this->_self();
}

// Counts and look-ups -------------------------------------------------------------------------

template <class Self, class T>
unsigned int string_field<Self, T>::__FieldCount(text_ref<T> delimiter, bool noCase) const {
    unsigned int count = 1;
    for (unsigned int hit = __Find(delimiter, 0, noCase); hit != npos;
         hit = __Find(delimiter, hit + delimiter.length, noCase)) {
        ++count;
    }
    return count;
}

template <class Self, class T>
bool string_field<Self, T>::__FieldPos(text_ref<T> delimiter, long index, unsigned int& start,
                                       unsigned int& length, bool noCase) const {
    PART part = __Field(delimiter, index, noCase);
    if (!part.is_there() && __Find(delimiter, 0, noCase) != npos) {
        part = __RField(delimiter, 0, noCase);
    }
    start = part.start;
    length = part.length;
    return part.is_there();
}

template <class Self, class T>
bool string_field<Self, T>::__AllFields(field_list& out, text_ref<T> delimiter, bool noCase) const {
    out.clear();
    unsigned int start = 0;
    for (unsigned int hit = __Find(delimiter, 0, noCase); hit != npos;
         hit = __Find(delimiter, start, noCase)) {
        out.emplace_back(start, hit - start);
        start = hit + delimiter.length;
    }
    out.emplace_back(start, this->length() - start);
    return out.size() > 1;
}

template <class Self, class T>
bool string_field<Self, T>::__PosToField(unsigned int pos, text_ref<T> delimiter,
                                         unsigned int& field, unsigned int& offset,
                                         bool noCase) const {
    field = npos;
    offset = npos;
    if (pos >= this->length()) {
        return false;
    }
    const std::uint64_t reach = std::uint64_t{pos} + delimiter.length;
    const unsigned int hit = __RFindBefore(
        delimiter, static_cast<unsigned int>(std::min<std::uint64_t>(reach, this->length())),
        noCase);
    const unsigned int start = hit == npos ? 0 : hit + delimiter.length;
    if (start > pos) {
        return false;
    }
    field = 0;
    for (unsigned int next = __Find(delimiter, delimiter.length, noCase); next < start;
         next = __Find(delimiter, next + delimiter.length, noCase)) {
        ++field;
    }
    offset = pos - start;
    return true;
}

template <class Self, class T>
unsigned int string_field<Self, T>::__DelimitedCount(text_ref<T> begin, text_ref<T> end,
                                                     bool noCase) const {
    field_list all;
    __AllDelimited(all, begin, end, noCase);
    return static_cast<unsigned int>(all.size());
}

template <class Self, class T>
bool string_field<Self, T>::__DelimitedPos(text_ref<T> begin, text_ref<T> end, long index,
                                           unsigned int& start, unsigned int& length,
                                           bool noCase) const {
    const PART part = __Delimited(begin, end, index, noCase);
    start = part.start;
    length = part.length;
    return part.is_there();
}

template <class Self, class T>
bool string_field<Self, T>::__AllDelimited(field_list& out, text_ref<T> begin, text_ref<T> end,
                                           bool noCase) const {
    out.clear();
    if (!__IsTagPair(begin, end, noCase)) {
        return false;
    }
    // The end found for one field serves all that begin before it.
    unsigned int stop = 0;
    for (unsigned int hit = __Find(begin, 0, noCase); hit != npos;
         hit = __Find(begin, hit + begin.length, noCase)) {
        const unsigned int start = hit + begin.length;
        if (out.empty() || stop < start) {
            stop = __Find(end, start, noCase);
        }
        if (stop == npos) {
            break;
        }
        out.emplace_back(start, stop - start);
    }
    return !out.empty();
}

template class string_field<stringEx, char>;
template class string_field<wstringEx, wchar_t>;
template class string_field<byteEx, unsigned char>;

} // namespace Quil
