// Regular expressions on the text classes: compile once and use a handle, or give the pattern as
// text and let each thread keep the last one compiled.
//
// A search that begins inside the text is given the rest of it as if it were the whole; only the
// beginning of a line is then repaired, by what stands before. So word edges and `\A` see a text
// that begins where the last match ended.
#pragma once

#include "util/base/visibility.h"
#include "util/text/regex_error.h"
#include "util/text/replace/string_match.h"

namespace QUIL_PUBLIC Quil {

class stringEx;

namespace IMPL {

/// Releases the block of a compiled pattern of the string class S.
template <class S>
struct RegexDeletor {
    void operator()(unsigned char* block) const noexcept { S::__regex_free(block); }
};

} // namespace IMPL

/// The layer of regular expressions. Positions and lengths are in elements.
///
/// A pattern that doesn't compile gives a null handle, and with it, or when the engine fails, there
/// is no match. Only the second form of `regex_comp` tells the reason. Texts of 2^31 elements and
/// more have none either. Memory for strings raises std::bad_alloc, and for the engine too where
/// all matches are replaced: without some of them the result would look whole.
///
/// What the arguments mean everywhere:
/// - `ignoreCase`, `newline` (`.` and `[^...]` stop at line feeds, `^` and `$` match at them),
///   `extended`: the syntax. A pattern that begins with `***` settles its syntax itself: `***:(?n)`
///   and kin set `newline` (by n, m or w) or clear it (by p or s), other ones clear it.
/// - `translate`: of a pattern, rewrites `\d` and kin to classes and `\n` and kin to the elements
///   they name, wherever they stand, also in brackets (not for a pattern that begins with `***`);
///   of a replacement, `\n` and kin alone.
/// - `notBol`, `notEol`: the text's begin (end) is not one of a line.
/// - `index`: which match is wanted, 0 being the first. `start`: where to begin; not below the
///   length, nothing is found, so an empty text has no match here.
/// - `continued`: whether what stands before `start` belongs to the text, which makes `start` no
///   beginning of a line unless a line feed stands there.
///
/// In a replacement `\0` to `\9` stand for groups, a backslash before anything else for that.
///
/// A handle may be used by several threads at once: what is compiled never changes.
template <class Self, class T>
class string_regex : public string_match<Self, T> {
    using Matches = string_match<Self, T>;

public:
    using regex_handle = CHandle<unsigned char, IMPL::RegexDeletor<Self>, CAtomicINT32, 0>;
    /// Offset and length of the whole match and each group. A group that took no part has length 0
    /// and an offset without meaning; so have those from the tenth entry on.
    using regex_result = std::vector<std::pair<unsigned int, unsigned int>>;

    using Matches::Matches;
    using Matches::npos;
    constexpr string_regex() noexcept = default;

    /// Null for an empty pattern and for one that doesn't compile. `error` is what was wrong; an
    /// empty pattern is no error.
    static regex_handle regex_comp(Self pattern, bool ignoreCase, bool newline, bool extended,
                                   bool translate);
    static regex_handle regex_comp(Self pattern, bool ignoreCase, bool newline, bool extended,
                                   bool translate, REGEX_ERROR& error);
    /// Releases the block of a compiled pattern; nothing for null. For the handle's deleter.
    static void __regex_free(void* block) noexcept;
    /// Drops the pattern that this thread keeps. A thread that has given a pattern as text calls it
    /// before it ends, since nothing else does.
    static void regex_free_tls();

    /// True if the pattern matches anywhere in the text, which may be empty here; the second form
    /// tells where the match begins and ends.
    bool regex_match_with_comp(const regex_handle& handle, bool notBol, bool notEol) const;
    bool regex_match_with_comp(const regex_handle& handle, unsigned int& begin, unsigned int& end,
                               bool notBol, bool notEol) const;

    bool regex_match(Self pattern, unsigned int index, unsigned int start, bool ignoreCase,
                     bool newline, bool extended, bool notBol, bool notEol, bool translate,
                     bool continued) const;
    /// Finds a match. An empty pattern drops the one that the thread keeps.
    bool regex_find(regex_result& out, Self pattern, unsigned int index, unsigned int start,
                    bool ignoreCase, bool newline, bool extended, bool notBol, bool notEol,
                    bool translate, bool continued) const;
    bool regex_find_with_comp(regex_result& out, const regex_handle& handle, unsigned int index,
                              unsigned int start, bool notBol, bool notEol, bool continued) const;

    /// Replace one match; true if it was there.
    bool regex_find_replace(Self pattern, Self rep, unsigned int index, unsigned int start,
                            bool ignoreCase, bool newline, bool extended, bool notBol, bool notEol,
                            bool translate, bool continued);
    bool regex_find_replace_with_comp(const regex_handle& handle, Self rep, unsigned int index,
                                      unsigned int start, bool notBol, bool notEol, bool translate,
                                      bool continued);

    /// Replace all matches; the number of them. A replacement is not searched; behind an empty
    /// match one element is stepped over. Whether the next match may begin a line depends on what
    /// the result ends with so far.
    unsigned int regex_find_replace_all(Self pattern, Self rep, bool ignoreCase, bool newline,
                                        bool extended, bool notBol, bool notEol, bool translate);
    unsigned int regex_find_replace_all_with_comp(const regex_handle& handle, Self rep, bool notBol,
                                                  bool notEol, bool translate);
    /// The same into `to`, which is emptied first: with the string itself as `to`, or without a
    /// pattern, it stays so. The texts are those of the in-place forms; the counts differ where an
    /// empty match at the start is replaced by nothing, since a result that is still empty leaves
    /// the next search at a beginning here.
    unsigned int regex_find_replace_all_to(Self& to, Self pattern, Self rep, bool ignoreCase,
                                           bool newline, bool extended, bool notBol, bool notEol,
                                           bool translate) const;
    unsigned int regex_find_replace_all_with_comp_to(Self& to, const regex_handle& handle, Self rep,
                                                     bool notBol, bool notEol,
                                                     bool translate) const;

private:
    struct CACHE;

    template <class Decide>
    unsigned int __ReplaceAll(Self& to, const regex_handle& handle, Self rep, bool notBol,
                              bool notEol, bool translate, Decide decide) const;
    void __ReplaceOne(const regex_result& groups, Self& rep, bool translate);
};

} // namespace Quil
