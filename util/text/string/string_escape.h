// Escape sequences in the string classes: an escape element and what follows it, given their
// meaning by a table or by a callback.
//
// All forms are one scan over the escapes of the text, which asks a rule what stands for each and
// appends that to a new text; so the cost is linear, and a replacement is never looked at again.
#pragma once

#include "util/base/visibility.h"
#include "util/text/IStrMatchCmd.h"
#include "util/text/string/string_field.h"

namespace QUIL_PUBLIC Quil {

/// The layer of escapes. A table is an array of rows (value, key) that ends with a row of two empty
/// strings; the key is what follows the escape element in the text.
///
/// An escape that is the text's last element is removed with `removeLone` and else kept. A doubled
/// escape is no escape: with `keepDouble` both stay, else one; what follows it is ordinary text.
template <class Self, class T>
class string_escape : public string_field<Self, T> {
    using Fields = string_field<Self, T>;
    using Command = IStrMatchCmd<Self>;

public:
    using Fields::Fields;
    using Fields::npos;
    constexpr string_escape() noexcept = default;

    /// Replaces each escape with its key by the value; the first row whose key fits wins. An escape
    /// that no row knows is removed with `removeLone`, and else stays.
    Self& escape_restore(T esc, const Self (*table)[2], bool removeLone, bool keepDouble);
    /// The inverse: doubles the escapes already there with `doubleEsc`, then row by row puts escape
    /// and key for each value. Later rows see the text that earlier ones have made.
    Self& escape_translate(T esc, const Self (*table)[2], bool doubleEsc);

    /// As `escape_restore`, with a command in place of the table. An escape that it doesn't match
    /// stays.
    Self& escape_restore_op(T esc, Command& command, bool removeLone, bool keepDouble);
    Self& escape_restore_op_to(Self& to, T esc, Command& command, bool removeLone,
                               bool keepDouble) const;

    /// Replaces tagged fields such as `${name}`, tags included, by what the command answers for the
    /// text between. The first element of `begin` is the escape. A field without its end stops the
    /// operation; empty tags are never there.
    Self& escape_field_op(const Self& begin, const Self& end, Command& command, bool keepDouble);
    Self& escape_field_op_to(Self& to, const Self& begin, const Self& end, Command& command,
                             bool keepDouble) const;

private:
    /// What a rule says on an escape.
    enum class OUTCOME { KEEP, REMOVE, REPLACE, STOP };

    template <class Rule>
    Self __Rewritten(T esc, bool removeLone, bool keepDouble, Rule rule) const;
    template <class Rule>
    Self& __Rewrite(T esc, bool removeLone, bool keepDouble, Rule rule);
    static OUTCOME __Outcome(int answer) noexcept;
    auto __CommandRule(Command& command) const;
    auto __FieldRule(const Self& begin, const Self& end, Command& command) const;
};

} // namespace Quil
