// Every search goes through `regex_search`, which keeps the engine's context over all searches of
// one text and decides for each whether it begins a line.

#include "util/text/replace/string_regex.h"

#include "regex/regex.h"
#include "util/base/LazyStatic.h"
#include "util/base/tls.h"
#include "util/text/byteEx.h"
#include "util/text/replace/regex_replace.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <array>

namespace Quil {

using record = IMPL::REGEX_RECORD;

namespace {

template <class T>
struct engine;

template <>
struct engine<char> {
    static constexpr auto comp = sre_comp_at;
    static constexpr auto exec = sre_exec;
    static constexpr auto free = sregfree;
};

template <>
struct engine<wchar_t> {
    static constexpr auto comp = wre_comp_at;
    static constexpr auto exec = wre_exec;
    static constexpr auto free = wregfree;
};

// The escapes that name an element, in patterns and replacements alike, and then those that
// patterns have besides: value and key.
constexpr std::array<std::array<const char*, 2>, 7> ELEMENT_ESCAPES{{
    {"\r", "r"},
    {"\n", "n"},
    {"\b", "b"},
    {"\t", "t"},
    {"\v", "v"},
    {"\"", "\""},
    {"'", "'"},
}};
constexpr std::array<std::array<const char*, 2>, 20> CLASS_ESCAPES{{
    {"[[:alpha:]]", "a"},   {"[[:lower:]]", "l"},  {"[[:upper:]]", "u"},   {"[[:space:]]", "s"},
    {"[[:digit:]]", "d"},   {"[[:xdigit:]]", "x"}, {"[[:print:]]", "p"},   {"[0-7]", "o"},
    {"[^0-7]", "O"},        {"[[:alnum:]_]", "w"}, {"[^[:alnum:]_]", "W"}, {"[^[:alpha:]]", "A"},
    {"[^[:lower:]]", "L"},  {"[^[:upper:]]", "U"}, {"[^[:space:]]", "S"},  {"[^[:digit:]]", "D"},
    {"[^[:xdigit:]]", "X"}, {"[^[:print:]]", "P"}, {"[^[:alpha:]_]", "<"}, {"[^[:alnum:]_]", ">"},
}};

/// A table for `escape_restore`; its last row is the two empty strings.
template <class S>
class escape_table {
public:
    template <class... Parts>
    explicit escape_table(const Parts&... parts) {
        unsigned int row = 0;
        const auto add = [&](const auto& part) {
            for (const auto& [value, key] : part) {
                __rows[row][0] << value;
                __rows[row][1] << key;
                ++row;
            }
        };
        (add(parts), ...);
    }

    void restore(S& text) const {
        text.detach_if_static();
        text.escape_restore('\\', __rows, false, true);
    }

private:
    S __rows[CLASS_ESCAPES.size() + ELEMENT_ESCAPES.size() + 1][2];
};

// What all threads use is never destroyed: threads may outlast the statics of the program.

template <class S>
constinit IMPL::CLazyStatic<const escape_table<S>> patternEscapes;
template <class S>
constinit IMPL::CLazyStatic<const escape_table<S>> replacementEscapes;
template <class S>
constinit IMPL::CLazyStatic<CTlsSlot> threadSlot;

template <class S>
void translate_pattern(S& pattern) {
    patternEscapes<S>.Get([] { return new const escape_table<S>(CLASS_ESCAPES, ELEMENT_ESCAPES); }).restore(pattern);
}

/// The place in a pattern of what stands at `position` in its translation: the backslash of an
/// escape for all that the escape stands for.
template <class S>
unsigned int untranslated_position(const S& pattern, unsigned int position) {
    unsigned int i = 0;
    for (unsigned int translated = 0; i < pattern.length();) {
        S piece = pattern.substr(i, pattern[i] == '\\' ? 2 : 1);
        const unsigned int length = piece.length();
        translate_pattern(piece);
        translated += piece.length();
        if (position < translated) {
            break;
        }
        i += length;
    }
    return i;
}

/// The slot of the threads' records.
template <class S>
CTlsSlot& thread_slot() {
    return threadSlot<S>.Get([] { return new CTlsSlot; });
}

template <class S>
S text_of(const char* narrow) {
    S text;
    text << narrow;
    return text;
}

/// True for a pattern that settles its syntax itself, which is then also settled for `newline`.
template <class S>
bool has_director(const S& pattern, bool& newline) {
    if (!pattern.begin_with(text_of<S>("***"))) {
        return false;
    }
    const S options = text_of<S>("***:(?");
    if (!pattern.begin_with(options)) {
        newline = false;
        return true;
    }
    const S letters = pattern.get_delimited_field_static(options, text_of<S>(")"), 0);
    if (letters.find_first_of(text_of<S>("nmw")) != S::npos) {
        newline = true;
    } else if (letters.find_first_of(text_of<S>("ps")) != S::npos) {
        newline = false;
    }
    return true;
}

std::uint32_t compile_flags(bool ignoreCase, bool newline, bool extended) {
    return static_cast<std::uint32_t>((ignoreCase ? REG_ICASE : 0) | (newline ? REG_NEWLINE : 0) |
                                      (extended ? REG_EXTENDED : 0));
}

} // namespace

template <class S>
void IMPL::translate_replacement(S& rep) {
    replacementEscapes<S>.Get([] { return new const escape_table<S>(ELEMENT_ESCAPES); }).restore(rep);
}

/// The last pattern that a thread has given as text.
template <class Self, class T>
struct string_regex<Self, T>::CACHE {
    Self pattern; ///< before translation; empty while nothing is compiled
    std::uint32_t flags = 0;
    regex_t re{};
    bool translate = false;

