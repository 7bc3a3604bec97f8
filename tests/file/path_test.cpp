// Path arithmetic by table, and the directories that the environment names.

#include "tests/file/temp_tree.h"

namespace {

using namespace Quil;
using TEST::ExpectParts;
using TEST::Failure;

class PathTest : public TEST::TempTree {
protected:
    using Operation = void (*)(stringEx&);
    static std::string Applied(Operation operation, const stringEx& path) {
        stringEx result(path);
        operation(result);
        return result.c_str();
    }
};

TEST_F(PathTest, FullPaths) {
    ::setenv("HOME", "/home/me", 1);
    const struct {
        const char* path;
        std::string full;
    } rows[] = {
        {"/a/b/../c/./", "/a/c/"},
        {"/..", "/"},
        {"/", "/"},
        {"//", "/"},
        {"/../../a", "/a"},
        {"/a/..", "/"},
        {"/a/b/.", "/a/b/"},
        {"/a/b/..", "/a/"},
        {"\\a\\b", "/a/b"},
        {"/a//b///", "/a/b/"},
        {"/a/notes.", "/a/notes."},
        {"/a/...", "/a/..."},
        {"/a/x..", "/a/x.."},
        {"a//b", _root + "a/b"},
        {"./a", _root + "a"},
        {".", _root},
        {"./", _root},
        {"~/x", "/home/me/x"},
        {"~/", "/home/me/"},
        {"~x", _root + "~x"},
        {"a/~/x", _root + "a/~/x"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Applied(CDir::ConvToFullPath, row.path), row.full) << row.path;
    }
}

TEST_F(PathTest, Parts) {
    std::filesystem::create_directory(_root + "dir.d");
    const struct {
        const char* path;
        const char* dir;
        const char* filename;
        const char* noExt;
        const char* ext;
        const char* pathNoExt;
        bool hasExt;
    } rows[] = {
        {"a/b.c.txt", "a/", "b.c.txt", "b.c", "txt", "a/b.c", true},
        {"a\\b.txt", "a/", "b.txt", "b", "txt", "a/b", true},
        {"b", "./", "b", "b", "", "b", false},
        {"x.y/b", "x.y/", "b", "b", "", "x.y/b", false},
        {"x.y/", "x.y/", "", "", "", "x.y/", false},
        {"x//", "x/", "", "", "", "x/", false},
        {"dir.d", "dir.d/", "dir.d", "dir", "d", "dir", true},
        {".profile", "./", ".profile", "", "profile", "", true},
        {"/b.", "/", "b.", "b", "", "/b", true},
        {"./b", "./", "b", "b", "", "./b", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Applied(CDir::GetPathDir, row.path), row.dir) << row.path;
        EXPECT_EQ(Applied(CDir::GetPathFilename, row.path), row.filename) << row.path;
        EXPECT_EQ(Applied(CDir::GetPathFilenameNoExt, row.path), row.noExt) << row.path;
        EXPECT_EQ(Applied(CDir::GetPathExt, row.path), row.ext) << row.path;
        EXPECT_EQ(Applied(CDir::GetPathNoExt, row.path), row.pathNoExt) << row.path;
        EXPECT_EQ(CDir::HasPathHadExt(row.path), row.hasExt) << row.path;
    }
    EXPECT_EQ(Applied(CDir::RemoveTailingDelimiter, "a/b/"), "a/b");
    EXPECT_TRUE(CDir::IsAbsolutePath("\\a"));
    EXPECT_TRUE(CDir::IsRelativePath("a"));
    EXPECT_FALSE(CDir::IsAbsolutePath("") || CDir::IsRelativePath(""));
}

TEST_F(PathTest, EmptyPathsAreRefused) {
    EXPECT_EQ(Failure<dirExp>([] { Applied(CDir::ConvToFullPath, ""); }),
              "2 CDir::ConvToFullPath - nothing to convert");
    EXPECT_EQ(Failure<dirExp>([] { Applied(CDir::GetPathDir, ""); }),
              "2 CDir::GetPathDir - nothing to match");
    EXPECT_EQ(Failure<dirExp>([] { Applied(CDir::GetPathFilename, ""); }),
              "2 CDir::GetPathFilename - nothing to match");
    EXPECT_EQ(Failure<dirExp>([] { CDir().Open(""); }), "2 CDir::Open - nothing to open");
}

TEST_F(PathTest, RelativeToADirectory) {
    const CDir base("/a/b/", false, true);
    const struct {
        const char* path;
        const char* absolute;
        const char* relative;
        const char* parent;
        bool isSub;
    } rows[] = {
        {"c", "/a/b/c", "c", "/a/b/", true},          {".", "/a/b/", "./", "/a/b/", true},
        {"../c/d", "/a/c/d", "../c/d", "/a/", false}, {"/x", "/x", "../../x", "/", false},
        {"/a/bc", "/a/bc", "../bc", "/a/", false},    {"/a/b", "/a/b", "../b", "/a/b/", true},
    };
    for (const auto& row : rows) {
        stringEx path(row.path);
        base.ToAbsolutePath(path);
        EXPECT_EQ(path, row.absolute);
        path = row.path;
        base.ToRelativePath(path);
        EXPECT_EQ(path, row.relative);
        EXPECT_EQ(base.GainCommonParent(row.path).GetPath(), row.parent);
        EXPECT_EQ(base.IsSubPath(row.path), row.isSub) << row.path;
    }
    const CDir parent("/a", false, true);
    EXPECT_TRUE(base < parent && parent > base && base <= base && !(parent <= base));
}

TEST_F(PathTest, OpeningChecksOrCreates) {
    const std::string text = Failure<dirExp>([] { CDir("none", false, false); });
    EXPECT_EQ(text, "0 CDir::Open - error open dir, not exist\n  dir to open         = " + _root +
                        "none/\n  current working dir = " + _root + "\n");
    EXPECT_EQ(CDir("none", false, true).GetPath(), Path("none/"));
    EXPECT_EQ(CDir("x/y/z", true).GetPath(), Path("x/y/z/"));
    EXPECT_TRUE(CDir::IsDirExist("x/y/z"));
    CDir dir("x");
    EXPECT_EQ(dir.GainDir("y").GetPath(), Path("x/y/"));
    dir.ChangeDir("..");
    EXPECT_EQ(dir.GetPath().c_str(), _root);
    CDir("x/y").SetPwd();
    EXPECT_EQ(CDir::GetPwd(), Path("x/y/"));
}

TEST_F(PathTest, DirectoriesOfTheEnvironment) {
    ::setenv("TMPDIR", "/somewhere", 1);
    EXPECT_EQ(CDir::GetTempDir(), "/somewhere/");
    ::unsetenv("TMPDIR");
    EXPECT_EQ(CDir::GetTempDir(), "/tmp/");

    const std::string oldPath = std::getenv("PATH");
    Put("p/tool", "1");
    Put("q/tool", "2");
    ::setenv("PATH", "/none:q:p/", 1);
    EXPECT_EQ(CDir::FindInPath("tool"), "q/tool");
    EXPECT_EQ(CDir::FindInPath("p/tool"), "p/tool");
    Put("tool");
    ::setenv("PATH", "/none::p", 1);
    EXPECT_EQ(CDir::FindInPath("tool"), "./tool");
    EXPECT_EQ(Failure<dirExp>([] { CDir::FindInPath("q"); }),
              "0 CDir::FindInPath - can't find file in path\n  file name         = q\n"
              "  environment path  = /none::p");
    ::setenv("PATH", oldPath.c_str(), 1);
}

} // namespace
