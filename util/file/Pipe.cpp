#include "util/file/Pipe.h"

#include "util/base/PipeSignal.h"
#include "util/sys/errhdl.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace Quil {

namespace {

[[noreturn]] void Throw(const char* where, const char* what) {
    const auto error = static_cast<unsigned int>(errno);
    stringEx message(where);
    message.append(" - ").append(what).append("\n  description = ");
    throw pipeExp(error, message.append(GetSysErrString(error)));
}

IMPL::CDescriptor Copy(int descriptor, const char* where) {
    IMPL::CDescriptor copy(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    if (!copy.IsOpen()) {
        Throw(where, "can't take the descriptor");
    }
    return copy;
}

} // namespace

CPipeSource::CPipeSource(int descriptor)
    : __descriptor(Copy(descriptor, "CPipeSource::CPipeSource")) {}

unsigned int CPipeSource::Read(void* buffer, unsigned int size) const {
    ssize_t count = 0;
    do {
        count = ::read(__descriptor.Get(), buffer, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        Throw("CPipeSource::Read", "can't read");
    }
    __hasEnded = __hasEnded || (count == 0 && size != 0);
    return static_cast<unsigned int>(count);
}

CPipeSink::CPipeSink(int descriptor) : __descriptor(Copy(descriptor, "CPipeSink::CPipeSink")) {}

unsigned int CPipeSink::Write(const void* buffer, unsigned int size) {
    const IMPL::CPipeSignalHold hold;
    for (unsigned int done = 0; done < size;) {
        const ssize_t count =
            ::write(__descriptor.Get(), static_cast<const char*>(buffer) + done, size - done);
        if (count < 0 && errno != EINTR) {
            Throw("CPipeSink::Write", "can't write");
        }
        done += count > 0 ? static_cast<unsigned int>(count) : 0;
    }
    return size;
}

CPipe::CPipe() : CPipe(__Make()) {}

CPipe::ENDS CPipe::__Make() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        Throw("CPipe::CPipe", "can't make a pipe");
    }
    return {IMPL::CDescriptor(ends[0]), IMPL::CDescriptor(ends[1])};
}

} // namespace Quil
