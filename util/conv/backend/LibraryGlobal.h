// A conversion library that is found at run time: once, by the first converter that needs it.
#pragma once

#include "util/base/LazyStatic.h"
#include "util/sys/advSync.h"
#include "util/sys/errhdl.h"
#include "util/sys/mutex.h"

#include <new>

namespace Quil::IMPL {

/// The code of `dlllExp` for a function that a library hasn't.
constexpr unsigned int DLL_PROC_ERROR = 3;
/// The code of the exceptions of converters that can't be made.
constexpr unsigned int INIT_ERROR = 3;

/// A library and what it is looked for by. `Interface` holds its functions and, in `loader`, what
/// keeps it loaded: null until it is found.
template <class Interface>
struct LIBRARY_STATE {
    Interface library;
    CFastMutex mutex;
    stringEx location; ///< Empty: search.
};

/// What all converters over one library share: the library, where to look for it, and the lock
/// over both. The library stays to the end of the process; its functions may be read without the
/// lock once it is loaded, that is by any object that exists.
///
/// `State` is a LIBRARY_STATE, maybe with more. `Global`, the class that derives from this, says
/// how the library is loaded, what is thrown then and how that reads:
///
///     static void Load(Interface& library); ///< throws dlllExp
///     using EXCEPTION = libiconvExp;
///     static constexpr const char* converter = "CTextLibIConv";
///     static constexpr const char* noFunction = "failed locate iconv api\n";
template <class Global, class State>
class TLibraryGlobal {
public:
    static auto& If() { return _Get().library; }
    static CFastMutex& Mx() { return _Get().mutex; }
    static stringEx& Lc() { return _Get().location; }

    /// Loads the library if that has not been done. After a failure the next call tries again.
    static void AddRef() {
        CFastSessionLock lock(Mx());
        auto& library = If();
        if (library.loader != nullptr) {
            return;
        }
        try {
            Global::Load(library);
        } catch (const std::bad_alloc&) {
            library.loader.reset();
            throw;
        } catch (const dlllExp& e) {
            library.loader.reset();
            throw typename Global::EXCEPTION(INIT_ERROR, __Failure(e));
        } catch (...) {
            library.loader.reset();
            throw typename Global::EXCEPTION(INIT_ERROR, __Head() << "unknwon error");
        }
    }

    /// True if the library is loaded or can be: also one that lacks a function.
    static bool IsReady() {
        CFastSessionLock lock(Mx());
        if (If().loader != nullptr) {
            return true;
        }
        try {
            decltype(State::library) probe;
            Global::Load(probe);
            return true;
        } catch (const dlllExp& e) {
            return e.GetErrCode() == DLL_PROC_ERROR;
        } catch (...) {
            return false;
        }
    }

    static void SetLocation(const stringEx& path) {
        CFastSessionLock lock(Mx());
        Lc() = path;
    }

protected:
    static State& _Get() {
        return sm_state.Get([] { return new State; });
    }

private:
    static stringEx __Head() {
        stringEx head(Global::CONVERTER);
        head << "::__AddRef - ";
        return head;
    }

    static stringEx __Failure(const dlllExp& e) {
        return __Head() << (e.GetErrCode() == DLL_PROC_ERROR ? Global::NO_FUNCTION
                                                             : "failed load dynamic library\n")
                        << "@ " << e.GetErrString();
    }

    static constinit inline CLazyStatic<State> sm_state;
};

} // namespace Quil::IMPL
