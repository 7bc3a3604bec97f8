// Start-up order across source files.
//
// A header whose statics others depend on declares a static guard of its own; so each source file
// that includes it runs the guard's constructor among its own first initialisers, and the first one
// to run, whichever the linker put there, does the work.
#pragma once

namespace Quil::IMPL {

/// The mechanism of a guard class `Guard`, which supplies `static void __Init()`. Before `main`
/// there is one thread, so the count is a plain number.
template <class Guard>
class TInitGuard {
public:
    TInitGuard() {
        if (++sm_count == 1) {
            Guard::__Init();
        }
    }

    /// Source files that have started up so far.
    static unsigned int CompilationUnitRefCount() { return sm_count; }

private:
    static inline constinit unsigned int sm_count = 0;
};

} // namespace Quil::IMPL
