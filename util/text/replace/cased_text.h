// Texts whose letters change on their way into a result.
#pragma once

#include "util/text/case_change.h"
#include "util/text/text_build.h"

namespace Quil::IMPL {

/// How a text is written.
enum class CASE_STYLE { OTHER, UPPER, CAPITAL, TITLES };

/// Changes characters in place. A title is in lower case but for the first letter of each word.
void change_case(wchar_t* text, unsigned int length, CASE_CHANGE change);

CASE_STYLE case_style_of(text_ref<wchar_t> text);
/// Writes a text in a style; what the style doesn't ask for stays as it is.
void apply_case_style(wchar_t* text, unsigned int length, CASE_STYLE style);

/// The same for texts in UTF-8, and for wide ones, on their way into a result.
template <class T>
void put_changed(text_writer<T>& out, text_ref<T> text, CASE_CHANGE change);
template <class T>
void put_like(text_writer<T>& out, text_ref<T> text, text_ref<T> model);

} // namespace Quil::IMPL
