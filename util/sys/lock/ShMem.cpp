// Blocks by name. A name can be seen before its block has a size, so who opens it waits for that:
// memory behind the end must not be touched.
//
// Creators of one name exclude each other by a lock on the block's file, which the system takes off
// a process that dies: a block is signed under it, and a name is taken from a dead creator under
// it. Only a living creator removes its name without.
#include "util/sys/lock/ShMem.h"

#include "util/base/timeout.h"
#include "util/sys/errhdl.h"
#include "util/sys/misc.h"
#include "util/sys/syserror.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <exception>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

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

constexpr unsigned int TRIES = 100; ///< of waits for another process, a second in all
constexpr unsigned long PAUSE = 10;

/// Who made a block. It stands behind the bytes of the block, at the end of the file.
struct SIGNATURE {
    std::int64_t process = 0;       ///< 0 while the block is not signed
    std::uint64_t start = 0;        ///< when the process began: ids are used again; 0: not known
    std::uint64_t idsNamespace = 0; ///< the ids mean something only in there; 0: not known
};

off_t SignatureOffset(unsigned int size) {
    return (static_cast<off_t>(size) + 7) / 8 * 8;
}

off_t FileSize(unsigned int size) {
    return SignatureOffset(size) + static_cast<off_t>(sizeof(SIGNATURE));
}

struct PROCESS {
    std::uint64_t start = 0; ///< in the system's ticks; 0: not known
    bool isZombie = false;
};

/// What the system tells of a process, if it does.
PROCESS LookAt(std::int64_t id) {
    constexpr unsigned int LIMIT = 4096;
    // Fields behind the name, which ends with the last ")".
    constexpr unsigned int THREADS_FIELD = 17;
    constexpr unsigned int START_FIELD = 19;
    PROCESS process;
    try {
        stringEx path("/proc/");
        path.append_long(static_cast<long>(id), 10).append("/stat");
        const stringEx text = IMPL::ReadProcFile(path, LIMIT);
        unsigned int at = text.rfind(')');
        unsigned long threads = 0;
        for (unsigned int i = 0; i <= START_FIELD && at != stringEx::npos; ++i) {
            at = text.find(' ', at + 1);
            if (at == stringEx::npos) {
                break;
            }
            if (i == 0) {
                process.isZombie = text[at + 1] == 'Z';
            } else if (i == THREADS_FIELD) {
                threads = text.to_ulong(at + 1, stringEx::npos, 10);
            } else if (i == START_FIELD) {
                process.start = text.to_ulong(at + 1, stringEx::npos, 10);
            }
        }
        process.isZombie = process.isZombie && threads <= 1; // else only its first thread has ended
    } catch (const qlExp&) {
        // Not known then.
    }
    return process;
}

SIGNATURE OwnSignature() {
    struct stat ids {};
    const bool isKnown = stat("/proc/self/ns/pid", &ids) == 0;
    return {getpid(), LookAt(getpid()).start, isKnown ? ids.st_ino : 0};
}

bool IsAlive(const SIGNATURE& creator) {
    if (creator.idsNamespace != OwnSignature().idsNamespace) {
        return true;
    }
    if (kill(static_cast<pid_t>(creator.process), 0) != 0 && errno == ESRCH) {
        return false;
    }
    const PROCESS present = LookAt(creator.process);
    const bool isSame = present.start == 0 || creator.start == 0 || present.start == creator.start;
    return isSame && !present.isZombie;
}

/// A descriptor that is closed at the end, and the lock on its file with it.
class CDescriptor {
public:
    explicit CDescriptor(int descriptor) : __descriptor(descriptor) {}
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    ~CDescriptor() {
        if (__descriptor >= 0) {
            close(__descriptor);
        }
    }
    int Release() { return std::exchange(__descriptor, -1); }
    int Get() const { return __descriptor; }
    bool IsOpen() const { return __descriptor >= 0; }

