// Open files: modes, positions, sharing among copies, locks between processes, mappings, and the
// words of their failures.

#include "tests/file/temp_tree.h"
#include "util/file/sysfile.h"
#include "util/sys/time.h"

#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Quil;
using TEST::ExpectParts;
using TEST::Failure;

class SysFile : public TEST::TempTree {
protected:
    CSysFile Opened(const std::string& name, unsigned long access = 2,
                    CSysFile::MODE mode = CSysFile::CREATE) {
        CSysFile file;
        file.Open(Path(name), access, mode, 0, 0666, 0);
        return file;
    }
    static bool IsOpenDescriptor(int descriptor) { return ::fcntl(descriptor, F_GETFD) != -1; }
};

TEST_F(SysFile, ModeBitsCombine) {
    Put("old", "content");
    Opened("old", 1, CSysFile::CREATE);
    EXPECT_EQ(Get("old"), "content");
    Opened("old", 1, CSysFile::CREATE + O_TRUNC);
    EXPECT_EQ(Get("old"), "");
    Opened("new", 1, CSysFile::CREATE + O_EXCL);
    EXPECT_TRUE(Has("new"));
    const std::string again =
        Failure<sysfileExp>([&] { Opened("new", 1, CSysFile::CREATE + O_EXCL); });
    ExpectParts(again, {"17 PosixOpenFile - failed open specified file\n"});
}

TEST_F(SysFile, FailedOpenSaysWhy) {
    Put("file");
    std::filesystem::create_directory(_root + "dir");
    Link("loop", "loop");
    const struct {
        std::string name;
        unsigned long access;
        const char* text;
    } rows[] = {
        {"none", 0, "\n  error code = 2\n  error desc = file dose not exists or can't be created"},
        {"file/x", 0, "\n  error code = 20\n  error desc = path is not a directory"},
        {"dir", 1, "the file is a directory and write permission is specified"},
        {"loop", 0, "a loop exists in symbolic links, or too many level of links"},
        {std::string(300, 'n'), 0, "file or path name is too long"},
    };
    for (const auto& row : rows) {
        ExpectParts(Failure<sysfileExp>([&] { Opened(row.name, row.access, 0); }), {row.text});
    }
    EXPECT_EQ(Failure<ioExp>([&] { Opened("file", 0, 0); }), "nothing thrown");
}

TEST_F(SysFile, ReadsWritesAndSeeks) {
    CSysFile file = Opened("f");
    EXPECT_EQ(file.Write("0123456789", 10), 10U);
    EXPECT_EQ(file.GetSize(), 10);
    file.SeekBegin(4);
    EXPECT_EQ(file.GetSize(), 10);
    EXPECT_EQ(file.GetCurrentPos(), 4);
    char room[20] = {};
    EXPECT_EQ(file.Read(room, 20), 6U);
    EXPECT_STREQ(room, "456789");
    EXPECT_EQ(file.Read(room, 20), 0U);
    file.SeekEnd(-3);
    file.SeekCurrent(1);
    EXPECT_EQ(file.GetCurrentPos(), 8);
    file.ResizeToCurrentPos();
    EXPECT_EQ(Get("f"), "01234567");
    ExpectParts(Failure<sysfileExp>([&] { file.SeekBegin(-1); }),
                {"22 PosixSeekFile", "the resulting file offset would be negative"});
    file.SeekBegin(CLongLongNative(5) << 30);
    file.ResizeToCurrentPos();
    EXPECT_EQ(file.GetSize(), CLongLongNative(5) << 30);
}

TEST_F(SysFile, FailuresOfAnOpenFileSayWhy) {
    Put("f", "x");
    CSysFile reader = Opened("f", 0, 0);
    char room[1];
    const auto message = [](auto action) { return Failure<sysfileExp>(action); };
    ExpectParts(message([&] { reader.Write("x", 1); }),
                {"9 CSysFile::Write - failed write file\n"});
    ExpectParts(message([&] { reader.ResizeToCurrentPos(); }),
                {"CSysFile::ResizeToCurrentPos - failed set the size of shared memory object\n",
                 "  resize to  = 0\n"});
    ExpectParts(message([&] { CSysFile().Read(room, 1); }), {"9 CSysFile::Read"});
    ExpectParts(message([&] { CSysFile().Flush(); }), {"9 CSysFile::Flush"});
    CSysFile full;
    full.Open("/dev/full", 1, 0, 0, 0, 0);
    ExpectParts(message([&] { full.Write("x", 1); }), {"28 CSysFile::Write", "no space left"});
    CSysFile directory;
    directory.Open(Path(""), 0, 0, 0, 0, 0);
    ExpectParts(message([&] { directory.Read(room, 1); }), {"21 CSysFile::Read"});
    ASSERT_EQ(::mkfifo((_root + "pipe").c_str(), 0600), 0);
    CSysFile pipe = Opened("pipe", 0, O_NONBLOCK);
    ExpectParts(message([&] { pipe.GetSize(); }),
                {"29 PosixSeekFile", "associated with a pipe, fifo, or socket"});
    ExpectParts(message([&] { pipe.Open(Path("pipe"), 0, O_NONBLOCK, 0, 0, 268435456); }),
                {"29 PosixOpenFile - failed set access advice\n"});
}

