// What every literal replacement comes down to: a matcher that gives the matches of a text from
// left to right, and a way to write the result.
//
// Writing is a copy of what stands between two matches, which in a text with many of them is a few
// elements each time: so short copies are made in place, without a call.
#pragma once

#include "util/text/string/string_face.h"
#include "util/text/text_build.h"
#include "util/text/text_search.h"

#include <optional>

namespace Quil::IMPL {

struct MATCH {
    unsigned int pos;
    unsigned int length;

    unsigned int end() const { return pos + length; }
};

/// Finds a text. A matcher calls `onMatch` for each match at or behind `pos`, from left to right,
/// until it answers false; what lies before a match's end may change meanwhile.
template <class T, class Fold>
class text_matcher {
public:
    text_matcher(text_ref<T> what, unsigned int textLength)
        : __search(what.data, what.length, textLength) {}

    /// The length of the shortest possible match.
    unsigned int shortest() const { return __search.length(); }

    template <class OnMatch>
    void each(const T* text, unsigned int length, unsigned int pos, OnMatch&& onMatch) {
        __search.each(text, length, pos, [&](unsigned int found) {
            return onMatch(MATCH{found, __search.length()});
        });
    }

private:
    text_search<T, Fold> __search;
};

/// Finds one element of a set, or as many as follow each other.
template <class T, class Fold, bool Runs>
class set_matcher {
public:
    set_matcher(text_ref<T> what, unsigned int) : __set(what.data, what.length) {}

    unsigned int shortest() const { return 1; }

    template <class OnMatch>
    void each(const T* text, unsigned int length, unsigned int pos, OnMatch&& onMatch) const {
        while (pos < length) {
            if (!__set.contains(text[pos])) {
                ++pos;
                continue;
            }
            unsigned int end = pos + 1;
            while (Runs && end < length && __set.contains(text[end])) {
                ++end;
            }
            if (!onMatch(MATCH{pos, end - pos})) {
                return;
            }
            pos = end;
        }
    }

private:
    element_set<T, Fold> __set;
};

/// Room in `to` for a text whose matches are replaced, as far as one can tell before: one element
/// in so many is assumed to be matched.
template <class T>
void reserve_for_result(basic_buffer<T>& to, unsigned int length, unsigned int shortest,
                        unsigned int replacement) {
    constexpr double MATCH_RARITY = 70.0;
    double estimate = length;
    if (shortest < replacement) {
        estimate += static_cast<double>(replacement) / shortest * length / MATCH_RARITY;
    }
    try {
        to._grow_no_expand(static_cast<std::uint64_t>(
                               std::min<double>(estimate, basic_buffer<T>::max_size() - 1)) +
                           1);
    } catch (const std::bad_alloc&) {
        to._grow_no_expand(std::uint64_t{length} + 1);
    }
}

/// What an operation on a text in place comes to.
struct REPLACED {
    unsigned int count;  ///< of the replacements
    unsigned int length; ///< of the text now
};

/// What replacing the matches at or behind a place comes to.
struct GROWTH {
    unsigned int count; ///< of the matches
    unsigned int first; ///< where the first one begins
    std::uint64_t most; ///< by how much the text behind a match moves up at most
};

/// Looks at the matches at or behind `start`, or at the first of them.
template <class T, class Matcher>
GROWTH measure_growth(const T* text, unsigned int length, Matcher& matcher, unsigned int rep,
                      unsigned int start, bool all) {
    GROWTH growth{0, length, 0};
    std::int64_t shift = 0;
    std::int64_t most = 0;
    matcher.each(text, length, start, [&](MATCH found) {
        if (growth.count++ == 0) {
            growth.first = found.pos;
        }
        shift += std::int64_t{rep} - found.length;
        most = std::max(most, shift);
        return all;
    });
    growth.most = static_cast<std::uint64_t>(most);
    return growth;
}

/// Replaces in place the matches at or behind `start`, or the first of them. Where that makes the
/// text longer, its part from `start` on must have been moved up by a gap, as large as what the
/// replacements add up to at any match: then the writing never overtakes the reading.
template <class T, class Matcher>
REPLACED overwrite_matches(T* text, unsigned int length, Matcher& matcher, text_ref<T> rep,
                           unsigned int start, bool all, std::size_t gap = 0) {
    T* const source = text + gap;
    std::size_t written = start;
    unsigned int read = start;
    unsigned int count = 0;
    const auto put = [&](const T* elements, std::size_t n) {
        move_elements(text + written, elements, n);
        written += n;
    };
    matcher.each(source, length, start, [&](MATCH found) {
        put(source + read, found.pos - read);
        put(rep.data, rep.length);
        read = found.end();
        ++count;
        return all;
    });
    put(source + read, length - read);
    return {count, static_cast<unsigned int>(written)};
}

/// Builds in `to` the text with all its matches at or behind `start` replaced. Answers their
/// number; without a match `to` is left alone. Both may not share a block. `onCopied` is told again
/// and again up to where the text won't be read any more.
template <class T, class Matcher, class OnCopied>
unsigned int build_replaced(basic_buffer<T>& to, text_ref<T> text, Matcher& matcher,
                            text_ref<T> rep, unsigned int start, OnCopied&& onCopied) {
    std::optional<text_writer<T>> out;
    unsigned int copied = 0;
    unsigned int count = 0;
    matcher.each(text.data, text.length, start, [&](MATCH found) {
        if (count == 0) {
            reserve_for_result(to, text.length, matcher.shortest(), rep.length);
            out.emplace(to);
        }
        out->put({text.data + copied, found.pos - copied});
        out->put(rep);
        copied = found.end();
        ++count;
        onCopied(copied);
        return true;
    });
    if (count != 0) {
        out->put({text.data + copied, text.length - copied});
        out->finish();
    }
    return count;
}

} // namespace Quil::IMPL
