// What becomes of letters on their way into a result: groups may be put in with their case changed,
// and a replacement may follow the case of what it replaces.
#pragma once

#include "util/base/visibility.h"

namespace QUIL_PUBLIC Quil {

enum class CASE_CHANGE { NONE, UPPER, LOWER, TITLE };

/// What is done about case when matches are replaced.
struct CASE_RULES {
    CASE_CHANGE groups = CASE_CHANGE::NONE; ///< of what \0 to \9 put in
    /// A replacement is written as its match was: FOO in upper case, Foo with a capital, Foo Bar
    /// with one in each word. Any other stays as it is.
    bool follows = false;

    bool IsPlain() const noexcept { return groups == CASE_CHANGE::NONE && !follows; }
};

} // namespace Quil
