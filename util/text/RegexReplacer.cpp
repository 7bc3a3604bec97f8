// Two ways of the same template, each with the engine's context and the replacement taken apart for
// its elements.
#include "util/text/RegexReplacer.h"

#include "regex/linelocal.h"
#include "util/text/replace/regex_replace.h"

namespace Quil {

template <class T>
struct CRegexReplacer::WAY {
    basic_buffer<T> replacement;
    IMPL::cased_template<T> filler;
    IMPL::regex_search<T> searches;
    bool sensitive;

    WAY(const IMPL::REGEX_RECORD& compiled, const basic_buffer<T>& rep, const CASE_RULES& cases)
        : replacement(rep), filler(replacement, compiled.re.re_nsub + 1, cases),
          searches(compiled.re, basic_buffer<T>(), false),
          sensitive(compiled.is_newline_sensitive()) {}

    unsigned int Replace(basic_buffer<T>& to, text_ref<T> text, FORM form,
                         REPLACED_MATCHES* matches) {
        searches.set_text(text);
        const auto by = [&](auto decide) {
            return IMPL::regex_replace_all<T>(to, text, searches, sensitive, filler, false, decide,
                                              matches);
        };
        return form == FORM::COPY_OUT ? by(IMPL::copy_out_beginning())
                                      : by(IMPL::in_place_beginning{false});
    }
};

struct CRegexReplacer::WAYS {
    WAY<wchar_t> wide;
    WAY<unsigned char> bytes;

    WAYS(const IMPL::REGEX_RECORD& compiled, const wstringEx& rep, const byteEx& repBytes,
         const CASE_RULES& cases)
        : wide(compiled, rep, cases), bytes(compiled, repBytes, cases) {}
};

CRegexReplacer::CRegexReplacer(const wstringEx::regex_handle& expression, wstringEx rep,
                               stringEx bytes, FORM form, const CASE_RULES& cases)
    : __expression(expression), __form(form) {
    if (!expression) {
        return;
    }
    rep.detach_if_static();
    bytes.detach_if_static();
    IMPL::translate_replacement(rep);
    IMPL::translate_replacement(bytes);
    const auto& compiled = IMPL::REGEX_RECORD::Of(expression.get());
    __ways = std::make_unique<WAYS>(compiled, rep, static_cast<byteEx>(bytes), cases);
}

CRegexReplacer::~CRegexReplacer() = default;

bool CRegexReplacer::IsLocalToLines(const wstringEx::regex_handle& expression) {
    if (!expression) {
        return true;
    }
    const auto& compiled = IMPL::REGEX_RECORD::Of(expression.get());
    return islinelocal(&compiled.re, compiled.is_newline_sensitive());
}

unsigned int CRegexReplacer::Replace(basic_buffer<wchar_t>& to, text_ref<wchar_t> text,
                                     REPLACED_MATCHES* matches) {
    return __Replace(&WAYS::wide, to, text, matches);
}

unsigned int CRegexReplacer::Replace(basic_buffer<unsigned char>& to, text_ref<unsigned char> text,
                                     REPLACED_MATCHES* matches) {
    return __Replace(&WAYS::bytes, to, text, matches);
}

template <class T>
unsigned int CRegexReplacer::__Replace(WAY<T> WAYS::*way, basic_buffer<T>& to, text_ref<T> text,
                                       REPLACED_MATCHES* matches) {
    to.clear();
    if (matches != nullptr) {
        matches->clear();
    }
    return __ways ? ((*__ways).*way).Replace(to, text, __form, matches) : 0;
}

} // namespace Quil
