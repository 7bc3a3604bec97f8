// Files seen as memory: CFileMapping is a file made ready for it, CFileMapping::CView a part of the
// file that is mapped at an address.

#pragma once

#include "util/base/visibility.h"
#include "util/file/longlong.h"
#include "util/file/system/shared_descriptor.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace QUIL_PUBLIC Quil {

/// A file from which views can be made. Copies share the descriptor. Failures throw `fmppExp`.
/// One object belongs to one thread at a time; the memory of a view is as shared as any memory.
class CFileMapping {
public:
    enum ACCESS { ACCESS_READ = 1, ACCESS_WRITE = 2, ACCESS_BOTH = 3 };

    /// A mapped part of the file. Copies share it and the last one unmaps it; it stays valid when
    /// the mapping itself is gone. Touching memory beyond the end of the file ends the process.
    class CView {
    public:
        CView() = default;

        /// The first byte, or null for a default-constructed view.
        void* GetAddress() const { return __shared ? __shared->address : nullptr; }
        /// In bytes.
        unsigned long GetSize() const { return __shared ? __shared->size : 0; }
        bool operator!() const { return !__shared; }

        /// Waits until what was written to the view has reached the file.
        void Flush();

    private:
        friend class CFileMapping;
        struct MAPPED {
            void* address;
            unsigned long size;
        };
        struct Unmapper {
            void operator()(MAPPED* mapped) const noexcept(false);
        };

        CView(int descriptor, const CLongLongNative& offset, unsigned long size, ACCESS access,
              void* address, unsigned long flags);
        static void _Release(const MAPPED& mapped);

        CHandle<MAPPED, Unmapper, CAtomicINT32, 0> __shared;
    };

    CFileMapping() = default;
    CFileMapping(const char* path, ACCESS access);
    CFileMapping(const wchar_t* path, ACCESS access);
    CFileMapping(const stringEx& path, ACCESS access);
    CFileMapping(const wstringEx& path, ACCESS access);
    /// On an open file, whose descriptor is duplicated. The mapping bears `name`.
    explicit CFileMapping(int descriptor, const stringEx& name = stringEx());

    /// Maps `size` bytes from `offset`, a multiple of the page size, on. `address` is a wish where
    /// the view should stand, null for anywhere. `flags` are the platform's own of `mmap`; without
    /// MAP_PRIVATE what is written goes to the file.
    CView CreateMapView(const CLongLongNative& offset, unsigned long size, ACCESS access,
                        void* address = nullptr, unsigned long flags = 0);

    const stringEx& GetFileName() const { return __name; }

private:
    friend struct IMPL::DescriptorDeletor<CFileMapping>;
    friend IMPL::DescriptorHandle<CFileMapping> IMPL::ShareDescriptor<CFileMapping>(int);
    friend class CSysFile;
    static void __Close(int descriptor);
    void __Open(const stringEx& path, ACCESS access);
    void __Own(int descriptor);
    /// Lengthens the file to `size` bytes if it is shorter.
    void __Reserve(const CLongLongNative& size);

    int __descriptor = -1;
    IMPL::DescriptorHandle<CFileMapping> __shared;
    stringEx __name;
};

} // namespace Quil
