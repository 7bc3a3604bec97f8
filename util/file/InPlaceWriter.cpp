#include "util/file/InPlaceWriter.h"

#include "util/file/dir.h"
#include "util/file/system/FileRewrite.h"
#include "util/file/system/error_text.h"

#include <algorithm>
#include <fcntl.h>
#include <new>
#include <sys/vfs.h>
#include <unistd.h>

namespace Quil {

namespace {

constexpr char WHOLE[] = "the old content stands";

CLongLongNative Offset(std::uint64_t bytes) {
    return CLongLongNative(CULongLongNative(bytes));
}

stringEx FolderOf(const stringEx& path) {
    const unsigned int slash = path.rfind('/');
    return slash == stringEx::npos ? stringEx("./") : path.substr(0, slash + 1);
}

sysfileExp NoMemory(const stringEx& path) {
    return {ENOMEM, IMPL::ComposeError("CInPlaceWriter - failed keep what a file becomes\n",
                                       {{"  file path  = ", path},
                                        {"  error code = ", ENOMEM},
                                        {"  error desc = ", "not enough memory"}})};
}

/// Where no room can be promised, zero bytes behind the end take it.
void FillBehind(CSysFile& file, std::uint64_t from, std::uint64_t to) {
    static constexpr char ZEROS[std::size_t{64} << 10] = {};
    file.SeekBegin(Offset(from));
    while (from < to) {
        std::uint64_t count = 0;
        IMPL::WriteAll(file, ZEROS, std::min<std::uint64_t>(to - from, sizeof ZEROS), count);
        from += count;
    }
}

} // namespace

CInPlaceWriter::CInPlaceWriter(CSysFile& file, std::uint64_t oldSize)
    : __file(file), __oldSize(oldSize), __held(FolderOf(file.GetFileName())) {}

void CInPlaceWriter::Start(std::uint64_t place, ROOM room, std::uint64_t size) {
    __taken = __made = __written = place;
    __position = 0;
    __room = room;
    __size = size;
    __isReserved = room == ROOM::SAME_SIZE;
    __held.Clear(); // of a change that had to begin anew
    __recent.clear();
}

/// The first byte is to be written.
void CInPlaceWriter::__Reserve() {
    __isReserved = true;
    if (__isFinishing) {
        __size = __made;
        __room = ROOM::EXACT;
    }
    if (__room == ROOM::AT_MOST) {
        if (!__IsPromised(__size)) {
            throw SIZE_NEEDED();
        }
    } else if (!__file.ReserveRoom(Offset(__size), Offset(__written)) && __size > __oldSize) {
        __position = __size;
        FillBehind(__file, __oldSize, __size);
    }
}

/// Asks for room that is given back in the end: not of a file system in memory, whose room all
/// programs share.
bool CInPlaceWriter::__IsPromised(std::uint64_t size) {
    constexpr auto IN_MEMORY = 0x01021994;
    struct statfs system = {};
    if (::statfs(__file.GetFileName().c_str(), &system) != 0 || system.f_type == IN_MEMORY) {
        return size <= __oldSize;
    }
    try {
        return __file.ReserveRoom(Offset(size), Offset(__written)) || size <= __oldSize;
    } catch (const sysfileExp&) {
        return false;
    }
}

void CInPlaceWriter::Keep(std::string_view bytes) {
    __Guard([&] {
        const bool isPassed = __IsAligned() && (__held.IsEmpty() || bytes.size() >= sm_gap);
        __taken += bytes.size();
        __recent.clear();
        isPassed ? __Pass(bytes.size()) : __Put(bytes);
    });
}

void CInPlaceWriter::Replace(std::string_view old, std::string_view bytes) {
    __Guard([&] {
        const bool isCompared = __IsCompared();
        const std::uint64_t before = __made;
        __taken += old.size();
        if (!isCompared) {
            __Put(bytes);
            return;
        }
        __PutWhatDiffers(old, bytes);
        __Remember(old, static_cast<std::size_t>(__made - before));
    });
}

/// Makes the change, then writes what has gathered and has its place free.
template <class Change>
void CInPlaceWriter::__Guard(Change change) {
    try {
        change();
        const std::uint64_t free = std::min(__made, __taken);
        if (free >= __written + sm_batch) {
            __WriteUpTo(free);
        }
    } catch (const sysfileExp& cause) {
        __Fail(cause);
    }
}

/// The next bytes are in their place already.
void CInPlaceWriter::__Pass(std::size_t count) {
    const std::uint64_t place = __made;
    __made += count;
    try {
        __WriteUpTo(place);
    } catch (const sysfileExp&) {
        __made = place; // what follows is as old as what is held is new
        __taken = place;
        throw;
    }
    __written = __made;
}

/// Long stretches go straight from where they are to their place, if it is free.
void CInPlaceWriter::__Put(std::string_view bytes) {
    const std::uint64_t place = __made;
    __made += bytes.size();
    if (bytes.size() < sm_direct || __made > __taken) {
        __Hold(bytes);
        return;
    }
    try {
        __WriteUpTo(place);
        __WriteNow(bytes);
    } catch (const sysfileExp&) {
        const std::size_t done =
            __written > place ? static_cast<std::size_t>(__written - place) : 0;
        __Hold(bytes.substr(done));
        throw;
    }
}

/// Keeps bytes in memory, but for the last `behind` of them. Without memory all that is left of
/// them can still be written elsewhere.
void CInPlaceWriter::__Hold(std::string_view bytes, std::size_t behind) {
    const std::uint64_t before = __held.GetLength();
    try {
        __held.Append(bytes.data(), bytes.size() - behind);
    } catch (const std::bad_alloc&) {
        __unheld = bytes.substr(static_cast<std::size_t>(__held.GetLength() - before));
        throw NoMemory(__file.GetFileName());
    }
}

/// Takes the bytes unit by unit, by the places in the file, and passes over the equal ones.
void CInPlaceWriter::__PutWhatDiffers(std::string_view old, std::string_view bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t unit =
            std::min<std::size_t>(sm_unit - __made % sm_unit, bytes.size() - at);
        if ((__held.IsEmpty() || unit >= sm_gap) && __IsSame(old, at, bytes.substr(at, unit))) {
            try {
                __WriteUpTo(__made);
            } catch (const sysfileExp&) {
                __made += bytes.size() - at;
                __Hold(bytes.substr(at));
                throw;
            }
            __written = __made += unit;
        } else {
            __Hold(bytes.substr(at), bytes.size() - at - unit);
            __made += unit;
        }
        at += unit;
    }
}

