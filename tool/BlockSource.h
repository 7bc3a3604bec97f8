// An input that comes by blocks: a file or a pipe.
//
// A block begins with what was left of the one before. Who takes nothing of a block gets a larger
// one, so whoever needs the whole input gets it, and it alone costs memory of the input's size.
#pragma once

#include "tool/road/road.h"
#include "util/base/handle.h"
#include "util/file/sysfile.h"

#include <cstdint>
#include <memory>

namespace Quil {

/// Reads one input after the other. The block serves again. For one thread.
class CBlockSource {
public:
    /// Begins with a file of so many bytes, or fewer if it ends before. It must stay.
    void StartFile(CSysFile& file, std::uint64_t size);
    /// Begins with standard input. `last`, unless it is empty, is what stands for its end.
    void StartPipe(std::string_view last);

    /// Reads more, if there is more, and answers what there is. Throws `sysfileExp`; a pipe's
    /// failure is its end.
    BLOCK Next();
    /// The first bytes of the block have served.
    void Take(std::size_t count);

    /// Where the block begins.
    std::uint64_t GetPlace() const { return __place; }
    /// Begins the file anew at a place: what is still there isn't read again.
    void Restart(std::uint64_t place);

    /// Bytes that are read together.
    static std::size_t GetBlockSize();

private:
    void __Start();
    void __MakeRoom();
    void __ReadFile(std::size_t room);
    void __ReadPipe(std::size_t room);

    CSysFile* __file = nullptr; ///< null: the next one
    CSysFile __input;           ///< standard input
    std::string_view __last;
    std::uint64_t __size = 0;  ///< of the file
    std::uint64_t __place = 0; ///< in the input, of __begin
    std::unique_ptr<char, FreeDeletor<char>> __room;
    std::size_t __roomSize = 0;
    std::size_t __front = 0; ///< from here on the input's bytes are there
    std::size_t __begin = 0;
    std::size_t __end = 0;
    bool __isAtEnd = false;
    bool __isFresh = false; ///< the block wasn't answered yet
};

} // namespace Quil
