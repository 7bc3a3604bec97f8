// Writes a small catalogue of books to an ISXF file and reads it back.
//
// The stream has no schema, so writer and reader agree on an order. What the writer adds later in
// place of the end mark of a book is stepped over by readers that don't know it yet.
//
// Usage: isxf_file FILE

#include "util/file/buffered_stream.h"
#include "util/store/ISXFReader.h"
#include "util/store/ISXFWriter.h"
#include "util/sys/errhdl.h"

#include <fcntl.h>
#include <iomanip>
#include <iostream>
#include <vector>

using namespace Quil;

namespace {

constexpr unsigned short FORMAT_VERSION = 1;
constexpr unsigned int BLOCK_SIZE = 4096;

struct BOOK {
    unsigned long id = 0;
    stringEx title;
    unsigned short year = 0; // 0: unknown, which takes a single byte of the file
    double price = 0;
    bool inPrint = false;
};

void Save(const stringEx& path, const std::vector<BOOK>& books) {
    CSysFile file;
    file.Open(path, CSysFile::ACCESS_WRITE, CSysFile::CREATE + O_TRUNC, 0, 0644, 0);
    CBufferedSeekableSink<CSysFile> sink(file, BLOCK_SIZE);
    CISXFWriter<TDataSink> writer(sink);
    writer.AppendVersion(FORMAT_VERSION);
    writer.AppendSize(books.size());
    for (const BOOK& book : books) {
        writer.AppendID(book.id);
        writer.AppendString(book.title);
        writer.AppendWord(book.year);
        writer.AppendFloat64(book.price);
        writer.AppendBool(book.inPrint);
        writer.AppendBlob(byteEx(64, 0xFF)); // a picture, say: new, and unknown to `Load`
        writer.AppendEofSeg();
    }
    sink.Flush();
}

std::vector<BOOK> Load(const stringEx& path) {
    CSysFile file;
    file.Open(path, CSysFile::ACCESS_READ, 0, 0, 0, CSysFile::OPTION_SEQUENTIAL);
    const CBufferedSeekableSource<CSysFile> source(file, BLOCK_SIZE);
    const CISXFReader<TDataSource> reader(source, source.GetSize());
    if (reader.GetVersion() != FORMAT_VERSION) {
        throw isxfExp(0, "isxf_file - the file is of another version");
    }
    std::vector<BOOK> books;
    for (unsigned long left = reader.GetSize(); left != 0; --left) {
        BOOK book;
        book.id = reader.GetID();
        reader.GetString(book.title);
        book.year = reader.GetWord();
        book.price = reader.GetFloat64();
        book.inPrint = reader.GetBool();
        while (!reader.NextIsEofSeg()) {
            reader.IgnoreNext();
        }
        reader.GetEofSeg();
        books.push_back(book);
    }
    return books;
}

void Print(const BOOK& book) {
    std::cout << book.id << ": " << book.title;
    if (book.year != 0) {
        std::cout << " (" << book.year << ")";
    }
    std::cout << ", " << std::fixed << std::setprecision(2) << book.price
              << (book.inPrint ? "" : ", out of print") << "\n";
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2) {
        std::cerr << "usage: isxf_file FILE\n";
        return 2;
    }
    try {
        Save(argv[1], {{0, "A Field Guide to Bytes", 1998, 24.5, true},
                       {7, "Silence, Collected", 0, 0, false}});
        for (const BOOK& book : Load(argv[1])) {
            Print(book);
        }
        return 0;
    } catch (const qlExp& failure) {
        std::cerr << failure.GetErrString() << "\n";
        return 1;
    }
}