/// Whether the old bytes from a place on, counted from what is remembered, are these.
bool CInPlaceWriter::__IsSame(std::string_view old, std::size_t at, std::string_view bytes) const {
    const std::size_t remembered = at < __recent.size() ? __recent.size() - at : 0;
    const std::size_t front = std::min(remembered, bytes.size());
    const std::size_t rest = bytes.size() - front;
    if (front != 0 && bytes.substr(0, front) != std::string_view(__recent).substr(at, front)) {
        return false;
    }
    const std::size_t place = at + front - __recent.size();
    return rest == 0 ||
           (place + rest <= old.size() && bytes.substr(front) == old.substr(place, rest));
}

/// `used` of the remembered and the old bytes have met their new ones.
void CInPlaceWriter::__Remember(std::string_view old, std::size_t used) {
    const std::size_t known = __recent.size() + old.size();
    if (used > known || known - used > sm_recentLimit) {
        __recent.clear();
    } else if (used >= __recent.size()) {
        __recent.assign(old.substr(used - __recent.size()));
    } else {
        __recent.erase(0, used);
        __recent.append(old);
    }
}

void CInPlaceWriter::__WriteUpTo(std::uint64_t place) {
    while (__written < place && !__held.IsEmpty()) {
        const std::string_view front = __held.Front();
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(front.size(), place - __written));
        const std::uint64_t before = __written;
        try {
            __WriteNow(front.substr(0, count));
        } catch (const sysfileExp&) {
            __held.Pop(static_cast<std::size_t>(__written - before));
            throw;
        }
        __held.Pop(count);
    }
}

/// Writes bytes at the place that has come.
void CInPlaceWriter::__WriteNow(std::string_view bytes) {
    std::uint64_t count = 0;
    try {
        if (!__isReserved) {
            __Reserve();
        }
        if (__position != __written) {
            __file.SeekBegin(Offset(__written));
        }
        IMPL::WriteAll(__file, bytes.data(), bytes.size(), count);
    } catch (const sysfileExp&) {
        __hasWritten = __hasWritten || count != 0;
        __written += count;
        throw;
    }
    __hasWritten = true;
    __written += count;
    __position = __written;
}

