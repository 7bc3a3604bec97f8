// CFileMapping and its views.

#include "util/file/FileMapping.h"

#include "util/file/sysfile.h"
#include "util/file/system/error_text.h"
#include "util/file/system/posix_file.h"
#include "util/sys/errhdl.h"
#include "util/text/ConvStr.h"

#include <cstdio>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Quil {

using IMPL::ComposeError;
using IMPL::DescribeSysError;
using IMPL::ERROR_TEXT;
using IMPL::RetryInterrupted;

namespace {

constexpr ERROR_TEXT MAP_ERRORS[] = {
    {EACCES, "access denied"},
    {EINVAL, "invalid size, address, or flags argument"},
    {EMFILE, "too many mapped regions"},
    {ENODEV, "the device of the file does not support memory mapping"},
    {ENOMEM, "not enough address space, or too many mapped regions"},
    {EOVERFLOW, "offset out-of-range"},
    {EBADF, "invalid file descriptor"},
};

constexpr ERROR_TEXT UNMAP_ERRORS[] = {
    {EINVAL, "invalid size or address"},
};

constexpr ERROR_TEXT SYNC_ERRORS[] = {
    {EBUSY, "a part of the view is locked"},
    {EINVAL, "invalid size or address"},
    {ENOMEM, "a part of the view is not mapped"},
    {EIO, "io error occurred"},
};

constexpr ERROR_TEXT RESERVE_ERRORS[] = {
    {EBADF, "invalid file descriptor"},
    {EINVAL, "the file is not open for writing, or its size can't be set"},
    {EFBIG, "file too big"},
};

/// A number in the form "%#x".
stringEx Hex(unsigned long number) {
    char room[2 + 2 * sizeof number + 1];
    std::snprintf(room, sizeof room, "%#lx", number);
    return stringEx(room);
}

stringEx Hex(const void* address) {
    return Hex(reinterpret_cast<unsigned long>(address));
}

int Protection(CFileMapping::ACCESS access) {
    return ((access & CFileMapping::ACCESS_READ) != 0 ? PROT_READ : 0) |
           ((access & CFileMapping::ACCESS_WRITE) != 0 ? PROT_WRITE : 0);
}

void* SetupMapView(int descriptor, std::int64_t offset, unsigned long size, int protection,
                   void* address, unsigned long flags) {
    const unsigned long sharing = flags & (MAP_SHARED | MAP_PRIVATE);
    const auto allFlags = static_cast<int>(sharing != 0 ? flags : flags | MAP_SHARED);
    void* const view = ::mmap(address, size, protection, allFlags, descriptor, offset);
    if (view == MAP_FAILED) {
        const int code = errno;
        throw fmppExp(
            static_cast<unsigned int>(code),
            ComposeError("SetupMapView - failed create file view\n",
                         {{"  address arg = ", Hex(address)},
                          {"  size        = ", Hex(size)},
                          {"  protection  = ", Hex(static_cast<unsigned long>(protection))},
                          {"  flags       = ", Hex(static_cast<unsigned long>(allFlags))},
                          {"  error code  = ", code},
                          {"  error desc  = ", DescribeSysError(code, MAP_ERRORS)}}));
    }
    return view;
}

} // namespace

CFileMapping::CFileMapping(const char* path, ACCESS access) {
    __Open(stringEx(path), access);
}

CFileMapping::CFileMapping(const wchar_t* path, ACCESS access) {
    __Open(ConvStrSToT(wstringEx(path)), access);
}

CFileMapping::CFileMapping(const stringEx& path, ACCESS access) {
    __Open(ConvStrSToT(path), access);
}

CFileMapping::CFileMapping(const wstringEx& path, ACCESS access) {
    __Open(ConvStrSToT(path), access);
}

CFileMapping::CFileMapping(int descriptor, const stringEx& name) : __name(name) {
    __name.detach_if_static();
    __Own(IMPL::PosixDuplicateFile<fmppExp>(descriptor));
}

void CFileMapping::__Open(const stringEx& path, ACCESS access) {
    __name = path;
    __name.detach_if_static();
    // The platform maps no file that can't be read, not even for writing.
    const unsigned long fileAccess =
        access == ACCESS_READ ? CSysFile::ACCESS_READ : CSysFile::ACCESS_BOTH;
    __Own(IMPL::PosixOpenFile<fmppExp>(path, fileAccess, 0, 0, 0));
}

void CFileMapping::__Own(int descriptor) {
    __shared = IMPL::ShareDescriptor<CFileMapping>(descriptor);
    __descriptor = descriptor;
}

void CFileMapping::__Close(int descriptor) {
    IMPL::PosixCloseFile<fmppExp>(descriptor);
}

void CFileMapping::__Reserve(const CLongLongNative& size) {
    struct stat status = {};
    if (::fstat(__descriptor, &status) == 0 &&
        (size <= status.st_size ||
         RetryInterrupted([&] { return ::ftruncate(__descriptor, size.Value()); }) == 0)) {
        return;
    }
    const int code = errno;
    throw fmppExp(static_cast<unsigned int>(code),
                  ComposeError("CFileMapping::__Reserve - failed lengthen file for mapping\n",
                               {{"  file path  = ", __name},
                                {"  size       = ", size.Value()},
                                {"  error code = ", code},
                                {"  error desc = ", DescribeSysError(code, RESERVE_ERRORS)}}));
}

CFileMapping::CView CFileMapping::CreateMapView(const CLongLongNative& offset, unsigned long size,
                                                ACCESS access, void* address, unsigned long flags) {
    return CView(__descriptor, offset, size, access, address, flags);
}

CFileMapping::CView::CView(int descriptor, const CLongLongNative& offset, unsigned long size,
                           ACCESS access, void* address, unsigned long flags) {
    void* const view =
        SetupMapView(descriptor, offset.Value(), size, Protection(access), address, flags);
    MAPPED* const mapped = new (std::nothrow) MAPPED{view, size};
    if (mapped == nullptr) {
        ::munmap(view, size);
        throw std::bad_alloc();
    }
    __shared = decltype(__shared)(mapped);
}

void CFileMapping::CView::Unmapper::operator()(MAPPED* mapped) const noexcept(false) {
    const MAPPED view = *mapped;
    delete mapped;
    _Release(view);
}

void CFileMapping::CView::_Release(const MAPPED& mapped) {
    if (::munmap(mapped.address, mapped.size) == 0) {
        return;
    }
    const int code = errno;
    throw fmppExp(static_cast<unsigned int>(code),
                  ComposeError("CFileMapping::CView::_Release - failed unmap file view\n",
                               {{"  address    = ", Hex(mapped.address)},
                                {"  size       = ", Hex(mapped.size)},
                                {"  error code = ", code},
                                {"  error desc = ", DescribeSysError(code, UNMAP_ERRORS)}}));
}

void CFileMapping::CView::Flush() {
    if (!__shared || ::msync(__shared->address, __shared->size, MS_SYNC) == 0) {
        return;
    }
    const int code = errno;
    throw fmppExp(static_cast<unsigned int>(code),
                  ComposeError("CFileMapping::CView::Flush - failed flush file view\n",
                               {{"  view addr      = ", Hex(__shared->address)},
                                {"  view size      = ", Hex(__shared->size)},
                                {"  sys error code = ", code},
                                {"  sys error desc = ", DescribeSysError(code, SYNC_ERRORS)}}));
}

} // namespace Quil
