// Pipes and the C library's files as sources and sinks.
#include "tests/file/temp_tree.h"
#include "util/file/CFile.h"
#include "util/file/Pipe.h"
#include "util/sys/Process.h"
#include "util/sys/errhdl.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace {

using namespace Quil;

std::string ReadAll(const TDataSource& source) {
    std::string all;
    char block[1000];
    while (const unsigned int count = source.Read(block, sizeof block)) {
        all.append(block, count);
    }
    return all;
}

TEST(Pipe, WhatGoesInComesOutAndItsEndIsSeen) {
    CPipe pipe;
    const std::string text(300000, 'x'); // more than a pipe holds
    std::thread writer([&] {
        EXPECT_EQ(pipe.GetSink().Write(text.data(), 300000), 300000U);
        pipe.GetSink().Close();
    });
    EXPECT_FALSE(pipe.GetSource().IsEOF());
    EXPECT_EQ(ReadAll(pipe.GetSource()), text);
    EXPECT_TRUE(pipe.GetSource().IsEOF());
    writer.join();
    pipe.GetSource().Close();
    EXPECT_FALSE(pipe.GetSource().IsValid());
    char byte = 0;
    EXPECT_EQ(TEST::CodeOf<fileExp>([&] { pipe.GetSource().Read(&byte, 1); }), unsigned{EBADF});
}

TEST(Pipe, NobodyReadingIsAFailureAndNoSignal) {
    CPipe pipe;
    pipe.GetSource().Close();
    EXPECT_EQ(TEST::CodeOf<fileExp>([&] { pipe.GetSink().Write("x", 1); }), unsigned{EPIPE});
    EXPECT_EQ(TEST::CodeOf<fileExp>([] { CPipeSink sink(-1); }), unsigned{EBADF});
}

TEST(Pipe, AProgramStandsAtItsOtherEnds) {
    PROCESS_START start{{"tr", "a-z", "A-Z"}};
    start.in.kind = start.out.kind = STREAM_TO::PIPE;
    CProcess process(start);
    {
        CPipeSink sink(process.GetInput());
        sink.Write("some text", 9);
    }
    process.CloseInput();
    EXPECT_EQ(ReadAll(CPipeSource(process.GetOutput())), "SOME TEXT");
    EXPECT_TRUE(process.Wait()->IsSuccess());
}

class CFileTest : public TEST::TempTree {};

TEST_F(CFileTest, IsASourceAndASinkOfOneFile) {
    const stringEx path = Path("file");
    EXPECT_EQ(TEST::CodeOf<fileExp>([&] { CCFile file(path, "r"); }), unsigned{ENOENT});
    CCFile file(path, "w+");
    CCFileSink sink(file);
    sink.Write("hello, world", 12);
    EXPECT_EQ(file.GetSize().Value(), 12) << "also what was held back";
    sink.SeekBegin(7);
    sink.Write("W", 1);
    const CCFileSource source(file);
    EXPECT_EQ(source.GetCurrentPos().Value(), 8) << "one position";
    source.SeekBegin(0);
    char text[5];
    EXPECT_EQ(source.Peek(text, 5), 5U);
    EXPECT_EQ(ReadAll(source), "hello, World");
    EXPECT_TRUE(source.IsEOF());
    EXPECT_EQ(TEST::CodeOf<fileExp>([&] { source.SeekBegin(-1); }), unsigned{EINVAL});
    CCFile full("/dev/full", "w");
    full.Write("x", 1);
    EXPECT_EQ(TEST::CodeOf<fileExp>([&] { full.Close(); }), unsigned{ENOSPC});
    EXPECT_EQ(TEST::CodeOf<fileExp>([&] { CCFile(path, "r").Write("x", 1); }), unsigned{EBADF});
}

} // namespace
