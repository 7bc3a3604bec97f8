// Another opinion: libuchardet, if the machine has it. It is found at run time, as the conversion
// libraries are, so that nothing needs it.
#pragma once

#include "util/text/stringEx.h"

#include <memory>
#include <string_view>

namespace Quil {
class CDllLoader;
}

namespace Quil::IMPL {

/// The library. For any thread.
class CDetectorLibrary {
public:
    /// The charset that it takes a text to be in, by its own names; empty if it doesn't say.
    stringEx Ask(std::string_view text) const;

    static const CDetectorLibrary& Get();

private:
    CDetectorLibrary();

    std::unique_ptr<CDllLoader> __loader; ///< null without the library
    void* (*__new)() = nullptr;
    void (*__delete)(void*) = nullptr;
    int (*__handle)(void*, const char*, std::size_t) = nullptr;
    void (*__end)(void*) = nullptr;
    const char* (*__charset)(void*) = nullptr;
};

} // namespace Quil::IMPL
