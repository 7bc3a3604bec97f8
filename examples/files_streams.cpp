// Writes some files, finds them by a pattern, and reads one through a stream.
//
// Usage: files_streams FOLDER

#include "util/file/buffered_stream.h"
#include "util/file/dir.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <iostream>

using namespace Quil;

namespace {

constexpr unsigned int BLOCK_SIZE = 4096;

/// Lines in a file of any size, in the memory of two blocks.
unsigned long CountLines(const stringEx& path) {
    CSysFile file;
    file.Open(path, CSysFile::ACCESS_READ, 0, 0, 0, CSysFile::OPTION_SEQUENTIAL);
    const CBufferedSeekableSource<CSysFile> source(file, BLOCK_SIZE);
    unsigned long lines = 0;
    char block[BLOCK_SIZE];
    while (const unsigned int length = source.Read(block, sizeof block)) {
        lines += static_cast<unsigned long>(std::count(block, block + length, '\n'));
    }
    return lines;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2) {
        std::cerr << "usage: files_streams FOLDER\n";
        return 2;
    }
    try {
        const CDir folder(argv[1], true);
        folder.WriteSubFile("poem.txt", stringEx("a line\nanother\n"));
        folder.GainDir("old", true).WriteSubFile("draft.txt", stringEx("one\n"));
        folder.WriteSubFile("picture.raw", byteEx(64, 0xFF));

        std::vector<stringEx> found;
        folder.GetAllFiles(found, "*.txt", true);
        for (stringEx path : found) {
            const unsigned long lines = CountLines(path);
            folder.ToRelativePath(path);
            std::cout << path << ": " << lines << (lines == 1 ? " line\n" : " lines\n");
        }
        CDir::ReadFile(folder.GetPath() + "nothing.txt", found[0]);
        return 0;
    } catch (const qlExp& failure) {
        std::cerr << failure.GetErrString() << "\n";
        return 1;
    }
}
