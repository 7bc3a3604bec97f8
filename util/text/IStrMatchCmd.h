// The callback by which a caller of the string classes' escape operations says what an escape
// means.
#pragma once

#include "util/base/visibility.h"

namespace QUIL_PUBLIC Quil {

/// Answers what stands for an escape or a tagged field of a string class `S`. It is called on the
/// thread of the operation, and owns nothing of it.
template <class S>
class IStrMatchCmd {
public:
    virtual ~IStrMatchCmd() = default;

    /// @param text a view of what follows the escape up to the text's end, or of what stands
    ///        between the tags; valid during the call
    /// @param out the replacement; the same object in every call, so it must be written wholly
    /// @return 0: no match, the text stays; 1: a match, replaced by `out`; any other value stops
    ///         the whole operation, and what was done before stays
    virtual int operator()(const S& text, S& out) = 0;

    /// How many elements of `text` the last match used. Not asked for tagged fields.
    virtual unsigned int TellReplaceLength() const { return 0; }
};

} // namespace Quil
