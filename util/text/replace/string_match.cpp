#include "util/text/replace/string_match.h"

#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace Quil {

template <class Self, class T>
bool string_match<Self, T>::__Wildcard(text_ref<T> pattern, unsigned int* wildStart,
                                       unsigned int start, const SIGNS& signs) const {
    const text_ref<T> text(*this);
    if (start >= text.length) {
        return false;
    }
    // A view may have no terminator.
    const auto at = [](text_ref<T> elements, unsigned int i) {
        return i < elements.length ? elements.data[i] : T(0);
    };
    const auto same = [&](T a, T b) {
        return a == b || (signs.noCase && Self::to_lower(a) == Self::to_lower(b));
    };
    struct PLACE {
        unsigned int pattern;
        unsigned int text;
        unsigned int mark; // where the stretch under wildcards began that reaches here
    };
    PLACE here{0, start, npos};
    PLACE back{npos, 0, 0};
    for (;;) {
        const T wanted = at(pattern, here.pattern);
        const bool isInPattern = here.pattern < pattern.length;
        if (isInPattern && wanted == signs.many) {
            ++here.pattern;
            here.mark = std::min(here.mark, here.text);
            back = here;
            continue;
        }
        const T found = at(text, here.text);
        if (found == T(0)) {
            if (wanted == T(0) && wildStart != nullptr) {
                *wildStart = here.mark != npos ? here.mark : text.length - 1;
            }
            return wanted == T(0);
        }
        if (isInPattern && signs.hasEsc && wanted == signs.esc) {
            if (same(at(pattern, here.pattern + 1), found)) {
                here = {here.pattern + 2, here.text + 1, npos};
                continue;
            }
        } else if (isInPattern && wanted == signs.one) {
            here = {here.pattern + 1, here.text + 1, std::min(here.mark, here.text)};
            continue;
        } else if (same(wanted, found)) {
            here = {here.pattern + 1, here.text + 1, npos};
            continue;
        }
        if (back.pattern == npos) {
            return false;
        }
        ++back.text;
        here = back;
    }
}

template class string_match<stringEx, char>;
template class string_match<wstringEx, wchar_t>;

} // namespace Quil
