// A queue of bytes that stays small in memory however long it grows: what is beyond a limit lies in
// files that have no name.
//
// The bytes are, from the oldest to the newest, some blocks in memory, what lies in the files, and
// the blocks that are being filled. What complicates it: the disk that the first file is on may
// fill up, and then a second file takes the rest.
#pragma once

#include "util/file/sysfile.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>
#include <vector>

namespace Quil::IMPL {

/// Bytes in the order in which they came. Blocks that were emptied serve again. For one thread.
class CSpillQueue {
public:
    /// @param folder where the first file is made; the second one lies in the temporary folder
    /// @param limit bytes in memory, about
    explicit CSpillQueue(const stringEx& folder, std::uint64_t limit = sm_limit)
        : __folder(folder), __limit(limit) {
        __folder.detach_if_static();
        __spares.reserve(sm_spares); // so that what takes bytes away needs no memory
    }

    bool IsEmpty() const { return __length == 0; }
    std::uint64_t GetLength() const { return __length; }

    /// Puts bytes behind the others. Where no file takes what is too much it stays in memory.
    /// Throws std::bad_alloc.
    void Append(const char* bytes, std::size_t count);
    /// The oldest bytes, as many as lie together: none only if the queue is empty.
    std::string_view Front() const;
    /// Takes the oldest `count` bytes away, at most those of `Front`. Throws `sysfileExp` when the
    /// next ones can't be read back.
    void Pop(std::size_t count);
    /// Drops all bytes, and the files.
    void Clear();

private:
    static constexpr std::size_t sm_block = std::size_t{128} << 10;
    static constexpr std::uint64_t sm_limit = std::uint64_t{256} << 20;
    static constexpr std::size_t sm_spares = 4;

    struct BLOCK {
        std::unique_ptr<char[]> bytes;
        std::size_t begin = 0;
        std::size_t end = 0;
    };
    /// A file, and which of its bytes wait in it.
    struct SPILL {
        CSysFile file;
        std::uint64_t read = 0;
        std::uint64_t written = 0;
    };

    BLOCK __NewBlock();
    void __Recycle(BLOCK block);
    BLOCK& __LastBlock();
    bool __HasSpilled() const;
    bool __Spill(BLOCK& block);
    static void __WriteTo(SPILL& spill, std::string_view bytes);
    void __Advance();
    BLOCK __ReadBack();
    static SPILL __OpenSpill(const stringEx& folder);

    stringEx __folder;
    std::uint64_t __limit;
    std::uint64_t __length = 0;
    std::deque<BLOCK> __head;  ///< in front of what has spilled
    std::deque<BLOCK> __tail;  ///< behind it; the last one is being filled
    bool __isInMemory = false; ///< no file took what is too much
    std::vector<BLOCK> __spares;
    std::vector<SPILL> __spills;
};

} // namespace Quil::IMPL
