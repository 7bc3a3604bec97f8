// Enumeration and searches on made trees: which names come, in which order, and what ends a search.

#include "tests/file/temp_tree.h"

namespace {

using namespace Quil;
using TEST::ExpectParts;
using TEST::Failure;

class Search : public TEST::TempTree {
protected:
    void SetUp() override {
        TempTree::SetUp();
        for (const char* name : {"a.txt", "b.c", ".hid", "x.txt/in.txt", "sub/s.txt",
                                 "sub/deep/d.txt", ".dot/h.txt", "sub/.dot/g.txt"}) {
            Put(name);
        }
    }
    std::string Files(const char* pattern, bool recursive = false, bool hidden = false) const {
        std::vector<stringEx> out;
        CDir(stringEx(_root.c_str())).GetAllFiles(out, pattern, recursive, hidden, false);
        return Names(out);
    }
    std::string Dirs(const char* pattern, bool recursive, bool hidden, bool dots = false) const {
        std::vector<stringEx> out;
        CDir(stringEx(_root.c_str())).GetAllSubDirs(out, pattern, recursive, hidden, dots, false);
        return Names(out);
    }
};

TEST_F(Search, FilesByPattern) {
    const struct {
        const char* pattern;
        bool recursive;
        bool hidden;
        const char* names;
    } rows[] = {
        {"", false, false, "a.txt b.c "},
        {"*", false, true, ".hid a.txt b.c "},
        {"*.txt", false, false, "a.txt "},
        {"?.*", false, false, "a.txt b.c "},
        {"a.txt", false, false, "a.txt "},
        {"A.TXT", false, false, ""},
        {"*.txt", true, false, "a.txt sub/deep/d.txt sub/s.txt x.txt/in.txt "},
        {"*.txt", true, true,
         ".dot/h.txt a.txt sub/.dot/g.txt sub/deep/d.txt sub/s.txt x.txt/in.txt "},
        {"sub/*.txt", false, false, "sub/s.txt "},
        {"sub\\*.txt", true, false, "sub/deep/d.txt sub/s.txt "},
        {"./sub/*", false, false, "sub/s.txt "},
        {"sub/../*.c", false, false, "b.c "},
        {"sub/", false, false, "sub/s.txt "},
        {"sub/deep/", true, false, "sub/deep/d.txt "},
        {"sub", true, false, ""},
        {"x.txt", false, false, ""},
        {"./*.txt", false, false, ""},
        {".", true, true, ""},
        {"..", true, true, ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Files(row.pattern, row.recursive, row.hidden), row.names) << row.pattern;
    }
    EXPECT_EQ(Files((_root + "sub/s*").c_str()), "sub/s.txt ");
    Put("sub/sub");
    EXPECT_EQ(Files("sub"), "sub/sub ");
}

TEST_F(Search, ResultsAreAppendedEachDirectoryAheadOfThoseBelow) {
    std::vector<stringEx> out{stringEx("first")};
    const CDir base(stringEx(_root.c_str()));
    EXPECT_EQ(base.GetAllFiles(out, "*.txt", true, false, false), 5U);
    ASSERT_EQ(out.size(), 5U);
    EXPECT_EQ(out[0], "first");
    EXPECT_EQ(out[1], Path("a.txt"));
    const auto position = [&](const char* name) {
        return std::find(out.begin(), out.end(), Path(name)) - out.begin();
    };
    EXPECT_LT(position("sub/s.txt"), position("sub/deep/d.txt"));
}

TEST_F(Search, SubDirectories) {
    EXPECT_EQ(Dirs("*", false, false), "sub x.txt ");
    EXPECT_EQ(Dirs("", false, true), ".dot sub x.txt ");
    EXPECT_EQ(Dirs("d*", true, false), "sub/deep ");
    EXPECT_EQ(Dirs("*", true, true), ".dot sub sub/.dot sub/deep x.txt ");
    EXPECT_EQ(Dirs(".*", false, false, true), ". .. ");
    EXPECT_EQ(Dirs("*", true, false, true),
              ". .. sub sub/. sub/.. sub/deep sub/deep/. sub/deep/.. x.txt x.txt/. x.txt/.. ");
    EXPECT_EQ(Dirs("sub/*", true, false), "sub/deep ");
    std::filesystem::create_directories(_root + "sub/sub/sub");
    EXPECT_EQ(Dirs("sub", true, false), "sub/sub sub/sub/sub ");
}

TEST_F(Search, ByExpression) {
    const CDir base(stringEx(_root.c_str()));
    std::vector<stringEx> out;
    base.GetAllFilesRegEx(out, "^[a-d]\\.(TXT|c)$", CDir::CASE_INSENSITIVE, true, true, false);
    EXPECT_EQ(Names(out), "a.txt b.c sub/deep/d.txt ");
    out.clear();
    EXPECT_EQ(base.GetAllFilesRegEx(out, "TXT", CDir::CASE_SENSITIVE, true, true, false), 0U);
    EXPECT_EQ(base.GetAllFilesRegEx(out, "(", CDir::CASE_SENSITIVE, true, true, false), 0U);
    base.GetAllSubDirsRegEx(out, "^(deep|x.*)$", CDir::CASE_SENSITIVE, true, false, false, false);
    EXPECT_EQ(Names(out), "sub/deep x.txt ");
}

TEST_F(Search, EntryByEntry) {
    const CDir base(stringEx(_root.c_str()));
    CDir::COOKIE files;
    CDir::COOKIE dirs;
    std::vector<stringEx> names;
    stringEx name;
    while (base.EnumFile(files, name, false)) {
        names.push_back(name);
        if (base.EnumSubDir(dirs, name, false, false)) { // a second enumeration goes its own way
            names.push_back(name);
        }
    }
    EXPECT_EQ(Names(names), "a.txt b.c sub x.txt ");
    EXPECT_TRUE(!files);
    EXPECT_TRUE(name.empty());
    const CDir gone(Path("gone"), false, true);
    EXPECT_FALSE(gone.EnumFile(files, name, false));
}

TEST_F(Search, ManyPatternsGiveWhatEachGives) {
    const CDir base(stringEx(_root.c_str()));
    const std::vector<stringEx> patterns{
        "*.c",   "sub/*",   "a.txt",      "gone",       "sub",       "",
        "*.txt", "./a.txt", "sub/../*.c", "sub/s.txt",  "*.c",       "a.txt",
        ".hid",  "x.txt",   ".",          "sub\\s.txt", "sub/deep/", ".//b.c"};
    for (const bool recursive : {false, true}) {
        for (const bool hidden : {false, true}) {
            std::vector<stringEx> each;
            std::vector<stringEx> all;
            std::vector<unsigned int> counts;
            std::vector<unsigned int> expected;
            for (const stringEx& pattern : patterns) {
                const std::size_t before = each.size();
                base.GetAllFiles(each, pattern, recursive, hidden, false);
                expected.push_back(static_cast<unsigned int>(each.size() - before));
            }
            EXPECT_EQ(base.GetAllFiles(all, patterns, recursive, hidden, &counts), each.size());
            EXPECT_TRUE(all == each) << recursive << hidden;
            EXPECT_EQ(counts, expected);
        }
    }
}

TEST_F(Search, ANameAloneIsAskedFor) {
    Link("nowhere", "sub/bad");
    Link("s.txt", "sub/link.txt");
    EXPECT_EQ(Files("sub/s.txt"), "sub/s.txt ");
    EXPECT_EQ(Files("sub/link.txt"), "sub/link.txt ");
    EXPECT_EQ(Files("sub/gone"), "");
    EXPECT_EQ(Files(("sub/" + std::string(300, 'n')).c_str()), "") << "no name is that long";
    EXPECT_EQ(Dirs("sub/deep", false, false), "") << "in a directory its own name is sought";
    std::filesystem::create_directories(_root + "sub/deep/deep");
    EXPECT_EQ(Dirs("sub/deep", false, false), "sub/deep/deep ");
    ExpectParts(Failure<dirExp>([&] { Files("sub/bad"); }),
                {"19 CDir::GetAllFiles", "sub/\n@ PosixStat", "path does not exists"});
    // A directory of that name where the process stands is not the file of that name here.
    Put("sub/x.txt");
    std::vector<stringEx> out;
    CDir("sub").GetAllFiles(out, "x.txt");
    EXPECT_EQ(Names(out), "sub/x.txt ");
}

TEST_F(Search, ALinkThatVanishesBehindTheListingIsPassedOver) {
    Put("file");
    std::filesystem::create_directories(_root + "folder");
    std::filesystem::create_directories(_root + "many");
    for (int i = 0; i < 20; ++i) {
        Link("../file", "many/f" + std::to_string(i));
        Link("../folder", "many/d" + std::to_string(i));
    }
    const CDir many("many");
    CDir::COOKIE files;
    CDir::COOKIE dirs;
    stringEx file;
    stringEx dir;
    // The first call of each reads the whole directory; the links are asked one by one.
    ASSERT_TRUE(many.EnumFile(files, file, false));
    ASSERT_TRUE(many.EnumSubDir(dirs, dir, false, false));
    std::filesystem::remove_all(_root + "many");
    EXPECT_FALSE(many.EnumFile(files, file, false)) << file.c_str();
    EXPECT_FALSE(many.EnumSubDir(dirs, dir, false, false)) << dir.c_str();
}

TEST_F(Search, DanglingLinkEndsTheSearch) {
    Link("nowhere", "sub/.bad");
    EXPECT_EQ(Files("*"), "a.txt b.c ");
    const std::string root = _root;
    EXPECT_EQ(Failure<dirExp>([&] { Files("sub/*"); }),
              "19 CDir::GetAllFiles - failed find files\n  base dir = " + root +
                  "sub/\n@ PosixStat - failed retrive the status of giving path\n  error code = "
                  "2\n  error desc = path does not exists\n  path       = " +
                  root + "sub/.bad");
    ExpectParts(Failure<dirExp>([&] { Files("*", true); }),
                {"19 CDir::GetAllFiles", "@ CDir::GetAllSubDirs - failed find subdirs\n",
                 "sub/\n@ PosixStat"});
    ExpectParts(Failure<dirExp>([&] { Dirs("*", true, false); }),
                {"19 CDir::GetAllSubDirs - failed find subdirs\n", "sub/\n@ PosixStat"});
    std::vector<stringEx> out;
    ExpectParts(Failure<dirExp>([&] { CDir(Path("gone"), false, true).GetAllFiles(out, "*"); }),
                {"19 CDir::GetAllFiles", "@ CDir::Open - error open dir, not exist\n"});
    ExpectParts(Failure<dirExp>([&] { Files("gone/*"); }), {"0 CDir::Open"});
}

TEST_F(Search, LinkToADirectoryAboveEndsADeepSearchAtOnce) {
    Link("..", "sub/up");
    Link(".", "sub/same");
    EXPECT_EQ(Files("sub/*"), "sub/s.txt ");
    for (const bool hidden : {false, true}) {
        ExpectParts(Failure<dirExp>([&] { Files("*", true, hidden); }),
                    {"19 ", "a loop exists in symbolic links, or too many links levels"});
    }
    ExpectParts(Failure<dirExp>([&] { Dirs("*", true, false); }), {"19 ", "a loop exists"});
}

TEST_F(Search, LinkToADirectoryAsideIsFollowed) {
    Link("../x.txt", "sub/aside");
    Link("a.txt", "alias.txt");
    EXPECT_EQ(Files("*.txt", true), "a.txt alias.txt sub/aside/in.txt sub/deep/d.txt sub/s.txt "
                                    "x.txt/in.txt ");
}

TEST_F(Search, DeepTreesNeedNeitherStackNorDescriptors) {
    std::string path = "deep";
    while (path.size() < 600) {
        path += "/d";
    }
    Put(path + "/end.txt");
    EXPECT_EQ(Files("end.txt", true), path + "/end.txt ");
}

TEST_F(Search, ManyEntries) {
    for (int i = 0; i < 1000; ++i) {
        Put("many/f" + std::to_string(i));
    }
    std::vector<stringEx> out;
    EXPECT_EQ(CDir("many").GetAllFiles(out, "f*9", false, false, false), 100U);
}

} // namespace
