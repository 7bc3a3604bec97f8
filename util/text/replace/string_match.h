// Wildcard matching of the text classes, on top of their other matching helpers.
//
// The pattern is walked along the text, and only the most recent `many` is ever gone back to: an
// earlier one can't do better. So a match needs no memory, and at worst quadratic time.
#pragma once

#include "util/base/visibility.h"
#include "util/text/string/string_escape.h"

namespace QUIL_PUBLIC Quil {

/// The layer of wildcards. The receiver is the text. In a pattern `one` stands for any element and
/// `many` for any run of elements, also an empty one; both are the caller's choice. The whole text
/// from `start` on must be covered. A start that isn't below the length never matches, and a text
/// or pattern ends at its first 0.
///
/// The `esc` forms take the element behind an `esc` in the pattern as itself.
///
/// `*wildStart` gets, on a match, where the last stretch of text that wildcards covered begins; the
/// last element if the pattern doesn't end with one.
template <class Self, class T>
class string_match : public string_escape<Self, T> {
    using Escapes = string_escape<Self, T>;

public:
    using Escapes::Escapes;
    using Escapes::npos;
    constexpr string_match() noexcept = default;

    bool wildcard_match(text_ref<T> pattern, unsigned int start, T one, T many,
                        bool noCase = false) const {
        return wildcard_match(pattern, nullptr, start, one, many, noCase);
    }
    bool wildcard_match(text_ref<T> pattern, unsigned int* wildStart, unsigned int start, T one,
                        T many, bool noCase = false) const {
        return __Wildcard(pattern, wildStart, start, {one, many, T(), false, noCase});
    }
    bool wildcard_esc_match(text_ref<T> pattern, unsigned int start, T one, T many, T esc,
                            bool noCase = false) const {
        return wildcard_esc_match(pattern, nullptr, start, one, many, esc, noCase);
    }
    bool wildcard_esc_match(text_ref<T> pattern, unsigned int* wildStart, unsigned int start, T one,
                            T many, T esc, bool noCase = false) const {
        return __Wildcard(pattern, wildStart, start, {one, many, esc, true, noCase});
    }

private:
    struct SIGNS {
        T one;
        T many;
        T esc;
        bool hasEsc;
        bool noCase;
    };

    bool __Wildcard(text_ref<T> pattern, unsigned int* wildStart, unsigned int start,
                    const SIGNS& signs) const;
};

} // namespace Quil
