// Files and directories as a whole: what is read, written, copied, moved and removed, and what is
// left when it fails.

#include "tests/file/temp_tree.h"

#include <csignal>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace Quil;
using TEST::ExpectParts;
using TEST::Failure;

class WholeFile : public TEST::TempTree {};

TEST_F(WholeFile, WritesAndReadsBack) {
    CDir::WriteFile("f", stringEx("abc"), false, false);
    CDir::WriteFile("f", stringEx("de"), true, true);
    EXPECT_EQ(Get("f"), "abcde");
    CDir::WriteFile("f", stringEx("x"), false, false);
    EXPECT_EQ(Get("f"), "x");
    CDir::WriteFile("f", btEMPTY, false, false);
    EXPECT_EQ(Get("f"), "");
    stringEx text("old");
    CDir::ReadFile("f", text);
    EXPECT_TRUE(text.empty());

    const wstringEx wide(L"a\U0001F600");
    CDir::WriteFile("w", wide, false, false);
    EXPECT_EQ(Get("w").size(), 8U);
    CDir::WriteFile("w", stringEx("odd"), false, true);
    wstringEx back;
    CDir::ReadFile("w", back);
    EXPECT_EQ(back, wide);
    EXPECT_EQ(back.c_str()[2], L'\0');

    std::string all;
    for (int i = 0; i < 70000; ++i) {
        all += static_cast<char>(i * 7);
    }
    Put("bytes", all);
    byteEx bytes;
    CDir::ReadFile("bytes", bytes);
    ASSERT_EQ(bytes.length(), all.size());
    EXPECT_EQ(std::memcmp(bytes.data(), all.data(), all.size()), 0);
    stringEx path("bytes");
    CDir::ReadFile(path, path);
    EXPECT_EQ(path.length(), all.size());
    CDir::WriteFile("copy", path, false, false);
    EXPECT_EQ(Get("copy"), all);
}

TEST_F(WholeFile, FailedReadsAndWritesSayWhy) {
    byteEx data;
    const auto read = [&](const char* name) { CDir::ReadFile(name, data); };
    EXPECT_EQ(Failure<dirExp>([&] { read(""); }), "2 CDir::ReadFile - read what ?");
    EXPECT_EQ(Failure<dirExp>([&] { CDir::WriteFile("", data); }),
              "2 CDir::WriteFile - write what ?");
    ExpectParts(Failure<sysfileExp>([&] { read("none"); }), {"2 PosixOpenFile"});
    std::filesystem::create_directory(_root + "dir");
    ExpectParts(Failure<sysfileExp>([&] { CDir::WriteFile("dir", data); }), {"21 PosixOpenFile"});
    ExpectParts(Failure<ioExp>([&] { read("dir"); }), {" - "});
    // A FIFO isn't opened: who writes to it would take that for a reader that soon goes away.
    ASSERT_EQ(::mkfifo("pipe", 0600), 0);
    std::thread writer([] {
        const int end = ::open("pipe", O_WRONLY);
        EXPECT_EQ(::write(end, "kept", 4), 4);
        ::close(end);
    });
    ExpectParts(Failure<sysfileExp>([&] { read("pipe"); }), {"29 PosixSeekFile"});
    ExpectParts(Failure<sysfileExp>([&] { CDir::WriteFile("pipe", data); }), {"29 PosixSeekFile"});
    ExpectParts(Failure<dirExp>([] { CDir::DuplicateDir(".", "../copy_of_fifo", false); }),
                {"29 CDir::DuplicateDir"});
    std::filesystem::remove_all("../copy_of_fifo");
    EXPECT_FALSE(CDir(_root.c_str()).VersionBackup("pipe", 1, false));
    char text[8] = {};
    const int reader = ::open("pipe", O_RDONLY);
    EXPECT_EQ(::read(reader, text, sizeof text), 4);
    ::close(reader);
    writer.join();
    // A device can't be given a size: it is refused while nothing is written.
    ExpectParts(Failure<sysfileExp>([] { CDir::WriteFile("/dev/full", stringEx("x")); }),
                {"22 CSysFile::ResizeToCurrentPos", "\n  file state = the old content stands"});
    Put("huge");
    std::filesystem::resize_file(_root + "huge", std::uintmax_t{5} << 30);
    ExpectParts(Failure<dirExp>([&] { read("huge"); }),
                {"27 CDir::ReadFile - file is too large to be read as a whole\n",
                 "  file size  = 5368709120\n"});
}

