// Streams on files and on memory: positions with and without a block in between, what is written
// when, and what a failure leaves.

#include "tests/file/temp_tree.h"
#include "util/file/buffered_stream.h"
#include "util/file/generic_stream.h"
#include "util/file/misc_cmn.h"

#include <csignal>
#include <sys/resource.h>

namespace {

using namespace Quil;

class Stream : public TEST::TempTree {
protected:
    CSysFile Opened(const std::string& name) {
        CSysFile file;
        file.Open(Path(name), 2, CSysFile::CREATE, 0, 0666, 0);
        return file;
    }
    static std::string Next(const TDataSource& source, unsigned int size) {
        std::string text(size, '#');
        text.resize(source.Read(text.data(), size));
        return text;
    }
    static std::string Peeked(const TDataSource& source, unsigned int size) {
        std::string text(size, '#');
        text.resize(source.Peek(text.data(), size));
        return text;
    }
};

TEST_F(Stream, BufferedSourceReadsAhead) {
    Put("f", "0123456789");
    const CSysFile file = Opened("f");
    const CBufferedSeekableSource<CSysFile> source(file, 4);
    const struct {
        unsigned int size;
        const char* text;
        int position;
        int filePosition;
    } rows[] = {
        {0, "", 0, 0}, {1, "0", 1, 4}, {6, "123456", 7, 8}, {9, "789", 10, 10}, {5, "", 10, 10}};
    for (const auto& row : rows) {
        EXPECT_EQ(Next(source, row.size), row.text);
        EXPECT_EQ(source.GetCurrentPos(), row.position);
        EXPECT_EQ(file.GetCurrentPos(), row.filePosition);
    }
    EXPECT_TRUE(source.IsEOF());
    source.SeekBegin(8);
    EXPECT_EQ(Next(source, 1), "8");
    EXPECT_FALSE(source.IsEOF());
    source.SeekEnd(-10);
    Next(source, 1);
    source.SeekCurrent(0);
    EXPECT_EQ(source.GetCurrentPos(), 1);
    source.SeekCurrent(1); // also skips what was read ahead
    EXPECT_EQ(Next(source, 1), "5");
    source.SeekBegin(0);
    EXPECT_EQ(Peeked(source, 2), "01");
    EXPECT_EQ(source.GetCurrentPos(), 2);
    source.SeekBegin(0);
    Next(source, 1);
    EXPECT_EQ(Peeked(source, 1), "1");
    EXPECT_EQ(source.GetCurrentPos(), 3);
}

TEST_F(Stream, GenericSourceKeepsItsPositionWhenPeeking) {
    Put("f", "0123");
    const CGenericSeekableSource<CSysFile> source(Opened("f"));
    Next(source, 1);
    EXPECT_EQ(Peeked(source, 9), "123");
    EXPECT_EQ(source.GetCurrentPos(), 1);
    EXPECT_FALSE(source.IsEOF());
    EXPECT_EQ(Next(source, 9), "123");
    EXPECT_TRUE(source.IsEOF());
    const CSysFile closed;
    EXPECT_TRUE(!CGenericSeekableSource<CSysFile>(closed));
    EXPECT_TRUE(!CGenericSeekableSink<CSysFile>(closed));
    EXPECT_TRUE(!CBufferedSeekableSource<CSysFile>(closed, 1));
    EXPECT_TRUE(!CBufferedSeekableSink<CPeriodFile>(CPeriodFile(closed), 1));
}

TEST_F(Stream, BufferedSinkHoldsBackAtMostABlock) {
    {
        CBufferedSeekableSink<CSysFile> sink(Opened("f"), 8);
        sink.Write("0123456", 7);
        EXPECT_EQ(Get("f"), "");
        EXPECT_EQ(sink.GetSize(), 0);
        EXPECT_EQ(sink.GetCurrentPos(), 7);
        sink.Write("7", 1);
        EXPECT_EQ(Get("f"), "01234567");
        sink.Write(std::string(100, 'x').data(), 100);
        EXPECT_EQ(Get("f").size(), 108U);
        sink.Write("ab", 2);
        sink.SeekBegin(0);
        EXPECT_EQ(Get("f").size(), 110U);
        sink.Write("A", 1);
        sink.Flush();
        EXPECT_EQ(Get("f").substr(0, 2), "A1");
        sink.Write("B", 1);
    }
    EXPECT_EQ(Get("f").substr(0, 3), "AB2");
    {
        CBufferedSeekableSink<CPeriodFile> sink(CPeriodFile(Opened("g")), 0);
        sink.Write("now", 3);
        EXPECT_EQ(Get("g"), "now");
    }
}

TEST_F(Stream, FailedWriteOfABlockWritesNothingTwice) {
    rlimit old = {};
    ::getrlimit(RLIMIT_FSIZE, &old);
    const auto oldSignal = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {5, old.rlim_max};
    {
        CBufferedSeekableSink<CSysFile> sink(Opened("f"), 100);
        sink.Write("01234567", 8);
        ::setrlimit(RLIMIT_FSIZE, &small);
        EXPECT_THROW(sink.Flush(), sysfileExp);
        EXPECT_EQ(Get("f"), "01234");
        ::setrlimit(RLIMIT_FSIZE, &old);
    }
    EXPECT_EQ(Get("f"), "01234567");
    ::setrlimit(RLIMIT_FSIZE, &small);
    const auto leave = [&](bool unwinding) {
        CBufferedSeekableSink<CSysFile> sink(Opened("g"), 100);
        sink.Write("01234567", 8);
        if (unwinding) {
            throw std::runtime_error("first");
        }
    };
    EXPECT_THROW(leave(false), sysfileExp);
    EXPECT_THROW(leave(true), std::runtime_error);
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldSignal);
}