    /// Locks the file, within so many tries. False also if the file has lost its name.
    bool LockNamed(unsigned int tries) const {
        while (flock(__descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            if (--tries == 0) {
                return false;
            }
            IMPL::SleepFor(PAUSE);
        }
        struct stat status {};
        return fstat(__descriptor, &status) == 0 && status.st_nlink != 0;
    }

private:
    int __descriptor;
};

/// Waits until the block has at least `size` bytes: behind its end nothing may be touched.
int WaitForSize(int descriptor, off_t size) {
    for (unsigned int i = 0; i != TRIES; ++i) {
        struct stat status {};
        if (fstat(descriptor, &status) != 0) {
            return errno;
        }
        if (status.st_size >= size) {
            return 0;
        }
        IMPL::SleepFor(PAUSE);
    }
    return ETIMEDOUT;
}

enum CLAIM { TAKEN, UNSIGNED, ABANDONED, GONE };

/// What there is to say of the name, and removes it if its creator is dead; an unsigned block's
/// creator counts as dead only on the last try.
CLAIM TakeFromDead(const char* name, bool isLastTry) {
    const CDescriptor block(shm_open(name, O_RDWR, 0));
    if (!block.IsOpen()) {
        return errno == ENOENT ? GONE : TAKEN;
    }
    if (!block.LockNamed(1)) {
        return UNSIGNED; // somebody signs it, or has just taken it away
    }
    struct stat status {};
    SIGNATURE creator;
    const off_t length = static_cast<off_t>(sizeof creator);
    const bool isSigned =
        fstat(block.Get(), &status) == 0 && status.st_size >= length &&
        pread(block.Get(), &creator, sizeof creator, status.st_size - length) == length &&
        creator.process > 0;
    if (isSigned ? IsAlive(creator) : !isLastTry) {
        return isSigned ? TAKEN : UNSIGNED;
    }
    return shm_unlink(name) == 0 ? ABANDONED : TAKEN;
}

/// Gives a fresh block its size and its signature. The error number, or 0.
int Sign(int descriptor, unsigned int size) {
    const SIGNATURE own = OwnSignature();
    if (ftruncate(descriptor, FileSize(size)) != 0) {
        return errno;
    }
    const ssize_t written = pwrite(descriptor, &own, sizeof own, SignatureOffset(size));
    return written == static_cast<ssize_t>(sizeof own) ? 0 : written < 0 ? errno : ENOSPC;
}

} // namespace

CShMem::CShMem(bool create, const stringEx& name, unsigned int size)
    : __size(size), __name(name), __creator(create ? getpid() : 0) {
    __name.detach_if_static().make_tail();
    const CDescriptor block(create ? __Create() : __Open());
    void* const address = mmap(nullptr, __size, PROT_READ | PROT_WRITE, MAP_SHARED, block.Get(), 0);
    if (address == MAP_FAILED) {
        const int error = errno;
        if (create) {
            shm_unlink(__name.c_str());
        }
        Throw("CShMem::CShMem - failed map shared memory", error, __name);
    }
    __address = address;
}

int CShMem::__Create() {
    constexpr mode_t OWNER_ONLY = 0600;
    for (unsigned int i = 0; i != TRIES; ++i) {
        CDescriptor block(shm_open(__name.c_str(), O_RDWR | O_CREAT | O_EXCL, OWNER_ONLY));
        if (block.IsOpen()) {
            // A name that was taken away before it could be signed is tried for again.
            if (!block.LockNamed(TRIES)) {
                continue;
            }
            if (const int error = Sign(block.Get(), __size)) {
                shm_unlink(__name.c_str());
                Throw("CShMem::CShMem - failed size shared memory", error, __name);
            }
            return block.Release();
        }
        if (errno != EEXIST) {
            Throw("CShMem::CShMem - failed create shared memory", errno, __name);
        }
        const CLAIM claim = TakeFromDead(__name.c_str(), i + 2 >= TRIES);
        if (claim == TAKEN) {
            break;
        }
        __isTakenOver = __isTakenOver || claim == ABANDONED;
        if (claim == UNSIGNED) {
            IMPL::SleepFor(PAUSE);
        }
    }
    Throw("CShMem::CShMem - failed create shared memory", EEXIST, __name);
}

int CShMem::__Open() const {
    CDescriptor block(shm_open(__name.c_str(), O_RDWR, 0));
    if (!block.IsOpen()) {
        Throw("CShMem::CShMem - failed open shared memory", errno, __name);
    }
    if (const int error = WaitForSize(block.Get(), FileSize(__size))) {
        Throw("CShMem::CShMem - failed size shared memory", error, __name);
    }
    return block.Release();
}

bool CShMem::IsCreator() const {
    return __creator == getpid();
}

void CShMem::Close() {
    if (__address == nullptr) {
        return;
    }
    const int unmapError = munmap(__address, __size) != 0 ? errno : 0;
    __address = nullptr;
    const int unlinkError = IsCreator() && shm_unlink(__name.c_str()) != 0 ? errno : 0;
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
