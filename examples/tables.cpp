// Reads a table of comma-separated values row by row and writes another one.

#include "util/file/CFile.h"
#include "util/store/Csv.h"
#include "util/sys/errhdl.h"

#include <cstdio>
#include <iostream>

using namespace Quil;

int main() {
    try {
        const CCFileSource source{CCFile::Borrow(stdin)};
        CCFileSink sink{CCFile::Borrow(stdout)};
        CCsvReader reader(source);
        CCsvWriter writer(sink, {';', '"', false});
        CSV_ROW row;
        while (reader.Next(row)) { // a file of any size: one row is in memory
            row.insert(row.begin(), stringEx().append_ulong(reader.GetLine(), 10));
            writer.Append(row);
        }
        sink.Flush();
        return 0;
    } catch (const qlExp& failure) {
        std::cout << failure.GetErrString() << "\n";
        return 1;
    }
}