    CACHE() = default;
    CACHE(const CACHE&) = delete;
    CACHE& operator=(const CACHE&) = delete;
    ~CACHE() { Drop(); }

    void Drop() noexcept {
        if (!pattern.empty()) {
            engine<T>::free(&re);
            pattern = Self();
        }
    }
    /// False if it doesn't compile; nothing is held then.
    bool Hold(Self wanted, std::uint32_t wantedFlags, bool wantsTranslate) {
        if (pattern == wanted && flags == wantedFlags && translate == wantsTranslate) {
            return true;
        }
        Drop();
        wanted.detach_if_static();
        const Self untranslated = wanted;
        if (wantsTranslate) {
            translate_pattern(wanted);
        }
        std::ptrdiff_t at;
        if (engine<T>::comp(&re, wanted.c_str(), wanted.length(), static_cast<int>(wantedFlags),
                            at) != REG_OKAY) {
            return false;
        }
        pattern = untranslated;
        flags = wantedFlags;
        translate = wantsTranslate;
        return true;
    }
};

template <class Self, class T>
auto string_regex<Self, T>::regex_comp(Self pattern, bool ignoreCase, bool newline, bool extended,
                                       bool translate) -> regex_handle {
    REGEX_ERROR error;
    return regex_comp(std::move(pattern), ignoreCase, newline, extended, translate, error);
}

template <class Self, class T>
auto string_regex<Self, T>::regex_comp(Self pattern, bool ignoreCase, bool newline, bool extended,
                                       bool translate, REGEX_ERROR& error) -> regex_handle {
    error = {};
    if (pattern.empty()) {
        return {};
    }
    const bool translates = !has_director(pattern, newline) && translate;
    Self translated = pattern;
    if (translates) {
        translate_pattern(translated);
    }
    const std::uint32_t flags = compile_flags(ignoreCase, newline, extended);
    auto compiled = std::make_unique<record>(record{{}, flags});
    std::ptrdiff_t at;
    error.code = engine<T>::comp(&compiled->re, translated.c_str(), translated.length(),
                                 static_cast<int>(flags), at);
    if (error.code != REG_OKAY) {
        error.text = IMPL::regex_error_text(error.code);
        if (at != REG_NOWHERE) {
            error.position = static_cast<unsigned int>(at);
        }
        if (at != REG_NOWHERE && translates) {
            error.position = untranslated_position(pattern, error.position);
        }
        return {};
    }
    return regex_handle(static_cast<unsigned char*>(static_cast<void*>(compiled.release())));
}

template <class Self, class T>
void string_regex<Self, T>::__regex_free(void* block) noexcept {
    if (block != nullptr) {
        auto* const compiled = static_cast<record*>(block);
        engine<T>::free(&compiled->re);
        delete compiled;
    }
}

template <class Self, class T>
void string_regex<Self, T>::regex_free_tls() {
    regex_result none;
    Self().regex_find(none, Self(), 0, 0, false, false, false, false, false, false, false);
}

template <class Self, class T>
bool string_regex<Self, T>::regex_match_with_comp(const regex_handle& handle, bool notBol,
                                                  bool notEol) const {
    return handle &&
           engine<T>::exec(&record::Of(handle.get()).re, this->c_str(), this->length(), nullptr, 0,
                           nullptr, IMPL::regex_execute_flags(notBol, notEol)) == REG_OKAY;
}

template <class Self, class T>
bool string_regex<Self, T>::regex_match_with_comp(const regex_handle& handle, unsigned int& begin,
                                                  unsigned int& end, bool notBol,
                                                  bool notEol) const {
    if (!handle) {
        return false;
    }
    IMPL::regex_search<T> one(record::Of(handle.get()).re, *this, notEol);
    if (!one.find(0, notBol, 1)) {
        return false;
    }
    begin = one.offset(0);
    end = begin + one.length(0);
    return true;
}

template <class Self, class T>
bool string_regex<Self, T>::regex_match(Self pattern, unsigned int index, unsigned int start,
                                        bool ignoreCase, bool newline, bool extended, bool notBol,
                                        bool notEol, bool translate, bool continued) const {
    regex_result groups;
    return regex_find(groups, std::move(pattern), index, start, ignoreCase, newline, extended,
                      notBol, notEol, translate, continued);
}

template <class Self, class T>
bool string_regex<Self, T>::regex_find(regex_result& out, Self pattern, unsigned int index,
                                       unsigned int start, bool ignoreCase, bool newline,
                                       bool extended, bool notBol, bool notEol, bool translate,
                                       bool continued) const {
    out.clear();
    CTlsSlot& slot = thread_slot<Self>();
    auto* cache = static_cast<CACHE*>(slot.GetValue());
    if (pattern.empty()) {
        if (cache != nullptr) {
            slot.SetValue(nullptr);
            delete cache;
        }
        return false;
    }
    if (start >= this->length()) {
        return false;
    }
    if (cache == nullptr) {
        auto made = std::make_unique<CACHE>();
        slot.SetValue(made.get());
        cache = made.release();
    }
    const std::uint32_t flags = compile_flags(ignoreCase, newline, extended);
    bool sensitive = newline;
    const bool isDirected = has_director(pattern, sensitive);
    if (!cache->Hold(std::move(pattern), flags, translate && !isDirected)) {
        return false;
    }
    IMPL::regex_search<T> searches(cache->re, *this, notEol);
    if (!searches.find_nth(index, start, notBol, continued, [=] { return sensitive; })) {
        return false;
    }
    searches.tell(out, cache->re.re_nsub + 1);
    return true;
}

template <class Self, class T>
bool string_regex<Self, T>::regex_find_with_comp(regex_result& out, const regex_handle& handle,
                                                 unsigned int index, unsigned int start,
                                                 bool notBol, bool notEol, bool continued) const {
    out.clear();
    if (!handle || start >= this->length()) {
        return false;
    }
    const record& compiled = record::Of(handle.get());
    IMPL::regex_search<T> searches(compiled.re, *this, notEol);
    if (!searches.find_nth(index, start, notBol, continued,
                           [&] { return compiled.is_newline_sensitive(); })) {
        return false;
    }
    searches.tell(out, compiled.re.re_nsub + 1);
    return true;
}

/// Puts the replacement, filled in from the groups of a match in this text, in that match's place.
template <class Self, class T>
void string_regex<Self, T>::__ReplaceOne(const regex_result& groups, Self& rep, bool translate) {
    rep.detach_if_static();
    if (translate) {
        IMPL::translate_replacement(rep);
    }
    Self filled;
    IMPL::text_writer<T> out(filled);
    IMPL::regex_template<T>(rep, groups.size()).put(out, [&](unsigned int group) {
        const auto [offset, n] = groups[group];
        return n == 0 ? text_ref<T>(this->data(), 0) : text_ref<T>(this->data() + offset, n);
    });
    out.finish();
    this->replace(groups[0].first, groups[0].second, filled);
}

template <class Self, class T>
bool string_regex<Self, T>::regex_find_replace(Self pattern, Self rep, unsigned int index,
                                               unsigned int start, bool ignoreCase, bool newline,
                                               bool extended, bool notBol, bool notEol,
                                               bool translate, bool continued) {
    regex_result groups;
    const bool found = regex_find(groups, std::move(pattern), index, start, ignoreCase, newline,
                                  extended, notBol, notEol, translate, continued);
    if (found) {
        __ReplaceOne(groups, rep, translate);
    }
    return found;
}

template <class Self, class T>
bool string_regex<Self, T>::regex_find_replace_with_comp(const regex_handle& handle, Self rep,
                                                         unsigned int index, unsigned int start,
                                                         bool notBol, bool notEol, bool translate,
                                                         bool continued) {
    regex_result groups;
    const bool found =
        regex_find_with_comp(groups, handle, index, start, notBol, notEol, continued);
    if (found) {
        __ReplaceOne(groups, rep, translate);
    }
    return found;
}

/// Appends the result to `to`, which is empty and apart from this text.
template <class Self, class T>
template <class Decide>
unsigned int string_regex<Self, T>::__ReplaceAll(Self& to, const regex_handle& handle, Self rep,
                                                 bool notBol, bool notEol, bool translate,
                                                 Decide decide) const {
    const record& compiled = record::Of(handle.get());
    rep.detach_if_static();
    if (translate) {
        IMPL::translate_replacement(rep);
    }
    const IMPL::regex_template<T> filler(rep, compiled.re.re_nsub + 1);
    IMPL::regex_search<T> searches(compiled.re, *this, notEol);
    return IMPL::regex_replace_all<T>(to, *this, searches, compiled.is_newline_sensitive(), filler,
                                      notBol, decide);
}

template <class Self, class T>
unsigned int string_regex<Self, T>::regex_find_replace_all(Self pattern, Self rep, bool ignoreCase,
                                                           bool newline, bool extended, bool notBol,
                                                           bool notEol, bool translate) {
    return regex_find_replace_all_with_comp(
        regex_comp(std::move(pattern), ignoreCase, newline, extended, translate), std::move(rep),
        notBol, notEol, translate);
}

template <class Self, class T>
unsigned int string_regex<Self, T>::regex_find_replace_all_with_comp(const regex_handle& handle,
                                                                     Self rep, bool notBol,
                                                                     bool notEol, bool translate) {
    if (!handle) {
        return 0;
    }
    Self result;
    const unsigned int count = __ReplaceAll(result, handle, std::move(rep), notBol, notEol,
                                            translate, IMPL::in_place_beginning{notBol});
    if (count != 0) {
        if (this->is_static()) {
            this->assign(result.data(), result.length()); // a view is written through
        } else {
            this->swap(result);
        }
    }
    return count;
}

template <class Self, class T>
unsigned int string_regex<Self, T>::regex_find_replace_all_to(Self& to, Self pattern, Self rep,
                                                              bool ignoreCase, bool newline,
                                                              bool extended, bool notBol,
                                                              bool notEol, bool translate) const {
    pattern.detach_if_static();
    return regex_find_replace_all_with_comp_to(
        to, regex_comp(std::move(pattern), ignoreCase, newline, extended, translate),
        std::move(rep), notBol, notEol, translate);
}

template <class Self, class T>
unsigned int
string_regex<Self, T>::regex_find_replace_all_with_comp_to(Self& to, const regex_handle& handle,
                                                           Self rep, bool notBol, bool notEol,
                                                           bool translate) const {
    if (!handle || &to == static_cast<const basic_buffer<T>*>(this)) {
        to.clear();
        return 0;
    }
    rep.detach_if_static(); // it may look at what is cleared now
    const IMPL::kept_argument<T> kept(to, *this);
    const Self copy(kept.copied());
    const string_regex& source = kept.is_copied() ? copy : *this;
    to.clear();
    const unsigned int count = source.__ReplaceAll(to, handle, std::move(rep), notBol, notEol,
                                                   translate, IMPL::copy_out_beginning());
    if (count == 0) {
        if (source.length() >= Matches::sm_shareFrom && !source.is_static()) {
            to.assign(source);
        } else {
            to.append(source);
        }
    }
    return count;
}

template void IMPL::translate_replacement(stringEx&);
template void IMPL::translate_replacement(wstringEx&);
template class string_regex<stringEx, char>;
template class string_regex<wstringEx, wchar_t>;

} // namespace Quil