TEST_F(WholeFile, NoRoomForMoreLeavesTheOldContentWhole) {
    Put("f", "old content");
    Put("larger", std::string(200000, 'l'));
    byteEx large;
    large.resize(100000);
    rlimit old = {};
    ::getrlimit(RLIMIT_FSIZE, &old);
    const auto oldSignal = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {50000, old.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    const std::string overwrite = Failure<sysfileExp>([&] { CDir::WriteFile("f", large); });
    const std::string append =
        Failure<sysfileExp>([&] { CDir::WriteFile("f", large, false, true); });
    const std::string shorter = Failure<sysfileExp>([&] { CDir::WriteFile("larger", large); });
    const std::string created = Failure<sysfileExp>([&] { CDir::WriteFile("new", large); });
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldSignal);
    ExpectParts(overwrite, {"27 CSysFile::ReserveRoom - failed reserve room for the file\n",
                            "\n  file state = the old content stands"});
    ExpectParts(append, {"27 CSysFile::ReserveRoom"});
    ExpectParts(shorter, {"27 CSysFile::ReserveRoom"});
    EXPECT_EQ(Get("f"), "old content");
    EXPECT_EQ(Get("larger"), std::string(200000, 'l'));
    // A short write is not taken for a whole one: the call behind it tells.
    ExpectParts(created, {"27 CSysFile::Write - failed write file\n"});
    EXPECT_EQ(Get("new"), "");
}

