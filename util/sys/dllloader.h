// One dynamically loaded library, for as long as the object lives. What it serves is that a program
// needs a library only when it gets there, and starts on a machine that has none.
#pragma once

#include "util/base/visibility.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace QUIL_PUBLIC Quil {

/// Owns a handle of the system's loader. Const calls are safe from every thread.
class CDllLoader {
public:
    /// Loads the library of the file name "name.extension.version", of which an empty part and its
    /// dot are left out: ("libiconv", "2", "so") is libiconv.so.2. When that fails and the name
    /// neither is a path from the root nor begins with "lib", it is tried once more with "lib" in
    /// front.
    ///
    /// An empty name means the running program and the libraries that it is linked with, whatever
    /// the other parts are. Throws `dlllExp` with code 1.
    CDllLoader(const stringEx& name, const stringEx& version, const stringEx& extension);
    CDllLoader(const wstringEx& name, const wstringEx& version, const wstringEx& extension);

    CDllLoader(const CDllLoader&) = delete;
    CDllLoader& operator=(const CDllLoader&) = delete;

    /// Unloads. Throws `dlllExp` with code 2 if the system refuses, unless an exception is in
    /// flight.
    ~CDllLoader() noexcept(false);

    /// The address of a symbol. Throws `dlllExp` with code 3 if there is none.
    void* GetProc(const char* symbol) const;

private:
    void __Load(const stringEx& name, const stringEx& version, const stringEx& extension);

    void* __handle = nullptr;
};

} // namespace Quil
