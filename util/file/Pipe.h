// A pipe as a data source and a data sink.
#pragma once

#include "util/base/Descriptor.h"
#include "util/base/visibility.h"
#include "util/file/data_object.h"

namespace QUIL_PUBLIC Quil {

/// What comes out of a pipe. Failures throw `pipeExp` with the system's error number as code.
class CPipeSource final : public TDataSource {
public:
    /// Reads from a copy of the descriptor, which stays the caller's: an end of a CProcess, say.
    explicit CPipeSource(int descriptor);
    explicit CPipeSource(IMPL::CDescriptor own) : __descriptor(std::move(own)) {}

    const char* GetName() const override { return "Pipe Data Source"; }
    bool IsValid() const override { return __descriptor.IsOpen(); }
    /// True once a read has met the end: before that nobody can know.
    bool IsEOF() const override { return __hasEnded; }
    /// Waits until there is something. Fewer bytes than asked for may come.
    unsigned int Read(void* buffer, unsigned int size) const override;
    /// Who writes to the pipe is refused from now on.
    void Close() { __descriptor.Close(); }

private:
    IMPL::CDescriptor __descriptor;
    mutable bool __hasEnded = false;
};

/// What goes into a pipe. Failures as above; that nobody reads it any more is one, EPIPE, and sends
/// no signal.
class CPipeSink final : public TDataSink {
public:
    explicit CPipeSink(int descriptor);
    explicit CPipeSink(IMPL::CDescriptor own) : __descriptor(std::move(own)) {}

    const char* GetName() const override { return "Pipe Data Sink"; }
    bool IsValid() const override { return __descriptor.IsOpen(); }
    /// Waits until all of it is written.
    unsigned int Write(const void* buffer, unsigned int size) override;
    void Flush() override {}
    /// What comes next is the end for who reads it.
    void Close() { __descriptor.Close(); }

private:
    IMPL::CDescriptor __descriptor;
};

/// A pipe: what goes into the sink comes out of the source. Both ends are closed to programs that
/// are started. Each end is for one thread.
class CPipe {
public:
    CPipe();

    CPipeSource& GetSource() { return __source; }
    CPipeSink& GetSink() { return __sink; }

private:
    struct ENDS {
        IMPL::CDescriptor out;
        IMPL::CDescriptor in;
    };
    static ENDS __Make();
    explicit CPipe(ENDS ends) : __source(std::move(ends.out)), __sink(std::move(ends.in)) {}

    CPipeSource __source;
    CPipeSink __sink;
};

} // namespace Quil