TEST_F(SysFile, CopiesShareOneDescriptorAndTheLastCloses) {
    Put("f", "abc");
    CSysFile file = Opened("f");
    const int next = ::dup(0);
    ::close(next);
    const int descriptor = next - 1;
    ASSERT_TRUE(IsOpenDescriptor(descriptor));
    CSysFile copy(file);
    file.SeekBegin(2);
    EXPECT_EQ(copy.GetCurrentPos(), 2);
    file.Close();
    EXPECT_TRUE(file.GetFileName().empty());
    EXPECT_TRUE(IsOpenDescriptor(descriptor));
    CSysFile second = copy.Duplicate();
    CSysFile third = copy.ReOpen(0, 0, 0);
    EXPECT_EQ(second.GetCurrentPos(), 2);
    EXPECT_EQ(third.GetCurrentPos(), 0);
    copy = CSysFile();
    EXPECT_FALSE(IsOpenDescriptor(descriptor));
    second.SeekBegin(1);

    CSysFile sharer(second);
    const int own = second.Disclaim();
    sharer.Close();
    EXPECT_TRUE(IsOpenDescriptor(own));
    ::close(own);
    EXPECT_EQ(second.Disclaim(), -1);

    Put("g", "abc");
    CSysFile broken = Opened("g");
    CSysFile alias(broken);
    ::close(alias.Duplicate().Disclaim());
    CSysFile closed = Opened("g");
    const int taken = CSysFile(closed).Disclaim();
    ::close(taken);
    EXPECT_EQ(Failure<sysfileExp>([&] { closed.Close(); }), "nothing thrown");
}

TEST_F(SysFile, FailedCloseIsReported) {
    Put("f");
    const int expected = ::dup(0);
    ::close(expected);
    CSysFile file = Opened("f");
    ::close(expected);
    ExpectParts(Failure<sysfileExp>([&] { file.Close(); }),
                {"9 ", "  sys error  = 9\n  error desc = invalid file descriptor"});
    EXPECT_FALSE(file.IsOpen());
}

TEST_F(SysFile, TimesAreSetAndReadInMicroseconds) {
    CSysFile file = Opened("f");
    const CTime early(-1500001);
    const CTime late(1260664205000123);
    file.SetTime(nullptr, &late, &early);
    file.SetTime(nullptr, nullptr, nullptr);
    CTime created;
    CTime accessed;
    CTime modified;
    file.GetTime(&created, &accessed, nullptr);
    file.GetTime(nullptr, nullptr, &modified);
    EXPECT_TRUE(created == tmINV && accessed == late && modified == early);
    file.Close();
    ExpectParts(Failure<sysfileExp>([&] { file.GetTime(nullptr, nullptr, nullptr); }),
                {"9 CSysFile::GetTime - failed retrive the file status\n  file path  = \n"});
}

TEST_F(SysFile, TimesBeyondTheRangeGiveTheEndsOfIt) {
    if (::access("/dev/shm", W_OK) != 0) {
        GTEST_SKIP() << "no file system in memory here, which keeps whatever times it is given";
    }
    const stringEx path("/dev/shm/quil-times-" + CLongLongNative(::getpid()).ToString(10));
    CSysFile extreme;
    extreme.Open(path, 2, CSysFile::CREATE, 0, 0600, 0);
    const timespec times[2] = {{time_t{1} << 55, 0}, {-(time_t{1} << 55), 0}};
    EXPECT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    ::unlink(path.c_str());
    CTime accessed;
    CTime modified;
    extreme.GetTime(nullptr, &accessed, &modified);
    EXPECT_TRUE(accessed == tmMAX && modified == tmMIN);
}

