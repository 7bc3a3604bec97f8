// A static object that is never destroyed.
//
// What code needs before `main` must be ready without a constructor's run, and what code needs in
// the last destructors and `atexit` functions must still be there then.
#pragma once

#include <utility>

namespace Quil::IMPL {

/// Holds a `T` whose destructor never runs. Constant-initialised if `T` is.
template <class T>
class CImmortal {
public:
    template <class... Arguments>
    constexpr explicit CImmortal(Arguments&&... arguments)
        : __object(std::forward<Arguments>(arguments)...) {}
    CImmortal(const CImmortal&) = delete;
    CImmortal& operator=(const CImmortal&) = delete;
    constexpr ~CImmortal() {} // leaves the object alive

    constexpr T& Get() { return __object; }

private:
    union {
        T __object;
    };
};

} // namespace Quil::IMPL