TEST_F(Stream, MemoryIsReadAndWrittenLikeAFile) {
    byteEx data;
    CGenericSeekableSink<CByteIO> sink((CByteIO(&data)));
    sink.SeekBegin(5);
    EXPECT_EQ(sink.Write("x", 1), 1U);
    const unsigned char padded[] = {0, 0, 0, 0, 0, 'x'};
    ASSERT_EQ(data.length(), 6U);
    EXPECT_EQ(std::memcmp(data.data(), padded, 6), 0);
    sink.SeekCurrent(-100);
    EXPECT_EQ(sink.GetCurrentPos(), 0);
    byteEx shared(data);
    sink.Write("ab", 2);
    EXPECT_EQ(shared[0], 0);
    sink.SeekEnd(0);
    for (int i = 0; i < 8; ++i) { // from itself, across moves of the block
        sink.Write(data.data(), data.length());
    }
    EXPECT_EQ(data.length(), 6U << 8);
    EXPECT_EQ(std::memcmp(data.data() + data.length() - 6, data.data(), 6), 0);
    sink.SeekBegin(byteEx::max_size());
    EXPECT_THROW(sink.Write("x", 1), std::bad_alloc);
    EXPECT_EQ(data.length(), 6U << 8);

    unsigned char foreign[] = "abc";
    byteEx view(foreign, 3, byteEx::NOT_OWNER());
    CByteIO(&view).Write("X", 1);
    EXPECT_EQ(foreign[0], 'a');
    EXPECT_EQ(view[0], 'X');

    const CGenericSeekableSource<CByteIO> source((CByteIO(&view)));
    EXPECT_EQ(Peeked(source, 2), "Xb");
    EXPECT_EQ(Next(source, 9), "Xbc");
    EXPECT_TRUE(source.IsEOF());
    source.SeekEnd(CLongLongNative(1) << 40);
    EXPECT_EQ(Next(source, 1), "");
    EXPECT_TRUE(source.IsEOF());
    EXPECT_FALSE(CGenericSeekableSource<CByteIO>(CByteIO()).IsValid());
}

TEST_F(Stream, LineEndsAreFoundAndThePositionIsKept) {
    const struct {
        std::string text;
        unsigned int limit;
        const char* end;
    } rows[] = {{"a\nb\r\n", 9, "\n"},
                {"a\r\nb", 9, "\r\n"},
                {"a\rb", 9, "\r"},
                {"a\r", 9, "\r"},
                {"ab", 9, ""},
                {"abc\n", 3, ""},
                {std::string(4095, 'x') + "\r\n", 9999, "\r\n"}};
    for (const auto& row : rows) {
        byteEx data(reinterpret_cast<const unsigned char*>(row.text.data()),
                    static_cast<unsigned int>(row.text.size()));
        const CGenericSeekableSource<CByteIO> source((CByteIO(&data)));
        EXPECT_EQ(DetectTxtFileEL(source, row.limit), row.end) << row.text;
        EXPECT_EQ(source.GetCurrentPos(), 0);
        wstringEx wide = stringEx(row.text.c_str()).to_wstr();
        byteEx bytes = wide;
        const CGenericSeekableSource<CByteIO> same((CByteIO(&bytes)));
        EXPECT_EQ(DetectWTxtFileEL(same, row.limit, false), stringEx(row.end).to_wstr());
        byteEx turned = wide.AdjustOnLE();
        const CGenericSeekableSource<CByteIO> other((CByteIO(&turned)));
        EXPECT_EQ(DetectWTxtFileEL(other, row.limit, true), stringEx(row.end).to_wstr());
    }
}

} // namespace
