// Blocks by name. A name can be seen before its block has a size, so who opens it waits for that:
// memory behind the end must not be touched.
#include "util/sys/shmem.h"

#include "util/sys/errhdl.h"
#include "util/sys/syserror.h"
#include "util/sys/timeout.h"

#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Quil {

namespace {

constexpr IMPL::ERROR_TEXT ERRORS[] = {
    {EACCES, "access denied"},
    {EEXIST, "the named shared memory already exists"},
    {ENOENT, "the named shared memory does not exist"},
    {EINVAL, "unsupport name or size"},
    {ENAMETOOLONG, "shared memory name is too long"},
    {EMFILE, "too many file descriptors are currently open in this process"},
    {ENFILE, "too many files are currently open in the system"},
    {ENOSPC, "there is insufficient space for the shared memory"},
    {ETIMEDOUT, "the creator has not given the shared memory its size"},
};

[[noreturn]] void Throw(const char* head, int error, const stringEx& name) {
    IMPL::ThrowSysError<shmemExp>(head, error, ERRORS, "  name       = " + name);
}

/// Waits until the block has at least `size` bytes: behind its end nothing may be touched.
int WaitForSize(int descriptor, off_t size) {
    constexpr unsigned int tries = 100;
    constexpr unsigned long pause = 10;
    for (unsigned int i = 0; i != tries; ++i) {
        struct stat status {};
        if (fstat(descriptor, &status) != 0) {
            return errno;
        }
        if (status.st_size >= size) {
            return 0;
        }
        IMPL::SleepFor(pause);
    }
    return ETIMEDOUT;
}

} // namespace

CShMem::CShMem(bool create, const stringEx& name, unsigned int size)
    : __size(size), __name(name), __isCreator(create) {
    constexpr mode_t ownerOnly = 0600;
    __name.detach_if_static().make_tail();
    const int descriptor =
        shm_open(__name.c_str(), create ? O_RDWR | O_CREAT | O_EXCL : O_RDWR, ownerOnly);
    if (descriptor < 0) {
        Throw(create ? "CShMem::CShMem - failed create shared memory"
                     : "CShMem::CShMem - failed open shared memory",
              errno, __name);
    }
    try {
        __Map(descriptor);
    } catch (...) {
        close(descriptor);
        if (create) {
            shm_unlink(__name.c_str());
        }
        throw;
    }
    close(descriptor);
}

void CShMem::__Map(int descriptor) {
    const off_t size = static_cast<off_t>(__size);
    const int error = !__isCreator                       ? WaitForSize(descriptor, size)
                      : ftruncate(descriptor, size) != 0 ? errno
                                                         : 0;
    if (error != 0) {
        Throw("CShMem::CShMem - failed size shared memory", error, __name);
    }
    void* const address = mmap(nullptr, __size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (address == MAP_FAILED) {
        Throw("CShMem::CShMem - failed map shared memory", errno, __name);
    }
    __address = address;
}

void CShMem::Close() {
    if (__address == nullptr) {
        return;
    }
    const int unmapError = munmap(__address, __size) != 0 ? errno : 0;
    __address = nullptr;
    const int unlinkError = __isCreator && shm_unlink(__name.c_str()) != 0 ? errno : 0;
    if (unmapError != 0 || unlinkError != 0) {
        Throw(unmapError != 0 ? "CShMem::Close - failed unmap shared memory"
                              : "CShMem::Close - failed unlink shared memory",
              unmapError != 0 ? unmapError : unlinkError, __name);
    }
}

CShMem::~CShMem() noexcept(false) {
    try {
        Close();
    } catch (const qlExp&) {
        if (std::uncaught_exceptions() == 0) {
            throw;
        }
    }
}

} // namespace Quil
