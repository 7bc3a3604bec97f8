// Temporary names, and dated copies beside a file: which ones stay, which one comes back, and what
// is never taken for one.

#include "temp_tree.h"
#include "util/sys/log.h"

#include <ctime>
#include <set>
#include <sstream>

namespace {

using namespace Quil;

class Backup : public TEST::TempTree {
protected:
    void SetUp() override {
        TempTree::SetUp();
        for (const char* const name :
             {"a@20200101_000001.txt", "a@20200101_000002.txt", "a@20200101_000003.txt"}) {
            Put(name, name);
        }
    }
    CDir Root() const { return CDir(_root.c_str()); }
    /// The names there, with "new" for the stamp of a copy made by the test itself.
    std::set<std::string> Present(const std::string& sub = "") const {
        constexpr std::size_t stampLength = 15;
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(_root + sub)) {
            std::string name = entry.path().filename().string();
            const std::size_t at = name.find("@20");
            if (at != std::string::npos && name.compare(at, 5, "@2020") != 0) {
                name.replace(at + 1, stampLength, "new");
            }
            names.insert(name);
        }
        return names;
    }
};
using NameSet = std::set<std::string>;

TEST_F(Backup, TheNewestStay) {
    Put("a.txt", "now");
    EXPECT_TRUE(Root().VersionBackup("a.txt", 2, true));
    EXPECT_EQ(Present(), (NameSet{"a.txt", "a@20200101_000003.txt", "a@new.txt"}));
    EXPECT_TRUE(Root().VersionBackup("a.txt", 0, false));
    EXPECT_EQ(Present(), (NameSet{"a.txt"}));
}

TEST_F(Backup, OneCopyASecond) {
    Put("b.txt", "now");
    std::time_t before = 0;
    do { // until a second holds both calls
        Root().VersionBackup("b.txt", 0, false);
        before = std::time(nullptr);
        EXPECT_TRUE(Root().VersionBackup("b.txt", 9, false));
        EXPECT_TRUE(Root().VersionBackup("b.txt", 9, false));
    } while (std::time(nullptr) != before);
    std::vector<stringEx> copies;
    EXPECT_EQ(Root().GetAllFiles(copies, "b@*.txt"), 1U);
}

TEST_F(Backup, OnlyAnExactStampMakesABackup) {
    const NameSet others = {"a@home.txt",
                            "a@20200101_0000011.txt",
                            "ab@20200101_000001.txt",
                            "a@x@20200101_000001.txt",
                            "a@20200101_000001.txt.old",
                            "a?.txt"};
    for (const std::string& name : others) {
        Put(name, name);
    }
    EXPECT_TRUE(Root().VersionBackup("a?.txt", 1, false));
    EXPECT_TRUE(Root().VersionBackup("a?.txt", 0, false));
    EXPECT_TRUE(Has("ab@20200101_000001.txt"));
    EXPECT_TRUE(Root().VersionBackup("a.txt", 0, false));
    EXPECT_EQ(Present(), others);
    EXPECT_FALSE(Root().TryRestoreLastVersion("a.txt"));
    EXPECT_EQ(Present(), others);
}

TEST_F(Backup, BesideTheFileAndWithoutExtension) {
    Put("sub.d/note", "text");
    EXPECT_TRUE(Root().VersionBackup("sub.d/note", 3, false));
    EXPECT_EQ(Present("sub.d"), (NameSet{"note", "note@new."}));
    Put("sub.d/note", "changed");
    EXPECT_TRUE(CDir(Path("sub.d")).TryRestoreLastVersion("note"));
    EXPECT_EQ(Present("sub.d"), (NameSet{"note"}));
    EXPECT_EQ(Get("sub.d/note"), "text");
}

TEST_F(Backup, KeepsWhatTheFileIs) {
    Put("c.txt", "secret");
    CDir::SetAttributes(Path("c.txt"), 0600);
    const auto time = std::filesystem::last_write_time("c.txt") - std::chrono::hours(9);
    std::filesystem::last_write_time("c.txt", time);
    Link("nowhere", "c@dangling.txt");
    EXPECT_TRUE(Root().VersionBackup("c.txt", 2, false));
    Put("c.txt", "changed");
    EXPECT_TRUE(Root().TryRestoreLastVersion("c.txt"));
    EXPECT_EQ(Get("c.txt"), "secret");
    EXPECT_EQ(CDir::GetAttributes(Path("c.txt")), 0600U);
    EXPECT_EQ(std::filesystem::last_write_time("c.txt"), time);
}

TEST_F(Backup, TheNewestComesBack) {
    Put("a.txt", "now");
    EXPECT_TRUE(Root().TryRestoreLastVersion("a.txt"));
    EXPECT_EQ(Get("a.txt"), "a@20200101_000003.txt");
    EXPECT_EQ(Present(), (NameSet{"a.txt", "a@20200101_000001.txt", "a@20200101_000002.txt"}));
}

TEST_F(Backup, FailuresAreAnsweredAndLogged) {
    std::ostringstream lines;
    const CLog::LogHandle log(new CLog(CLog::LEVEL_DEBUG));
    log->PushLogger(CLog::LoggerHandle(new CStreamLogger(lines)));
    CLog::SetGlobal(log);
    EXPECT_FALSE(Root().VersionBackup("missing.txt", 1, false));
    std::filesystem::create_directory(_root + "a.txt");
    EXPECT_FALSE(Root().VersionBackup("a.txt", 1, false));
    EXPECT_FALSE(Root().TryRestoreLastVersion("a.txt"));
    CLog::SetGlobal(CLog::LogHandle());
    EXPECT_EQ(Present().size(), 4U) << "a failure removed something";
    TEST::ExpectParts(lines.str(), {"(util.dir.backup)\nfailed remove backup file\n@ CDir::",
                                    "(util.dir.restore)\nfailed restore the backup file\n"});
    const std::string from = "  from = " + _root + "a@20200101_000003.txt\n";
    const std::string to = "  to   = " + _root + "a.txt\n@ CDir::";
    TEST::ExpectParts(lines.str(), {from.c_str(), to.c_str()});
}

TEST_F(Backup, TemporaryNames) {
    std::set<std::string> names;
    for (int i = 0; i < 100; ++i) {
        const std::string path = Root().GenTempFileName().c_str();
        const std::size_t digits = path.size() - _root.size() - std::string("ql.tmp").size();
        EXPECT_TRUE(path.starts_with(_root + "ql") && path.ends_with(".tmp")) << path;
        EXPECT_TRUE(digits >= 1 && digits <= 6) << path;
        EXPECT_EQ(path.find_first_not_of("0123456789ABCDEF", _root.size() + 2),
                  _root.size() + 2 + digits)
            << path;
        std::ofstream(path) << "taken";
        EXPECT_TRUE(names.insert(path).second) << path;
    }
    EXPECT_TRUE(CDir::GenTempFileNameInSysTempDir().begin_with(CDir::GetTempDir()));
    const CDir gone(Path("gone"), true);
    std::filesystem::remove(_root + "gone");
    EXPECT_EQ(TEST::Failure<dirExp>([&] { (void)gone.GenTempFileName(); }),
              "0 CDir::GenTempFileName - invalid obj, or the base dir has been removed\n"
              "  base dir = " +
                  _root + "gone/");
}

} // namespace
