#include "util/file/system/SpillQueue.h"

#include "util/file/dir.h"
#include "util/file/system/FileRewrite.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace Quil::IMPL {

namespace {

CLongLongNative Offset(std::uint64_t bytes) {
    return CLongLongNative(CULongLongNative(bytes));
}

} // namespace

CSpillQueue::BLOCK CSpillQueue::__NewBlock() {
    if (__spares.empty()) {
        __spares.emplace_back().bytes = std::make_unique_for_overwrite<char[]>(sm_block);
    }
    BLOCK block = std::move(__spares.back());
    __spares.pop_back();
    block.begin = block.end = 0;
    return block;
}

void CSpillQueue::__Recycle(BLOCK block) {
    if (__spares.size() < sm_spares) {
        __spares.push_back(std::move(block));
    }
}

bool CSpillQueue::__HasSpilled() const {
    return std::any_of(__spills.begin(), __spills.end(),
                       [](const SPILL& spill) { return spill.read < spill.written; });
}

void CSpillQueue::Append(const char* bytes, std::size_t count) {
    while (count != 0) {
        BLOCK& last = __LastBlock();
        const std::size_t taken = std::min(count, sm_block - last.end);
        std::memcpy(last.bytes.get() + last.end, bytes, taken);
        last.end += taken;
        __length += taken;
        bytes += taken;
        count -= taken;
    }
    __Advance();
}

/// A block with room, behind all others.
CSpillQueue::BLOCK& CSpillQueue::__LastBlock() {
    const bool hasSpilled = __HasSpilled();
    if (__tail.empty() && !hasSpilled && !__head.empty() && __head.back().end < sm_block) {
        return __head.back();
    }
    if (__tail.empty() || __tail.back().end == sm_block) {
        const std::uint64_t inMemory = (__head.size() + __tail.size()) * std::uint64_t{sm_block};
        const bool isTooMuch = hasSpilled || inMemory >= __limit;
        if (__tail.empty() || !isTooMuch || !__Spill(__tail.back())) {
            __tail.push_back(__NewBlock());
        }
    }
    return __tail.back();
}

std::string_view CSpillQueue::Front() const {
    if (__head.empty()) {
        return {};
    }
    const BLOCK& first = __head.front();
    return {first.bytes.get() + first.begin, first.end - first.begin};
}

void CSpillQueue::Pop(std::size_t count) {
    __head.front().begin += count;
    __length -= count;
    __Advance();
}

/// Sees to it that the oldest bytes are at the head.
void CSpillQueue::__Advance() {
    while (!__head.empty() && __head.front().begin == __head.front().end) {
        __Recycle(std::move(__head.front()));
        __head.pop_front();
    }
    if (!__head.empty() || __length == 0) {
        return;
    }
    if (__HasSpilled()) {
        __head.push_back(__ReadBack());
    } else {
        __head.swap(__tail);
    }
}

/// Empties a block into the newest file, or into the next one where that is full or can't be made.
/// What is spilled lies between head and tail, so the tail must be this block. False if the block
/// has to stay.
bool CSpillQueue::__Spill(BLOCK& block) {
    if (__isInMemory || __tail.size() != 1) {
        return false;
    }
    const std::string_view bytes(block.bytes.get() + block.begin, block.end - block.begin);
    for (const bool isSecond : {false, true}) {
        try {
            if (__spills.size() <= static_cast<std::size_t>(isSecond)) {
                __spills.push_back(__OpenSpill(isSecond ? CDir::GetTempDir() : __folder));
            }
            if (!isSecond && __spills.size() > 1) {
                continue;
            }
            __WriteTo(__spills.back(), bytes);
            block.begin = block.end = 0;
            return true;
        } catch (const qlExp&) {
            if (!isSecond && __spills.empty()) {
                __spills.emplace_back(); // a first file that takes nothing
            }
        }
    }
    __isInMemory = true;
    return false;
}

/// Takes all of the bytes or throws.
void CSpillQueue::__WriteTo(SPILL& spill, std::string_view bytes) {
    if (spill.read == spill.written) {
        spill.read = spill.written = 0;
    }
    std::uint64_t count = 0;
    spill.file.SeekBegin(Offset(spill.written));
    WriteAll(spill.file, bytes.data(), bytes.size(), count);
    spill.written += count;
}

/// The oldest bytes of the files.
CSpillQueue::BLOCK CSpillQueue::__ReadBack() {
    BLOCK block = __NewBlock();
    for (SPILL& spill : __spills) {
        if (spill.read == spill.written) {
            continue;
        }
        const auto size = std::min<std::uint64_t>(sm_block, spill.written - spill.read);
        spill.file.SeekBegin(Offset(spill.read));
        block.end = spill.file.Read(block.bytes.get(), static_cast<unsigned int>(size));
        spill.read += block.end;
        break;
    }
    if (block.end == 0) {
        throw sysfileExp(EIO, stringEx("a temporary file lost what was written to it"));
    }
    return block;
}

CSpillQueue::SPILL CSpillQueue::__OpenSpill(const stringEx& folder) {
    SPILL spill;
    try {
        spill.file.OpenRaw(folder, CSysFile::ACCESS_BOTH, O_TMPFILE, 0, 0600, 0);
    } catch (const sysfileExp&) { // not every file system has files without a name
        stringEx name(folder);
        name.append("/.spill-").append_ulong(static_cast<unsigned long>(::getpid()), 10);
        spill.file.OpenRaw(name, CSysFile::ACCESS_BOTH, CSysFile::CREATE + O_EXCL, 0, 0600, 0);
        CDir::RemoveFile(name);
    }
    return spill;
}

void CSpillQueue::Clear() {
    __head.clear();
    __tail.clear();
    __spills.clear();
    __length = 0;
    __isInMemory = false;
}

} // namespace Quil::IMPL