TEST_F(SysFile, StandardStreamsAreNeverClosed) {
    {
        CSysFile stream;
        stream.Open(CSysFile::CONSOLE_OUTPUT);
        CSysFile copy(stream);
        EXPECT_TRUE(copy.GetFileName().empty());
    }
    EXPECT_TRUE(IsOpenDescriptor(1));
}

TEST_F(SysFile, DescriptorsEndAtExec) {
    Put("f");
    const CSysFile file = Opened("f");
    const CSysFile duplicate = file.Duplicate();
    const std::string command = "ls -l /proc/self/fd | grep -c " + _root + "f > " + _root + "n";
    EXPECT_NE(std::system(command.c_str()), -1);
    EXPECT_EQ(Get("n"), "0\n");
}

TEST_F(SysFile, LocksKeepOtherProcessesOut) {
    Put("f", "0123456789");
    CSysFile file = Opened("f");
    file.Lock(0, 5, CSysFile::LOCK_EXCLUSIVE);
    file.Lock(5, 5, CSysFile::LOCK_SHARED);
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        CSysFile other = Opened("f");
        const bool excluded = !other.TryLock(4, 1, CSysFile::LOCK_SHARED) &&
                              other.TryLock(5, 0, CSysFile::LOCK_SHARED) &&
                              !other.TryLock(6, 1, CSysFile::LOCK_EXCLUSIVE);
        const char answer = excluded ? 'y' : 'n';
        bool told = ::write(ready[1], &answer, 1) == 1;
        other.Lock(0, 5, CSysFile::LOCK_EXCLUSIVE); // waits for the parent
        other.SeekBegin(0);
        char first = 0;
        told = told && other.Read(&first, 1) == 1;
        ::_exit(told && first == 'P' ? 0 : 1);
    }
    char answer = 0;
    EXPECT_EQ(::read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    file.Write("P", 1);
    file.UnLock(0, 5);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    ::close(ready[0]);
    ::close(ready[1]);

    CSysFile reader = Opened("f", 0, 0);
    ExpectParts(
        Failure<sysfileExp>([&] { reader.TryLock(3, 4, CSysFile::LOCK_EXCLUSIVE); }),
        {"9 PosixLockFile", "  from       = 3\n  length     = 4\n", "invalid file descriptor or "});
}

TEST_F(SysFile, ViewsShowAndChangeTheFile) {
    Put("f", "0123456789");
    const auto pageSize = static_cast<unsigned long>(::sysconf(_SC_PAGESIZE));
    CFileMapping::CView copy;
    {
        CFileMapping mapping(Path("f"), CFileMapping::ACCESS_BOTH);
        CFileMapping::CView view = mapping.CreateMapView(0, 10, CFileMapping::ACCESS_BOTH);
        copy = view;
    }
    std::memcpy(copy.GetAddress(), "ABC", 3);
    copy.Flush();
    EXPECT_EQ(Get("f"), "ABC3456789");

    CSysFile file = Opened("f");
    CFileMapping longer = file.MakeFileMapping(pageSize + 1, CFileMapping::ACCESS_BOTH, "shared");
    file.Close();
    EXPECT_EQ(longer.GetFileName(), "shared");
    CFileMapping::CView tail = longer.CreateMapView(pageSize, 1, CFileMapping::ACCESS_BOTH);
    static_cast<char*>(tail.GetAddress())[0] = 'Z';
    EXPECT_EQ(Get("f").back(), 'Z');

    CFileMapping::CView own =
        longer.CreateMapView(0, 1, CFileMapping::ACCESS_BOTH, nullptr, MAP_PRIVATE);
    static_cast<char*>(own.GetAddress())[0] = '?';
    EXPECT_EQ(Get("f")[0], 'A');

    ExpectParts(Failure<fmppExp>([&] { longer.CreateMapView(1, 1, CFileMapping::ACCESS_READ); }),
                {"22 SetupMapView - failed create file view\n  address arg = 0\n  size        = "
                 "0x1\n  protection  = 0x1\n  flags       = 0x1\n  error code  = 22\n",
                 "  error desc  = invalid size, address, or flags argument"});
    ExpectParts(Failure<fmppExp>([&] {
                    CFileMapping(Path("f"), CFileMapping::ACCESS_READ)
                        .CreateMapView(0, 1, CFileMapping::ACCESS_WRITE);
                }),
                {"13 SetupMapView", "access denied"});
    ExpectParts(Failure<fmppExp>([&] { CFileMapping(Path("none"), CFileMapping::ACCESS_READ); }),
                {"2 PosixOpenFile"});
}

} // namespace
