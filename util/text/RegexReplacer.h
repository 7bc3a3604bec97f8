// Replacing one expression in one text after another, in the form in which each of them comes.
#pragma once

#include "util/base/visibility.h"
#include "util/text/ITextReplacer.h"
#include "util/text/byteEx.h"
#include "util/text/case_change.h"
#include "util/text/wstringEx.h"

#include <memory>

namespace QUIL_PUBLIC Quil {

/// Replaces all matches of a wide expression, in wide texts and in texts whose bytes are their
/// characters. What is learned of the expression in one text serves the next. Shares the
/// expression. For one thread.
class CRegexReplacer final : public ITextReplacer {
public:
    /// How a result's count and the beginnings of lines are told: by the rules of the form that
    /// replaces in place, or of the one that builds in another string.
    enum class FORM { IN_PLACE, COPY_OUT };

    /// @param expression may be null, which never matches
    /// @param rep the replacement for wide texts
    /// @param bytes the replacement for bytes: the same in the charset that results are in, whose
    ///        bytes below 0x80 must be ASCII; UTF-8, if letters change
    CRegexReplacer(const wstringEx::regex_handle& expression, wstringEx rep, stringEx bytes,
                   FORM form, const CASE_RULES& cases = {});
    ~CRegexReplacer() override;
    CRegexReplacer(const CRegexReplacer&) = delete;
    CRegexReplacer& operator=(const CRegexReplacer&) = delete;

    /// True if a text may be cut behind any line feed, and the pieces' results put together are
    /// that of the whole.
    static bool IsLocalToLines(const wstringEx::regex_handle& expression);

    unsigned int Replace(basic_buffer<wchar_t>& to, text_ref<wchar_t> text,
                         REPLACED_MATCHES* matches = nullptr) override;
    /// The text may be Latin 1 as well, if letters don't change.
    unsigned int Replace(basic_buffer<unsigned char>& to, text_ref<unsigned char> text,
                         REPLACED_MATCHES* matches = nullptr) override;

private:
    template <class T>
    struct WAY;
    struct WAYS;

    template <class T>
    unsigned int __Replace(WAY<T> WAYS::*way, basic_buffer<T>& to, text_ref<T> text,
                           REPLACED_MATCHES* matches);

    wstringEx::regex_handle __expression;
    FORM __form;
    std::unique_ptr<WAYS> __ways;
};

} // namespace Quil