void CInPlaceWriter::Finish() {
    __isFinishing = true;
    try {
        __WriteUpTo(__made);
    } catch (const sysfileExp& cause) {
        __Fail(cause);
    } catch (const std::bad_alloc&) {
        __Fail(NoMemory(__file.GetFileName()));
    }
    if (__made < __oldSize || (__isReserved && __room == ROOM::AT_MOST && __made < __size)) {
        __Cut();
    }
    try {
        __file.Close();
    } catch (const sysfileExp& cause) {
        __Throw(cause, "the new content, of which the device may lack a part");
    }
}

void CInPlaceWriter::Abandon() {
    Abandon(NoMemory(__file.GetFileName()));
}

void CInPlaceWriter::Abandon(const sysfileExp& cause) {
    if (__hasWritten) {
        __Guard([&] { __WriteUpTo(std::min(__made, __taken)); });
    }
    __Fail(cause);
}

void CInPlaceWriter::__Cut() {
    try {
        __file.SeekBegin(Offset(__made));
        __file.ResizeToCurrentPos();
        __hasWritten = true;
    } catch (const sysfileExp& cause) {
        if (!__hasWritten) {
            __Throw(cause, WHOLE);
        }
        __Throw(cause, "the new content, and behind it the end of the old");
    }
}

/// Says which bytes are where. Old bytes lie in their old places from what is written on.
void CInPlaceWriter::__Fail(const sysfileExp& cause) {
    __CutBack(cause);
    stringEx state;
    state << "new up to byte " << __written;
    if (__IsAligned()) {
        state << ", old from there to byte " << __oldSize;
    } else {
        if (__taken < __oldSize) {
            state << ", old from byte " << __taken << " to byte " << __oldSize;
        }
        if (const std::uint64_t between = __held.GetLength() + __unheld.size(); between != 0) {
            state << "; the " << between << " bytes that belong behind the new ones are "
                  << __Rescue();
        }
    }
    __Throw(cause, state);
}

/// Takes away what was put behind the end. That is all, where nothing else has been changed.
void CInPlaceWriter::__CutBack(const sysfileExp& cause) {
    try {
        const std::uint64_t end = std::max(__oldSize, __written);
        __file.SeekEnd(0);
        if (CULongLongNative(__file.GetCurrentPos()).Value() > end || __isReserved) {
            __file.SeekBegin(Offset(end));
            __file.ResizeToCurrentPos();
        }
    } catch (const sysfileExp&) {
        if (!__hasWritten) {
            __Throw(cause, "the old content, and behind it zero bytes");
        }
    }
    if (!__hasWritten) {
        __Throw(cause, WHOLE);
    }
}

/// Puts what is held into a file beside this one, or among the temporary ones. Answers where.
stringEx CInPlaceWriter::__Rescue() {
    const stringEx& path = __file.GetFileName();
    const std::uint64_t length = __held.GetLength();
    for (const stringEx& folder : {FolderOf(path), CDir::GetTempDir()}) {
        try {
            stringEx name = path.substr(path.rfind('/') + 1, stringEx::npos);
            name = folder + name + ".rest-";
            name.append_ulong(static_cast<unsigned long>(::getpid()), 10);
            CSysFile rest;
            rest.OpenRaw(name, CSysFile::ACCESS_WRITE, CSysFile::CREATE + O_EXCL, 0, 0600, 0);
            while (!__held.IsEmpty()) {
                const std::string_view front = __held.Front();
                std::uint64_t count = 0;
                IMPL::WriteAll(rest, front.data(), front.size(), count);
                __held.Pop(front.size());
            }
            std::uint64_t count = 0;
            IMPL::WriteAll(rest, __unheld.data(), __unheld.size(), count);
            rest.Close();
            return "in " + name;
        } catch (const qlExp&) {
            if (__held.GetLength() != length) {
                break; // a part of it is in a file without the rest
            }
        }
    }
    return stringEx("lost");
}

void CInPlaceWriter::__Throw(const sysfileExp& cause, const stringEx& state) {
    stringEx message = cause.GetErrString();
    message.append("\n  file state = ").append(state);
    throw sysfileExp(cause.GetErrCode(), message);
}

} // namespace Quil
