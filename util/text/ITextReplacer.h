// What replaces all that it looks for in one text after another, in the form in which each of them
// comes: wide, or bytes that are its characters.
#pragma once

#include "util/base/visibility.h"
#include "util/text/replaced_match.h"
#include "util/text/string/string_face.h"

namespace QUIL_PUBLIC Quil {

class CRuleCounts;

/// For one thread.
class ITextReplacer {
public:
    virtual ~ITextReplacer() = default;

    /// What comes is another text, and counts begin anew.
    virtual void StartText() {}
    /// How often each rule was met in the text; null where there is but one.
    virtual const CRuleCounts* GetRuleCounts() const { return nullptr; }

    /// Puts the result in `to`, which is emptied first and may not share a block with the text.
    /// Answers the number of matches; with none `to` stays empty. `matches`, unless null, is given
    /// each of them.
    virtual unsigned int Replace(basic_buffer<wchar_t>& to, text_ref<wchar_t> text,
                                 REPLACED_MATCHES* matches) = 0;
    /// The same in a text of ASCII.
    virtual unsigned int Replace(basic_buffer<unsigned char>& to, text_ref<unsigned char> text,
                                 REPLACED_MATCHES* matches) = 0;
};

} // namespace Quil