TEST_F(WholeFile, FullDeviceLeavesTheOldContentWhole) {
    std::filesystem::create_directory("small");
    if (::mount("tmpfs", "small", "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "no right to mount a small file system";
    }
    Put("small/f", "old content");
    Put("small/holes", "h");
    std::filesystem::resize_file(_root + "small/holes", 100000);
    const std::string holes = Get("small/holes");
    byteEx large;
    large.resize(100000);
    const std::string overwrite = Failure<sysfileExp>([&] { CDir::WriteFile("small/f", large); });
    const std::string content = Get("small/f");
    const std::string filled = Failure<sysfileExp>([&] { CDir::WriteFile("small/holes", large); });
    const bool holesStand = Get("small/holes") == holes;
    large.resize(50000); // what was refused must not have kept its room
    const std::string fitting = Failure<sysfileExp>([&] { CDir::WriteFile("small/f", large); });
    ::umount("small");
    ExpectParts(overwrite, {"28 CSysFile::ReserveRoom", "no space left on the device"});
    EXPECT_EQ(content, "old content");
    ExpectParts(filled, {"28 CSysFile::ReserveRoom", "the old content stands"});
    EXPECT_TRUE(holesStand);
    EXPECT_EQ(fitting, "nothing thrown");
}

TEST_F(WholeFile, CopiesFiles) {
    const std::string content(600000, 'c');
    Put("from", content);
    Put("to", "old");
    ExpectParts(Failure<dirExp>([] { CDir::DuplicateFile("from", "to", false, false); }),
                {"17 CDir::DuplicateFile - error copy file, dest already exists\n"
                 "  source file       = from\n  destination file  = to"});
    EXPECT_EQ(Get("to"), "old");
    CDir::DuplicateFile("from", "to", true, true);
    EXPECT_EQ(Get("to"), content);
    Put("short", "s");
    CDir::DuplicateFile("short", "to", true, false);
    EXPECT_EQ(Get("to"), "s");
    CDir::DuplicateFile("to", "to", true, false);
    EXPECT_EQ(Get("to"), "s");
    ExpectParts(Failure<dirExp>([] { CDir::DuplicateFile("none", "x", false, false); }),
                {"2 CDir::DuplicateFile - error copy file\n  source file       = none\n"
                 "  destination file  = x\n@ PosixOpenFile"});
    ExpectParts(Failure<dirExp>([] { CDir::DuplicateFile("from", "/dev/full", true, false); }),
                {"28 CDir::DuplicateFile", "@ CSysFile::Write"});
}

TEST_F(WholeFile, MovesFiles) {
    Put("a", "A");
    Put("b", "B");
    ExpectParts(Failure<dirExp>([] { CDir::TransferFile("a", "b", false, false); }),
                {"17 CDir::TransferFile - error link file to the target path\n  from       = a\n"
                 "  to         = b\n",
                 "the target has been exist"});
    ExpectParts(Failure<dirExp>([] { CDir::TransferFile("none", "b", true, false); }),
                {"2 CDir::TransferFile", "source file does not exist"});
    CDir::TransferFile("a", "b", true, false);
    EXPECT_EQ(Get("b"), "A");
    EXPECT_FALSE(Has("a"));
    CDir::TransferFile("b", "./b", true, false);
    Link("b", "alias");
    CDir::TransferFile("alias", "b", true, false);
    EXPECT_EQ(Get("b"), "A");
    ExpectParts(Failure<dirExp>([] { CDir::TransferFile("b", "b/x", false, false); }),
                {"20 CDir::TransferFile - error link"});
    if (::access("/dev/shm", W_OK) == 0) { // another file system
        const CDir memory("/dev/shm");
        const stringEx other = memory.GenTempFileName();
        CDir::SetAttributes("b", 0640);
        const auto time = std::filesystem::last_write_time("b") - std::chrono::hours(9);
        std::filesystem::last_write_time("b", time);
        CDir::TransferFile("b", other, true, false);
        EXPECT_FALSE(Has("b"));
        Put("back", "old");
        CDir::TransferFile(other, "back", true, false);
        EXPECT_EQ(Get("back"), "A");
        EXPECT_EQ(CDir::GetAttributes("back"), 0640U);
        EXPECT_EQ(std::filesystem::last_write_time("back"), time);
        EXPECT_FALSE(CDir::IsFileExist(other));
    }
    // What is at the target stays until it is replaced.
    std::filesystem::create_directory("dir");
    Put("dir/x", "X");
    Put("from", "F");
    ExpectParts(Failure<dirExp>([] { CDir::TransferFile("from", "dir", true, false); }),
                {"21 CDir::TransferFile - error link"});
    EXPECT_EQ(Get("from") + Get("dir/x"), "FX");
    EXPECT_FALSE(CDir::TryTransferFile("none", "x", true, false, true));
    EXPECT_TRUE(CDir::TryTransferFile("alias", "moved", true, false, true) || Has("alias"));
}

TEST_F(WholeFile, RemovesFiles) {
    Put("a");
    CDir::RemoveFile("a");
    EXPECT_FALSE(Has("a"));
    EXPECT_EQ(Failure<dirExp>([] { CDir::RemoveFile("a"); }), "nothing thrown");
    EXPECT_TRUE(CDir::TryRemoveFile("a", true));
    Put("b", "x");
    CSysFile file;
    file.Open("b", 0, 0, 0, 0, 0);
    EXPECT_TRUE(CDir::TryRemoveFile(file, false));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(Has("b"));
    EXPECT_FALSE(CDir::TryRemoveFile("/proc/self/status", true));
    ExpectParts(Failure<dirExp>([] { CDir::RemoveFile("/proc/self/status"); }),
                {"1 CDir::RemoveFile - failed remove file\n  file       = /proc/self/status\n"});
}

TEST_F(WholeFile, MakesDirectories) {
    CDir::MakeDir("a/b/c/", true);
    CDir::MakeDir("a/b", false);
    EXPECT_TRUE(CDir::IsDirExist("a/b/c"));
    Put("file");
    ExpectParts(Failure<dirExp>([] { CDir::MakeDir("x/y", false); }),
                {"2 CDir::MakeDir - failed making directory\n  dir to create = x/y\n"
                 "  is recursive  = false\n  error code    = 2\n  error desc    = a component of"});
    ExpectParts(Failure<dirExp>([] { CDir::MakeDir("file/y", true); }),
                {"20 CDir::MakeDir", "  is recursive  = true\n"});
    ExpectParts(Failure<dirExp>([] { CDir::MakeDir(""); }), {"2 CDir::MakeDir"});
    CDir::SetAttributes("file", 0755);
    EXPECT_EQ(CDir::GetAttributes("file"), 0755U);
    EXPECT_TRUE(CDir::IsFileExecutable("file"));
}

TEST_F(WholeFile, RemovesDirectories) {
    const auto plant = [&] {
        for (const char* name : {"d/f", "d/.h", "d/s/f", "d/s/.t/f", "keep/f"}) {
            Put(name);
        }
    };
    plant();
    const auto remove = [](bool subDirs, bool subFiles) {
        return Failure<dirExp>([&] { CDir::RemoveDir("d", subDirs, subFiles); });
    };
    ExpectParts(remove(false, false), {"39 CDir::RemoveDir - failed remove specified directory\n"
                                       "  dir to remove     = d/\n  remove sub dirs   = false\n"
                                       "  remove sub files  = false\n  error code        = 39\n"
                                       "  error desc        = not an empty directory"});
    EXPECT_TRUE(Has("d/f"));
    ExpectParts(remove(false, true), {"not an empty directory"});
    EXPECT_TRUE(!Has("d/f") && !Has("d/.h") && Has("d/s/f"));
    Link("../keep", "d/s/aside");
    Link("nowhere", "d/dangling");
    EXPECT_EQ(remove(true, true), "nothing thrown");
    EXPECT_FALSE(Has("d"));
    EXPECT_TRUE(Has("keep/f"));
    EXPECT_EQ(remove(true, true), "nothing thrown");
    Link("keep", "d");
    ExpectParts(remove(true, true), {"20 CDir::RemoveDir", "a component of the path is not"});
    EXPECT_TRUE(Has("keep/f"));
}

TEST_F(WholeFile, CopiesAndMovesDirectories) {
    for (const char* name : {"d/f", "d/.h", "d/s/f", "d/s/.t/g"}) {
        Put(name, name);
    }
    CDir::DuplicateDir("d", "flat", false, false, true, false);
    EXPECT_TRUE(Has("flat/f") && Has("flat/.h") && !Has("flat/s"));
    CDir::DuplicateDir("d", "dirs", false, true, false, false);
    EXPECT_TRUE(!Has("dirs/f") && Has("dirs/s/f") && Has("dirs/s/.t/g"));
    ExpectParts(Failure<dirExp>([] { CDir::DuplicateDir("d", "flat", false); }),
                {"17 CDir::DuplicateDir - failed copy dir\n", "  overwrite exist     = false\n",
                 "dest already exists"});
    ExpectParts(Failure<dirExp>([] { CDir::DuplicateDir("d", "d/inner", false); }),
                {"CDir::DuplicateDir - dir nesting found in recursive copy mode\n"});
    EXPECT_FALSE(Has("d/inner"));
    Link("s", "d/alias");
    ExpectParts(Failure<dirExp>([] { CDir::DuplicateDir("d", "alias_of_d/x"); }),
                {"nothing thrown"});
    EXPECT_EQ(Get("alias_of_d/x/alias/f"), "d/s/f");
    ExpectParts(Failure<dirExp>([] { CDir::DuplicateDir("d", "d/alias/x"); }), {"dir nesting"});
    Link("../d", "flat/d");
    ExpectParts(Failure<dirExp>([] { CDir::DuplicateDir("d", "flat/d/x"); }),
                {"CDir::DuplicateDir", "the target lies inside the source"});
    CDir::RemoveDir("d/x", true, true);
    Link("..", "d/s/up");
    ExpectParts(Failure<dirExp>([] { CDir::DuplicateDir("d", "endless"); }), {"a loop exists"});

    std::filesystem::create_directory("keep");
    ExpectParts(Failure<dirExp>([] { CDir::TransferDir("d", "d/s"); }),
                {"CDir::TransferDir - dir nesting found in recursive copy mode\n  source dir = "});
    Link("../d/s", "keep/into_d");
    ExpectParts(Failure<dirExp>([] { CDir::TransferDir("d", "keep/into_d/x"); }),
                {"CDir::TransferDir - dir nesting found in recursive copy mode\n"});
    Put("own/s/f");
    std::filesystem::create_directory("mounted");
    if (::mount("own/s", "mounted", nullptr, MS_BIND, nullptr) == 0) { // no path tells of this one
        const std::string nested = Failure<dirExp>([] { CDir::TransferDir("own", "mounted/x"); });
        ::umount("mounted");
        ExpectParts(nested, {"CDir::TransferDir", "the target lies inside the source"});
    }
    Put("moved/f", "mine");
    ExpectParts(Failure<dirExp>([] { CDir::TransferDir("d", "moved"); }),
                {"17 CDir::TransferDir - failed transfer dir\n", "the target has been exist"});
    EXPECT_EQ(Get("moved/f"), "mine");
    CDir::RemoveFile("moved/f");
    CDir::TransferDir("d", "moved");
    EXPECT_FALSE(Has("d"));
    EXPECT_EQ(Get("moved/s/.t/g"), "d/s/.t/g");
    EXPECT_EQ(std::filesystem::read_symlink(_root + "moved/s/up"), "..");
}

TEST_F(WholeFile, Links) {
    Put("f", "#!/bin/sh\nfor i; do echo \"<$i>\"; done; pwd\n");
    CDir::SetAttributes("f", 0755);
    CDir::MakeSymbolicLink("f", "soft");
    CDir::MakeHardLink("f", "hard");
    EXPECT_EQ(std::filesystem::read_symlink(_root + "soft"), "f");
    EXPECT_EQ(std::filesystem::hard_link_count(_root + "f"), 2U);
    ExpectParts(Failure<dirExp>([] { CDir::MakeSymbolicLink("f", "soft"); }),
                {"17 CDir::MakeSymbolicLink - failed create symbolic link\n"
                 "  old path     = f\n  new path     = soft\n",
                 "  error desc   = shortcut file already exists"});
    ExpectParts(Failure<dirExp>([] { CDir::MakeSymbolicLink("f", "none/x"); }),
                {"invalid shortcut path"});
    ExpectParts(Failure<dirExp>([] { CDir::MakeHardLink("f", "hard"); }),
                {"17 CDir::MakeHardLink", "  error number = 17\n", "the new path already exists"});

    std::filesystem::create_directory(_root + "wo'rk dir");
    CDir::MakeSymbolicLink(Path("f"), "script", "a 'b c'", "X=1\nY=2", Path("wo'rk dir"));
    EXPECT_NE(Get("script").find("#!/bin/sh\nX=1\nY=2\ncd '"), std::string::npos);
    EXPECT_EQ(CDir::GetAttributes("script"), 511U);
    EXPECT_NE(std::system("./script 'last one' > out"), -1);
    EXPECT_EQ(Get("out"), "<a>\n<b c>\n<last one>\n" + _root + "wo'rk dir\n");
    ExpectParts(Failure<dirExp>([&] { CDir::MakeSymbolicLink("f", "script", "x"); }),
                {"17 CDir::MakeSymbolicLink - failed create shell script\n",
                 "shortcut file already exists"});
    ExpectParts(
        Failure<dirExp>([&] { CDir::MakeSymbolicLink("f", "none/x", "x"); }),
        {"2 CDir::MakeSymbolicLink - failed create shell script\n", "invalid shortcut path"});
}

} // namespace
