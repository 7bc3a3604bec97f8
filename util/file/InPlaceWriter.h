// New content for a file, written over the old one while that is being read.
//
// At any moment the file is new bytes up to one place and old bytes from another one on, and what
// belongs between the two is held in memory: nothing where the text has become shorter so far, else
// just what it has become longer by. So a change costs the bytes that it changes. Bytes that come
// out as they were are not written as long as they stay where they were.
//
// What complicates it: a write may fail in the middle. Where room is short is found out before the
// first byte is changed: for a small file when its result is there, for others by what it can come
// to at most. For whatever else happens, what is held in memory goes into a file of its own, and
// the failure says which part is where.
#pragma once

#include "util/base/visibility.h"
#include "util/file/sysfile.h"
#include "util/file/system/SpillQueue.h"
#include "util/sys/errhdl.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace QUIL_PUBLIC Quil {

/// One such change of a regular file that is open for writing. The file is the caller's, who reads
/// it by another descriptor and tells in turn what becomes of its bytes, none of which is read
/// again from then on. Failures throw `sysfileExp` with the number and text of their cause and a
/// last detail line, "  file state = ". For one thread.
class CInPlaceWriter {
public:
    /// @param oldSize bytes in the file
    CInPlaceWriter(CSysFile& file, std::uint64_t oldSize);

    /// How room is seen to before the first byte of the file changes.
    enum class ROOM {
        SAME_SIZE, ///< Every byte stays in its place.
        EXACT,     ///< For the size that is told. Without room the change fails.
        AT_MOST    ///< For a size that it hardly comes to. Without such room the size must be told.
    };
    /// Thrown, with the file as it was, by a change that must begin anew with ROOM::EXACT.
    struct SIZE_NEEDED {};

    /// Begins, or begins anew, at a byte in front of which all stays. `size` is what the file may
    /// come to.
    void Start(std::uint64_t place, ROOM room, std::uint64_t size);

    /// The next old bytes, which are these, stay.
    void Keep(std::string_view bytes);
    /// The next old bytes, which are `old`, give way to `bytes`.
    void Replace(std::string_view old, std::string_view bytes);

    /// The old bytes can't be read any more, for this reason: writes what has its place, and
    /// throws.
    [[noreturn]] void Abandon(const sysfileExp& cause);
    /// The same where memory has run out outside of this.
    [[noreturn]] void Abandon();

    /// All old bytes have been told of. Writes what is held, cuts the file, and closes it: some
    /// devices tell of their errors only then.
    void Finish();

    /// Whether anything was written.
    bool HasWritten() const { return __hasWritten; }

private:
    /// Old bytes that are looked at to find out what needn't be written, and the unit of that.
    static constexpr std::size_t sm_recentLimit = 4096;
    static constexpr std::size_t sm_unit = 4096;
    /// Kept bytes between two changes that are written rather than passed over.
    static constexpr std::size_t sm_gap = 512;
    static constexpr std::size_t sm_direct = std::size_t{32} << 10;
    static constexpr std::uint64_t sm_batch = std::uint64_t{256} << 10;

    bool __IsAligned() const { return __made == __taken; }
    bool __IsCompared() const { return __made + __recent.size() == __taken; }
    template <class Change>
    void __Guard(Change change);
    void __Pass(std::size_t count);
    void __Put(std::string_view bytes);
    void __Hold(std::string_view bytes, std::size_t behind = 0);
    void __Reserve();
    bool __IsPromised(std::uint64_t size);
    void __PutWhatDiffers(std::string_view old, std::string_view bytes);
    bool __IsSame(std::string_view old, std::size_t at, std::string_view bytes) const;
    void __Remember(std::string_view old, std::size_t used);
    void __WriteUpTo(std::uint64_t place);
    void __WriteNow(std::string_view bytes);
    void __Cut();
    [[noreturn]] void __Fail(const sysfileExp& cause);
    void __CutBack(const sysfileExp& cause);
    [[noreturn]] static void __Throw(const sysfileExp& cause, const stringEx& state);
    stringEx __Rescue();

    CSysFile& __file;
    const std::uint64_t __oldSize;
    std::uint64_t __taken = 0;    ///< old bytes told of
    std::uint64_t __made = 0;     ///< new bytes told of
    std::uint64_t __written = 0;  ///< those that are in the file
    std::uint64_t __position = 0; ///< of the descriptor
    bool __hasWritten = false;
    ROOM __room = ROOM::EXACT;
    std::uint64_t __size = 0; ///< for which room is reserved
    bool __isReserved = false;
    bool __isFinishing = false;
    IMPL::CSpillQueue __held;  ///< new bytes that wait for their place
    std::string_view __unheld; ///< of a failure: those behind them for which there was no memory
    std::string __recent;      ///< the old bytes from __made up to __taken, where it is known
};

} // namespace Quil
