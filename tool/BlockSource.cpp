#include "tool/BlockSource.h"

#include "util/sys/errhdl.h"
#include "util/text/byteEx.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <new>

namespace Quil {

namespace {

/// Where reads begin: processors copy to other places at a fraction of the speed.
constexpr std::size_t ALIGNMENT = 64;

} // namespace

void CBlockSource::StartFile(CSysFile& file, std::uint64_t size) {
    __file = &file;
    __last = {};
    __size = size;
    __Start();
}

void CBlockSource::StartPipe(std::string_view last) {
    // A pipe that holds a whole block wakes both its ends less often. Other inputs refuse.
    constexpr int PIPE_SIZE = 1024 * 1024;
    ::fcntl(CSysFile::CONSOLE_INPUT, F_SETPIPE_SZ, PIPE_SIZE);
    __input.Open(CSysFile::CONSOLE_INPUT);
    __file = nullptr;
    __last = last;
    __Start();
}

void CBlockSource::__Start() {
    __place = 0;
    __front = __begin = __end = 0;
    __isAtEnd = __isFresh = false;
}

BLOCK CBlockSource::Next() {
    if (!__isAtEnd && !__isFresh) {
        __MakeRoom();
        const std::size_t room =
            std::min(__roomSize - __end, std::max(GetBlockSize(), __end - __begin) + __last.size());
        __file != nullptr ? __ReadFile(room) : __ReadPipe(room);
    }
    __isFresh = false;
    return {__room.get() + __begin, __end - __begin, __isAtEnd};
}

void CBlockSource::Take(std::size_t count) {
    __begin += count;
    __place += count;
}

void CBlockSource::Restart(std::uint64_t place) {
    if (place + (__begin - __front) >= __place) {
        __begin -= static_cast<std::size_t>(__place - place);
        __place = place;
        __isFresh = true;
        return;
    }
    __file->SeekBegin(CLongLongNative(CULongLongNative(place)));
    __Start();
    __place = place;
}

/// What is left goes to the front, and ends where the next read may begin. Where it fills all of
/// the room there must be more.
void CBlockSource::__MakeRoom() {
    const std::size_t left = __end - __begin;
    const std::size_t end = (left + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
    if (__roomSize < end + __last.size() + 1) {
        const std::size_t size = std::max(GetBlockSize(), 2 * left) + __last.size() + 2 * ALIGNMENT;
        void* const larger = size <= byteEx::max_size()
                                 ? std::aligned_alloc(ALIGNMENT, size / ALIGNMENT * ALIGNMENT)
                                 : nullptr;
        if (larger == nullptr) {
            throw std::bad_alloc();
        }
        char* const room = static_cast<char*>(larger);
        std::copy_n(__room.get() + __begin, left, room + (end - left));
        __room.reset(room);
        __roomSize = size / ALIGNMENT * ALIGNMENT;
    } else if (left != 0 && __begin != end - left) {
        std::memmove(__room.get() + (end - left), __room.get() + __begin, left);
    }
    __front = __begin = end - left;
    __end = end;
}

void CBlockSource::__ReadFile(std::size_t room) {
    const std::uint64_t left = __size - (__place + (__end - __begin));
    const auto wanted = static_cast<unsigned int>(std::min<std::uint64_t>(room, left));
    const unsigned int count = __file->Read(__room.get() + __end, wanted);
    __end += count;
    __isAtEnd = count == 0 || count == left;
}

/// A failure is the pipe's end, behind which there is room for what stands for it.
void CBlockSource::__ReadPipe(std::size_t room) {
    unsigned int count = 0;
    try {
        count = __input.Read(__room.get() + __end, static_cast<unsigned int>(room - __last.size()));
    } catch (const sysfileExp&) {
        count = 0;
    }
    __end += count;
    if (count == 0) {
        std::copy(__last.begin(), __last.end(), __room.get() + __end);
        __end += __last.size();
        __isAtEnd = true;
    }
}

} // namespace Quil
