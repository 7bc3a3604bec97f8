// --careful: a tree with everything in it that must not be harmed.
#include "tests/tool/command.h"

#include <cstdlib>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

using Arguments = std::vector<std::string>;

TEST_F(CommandTest, ACarefulRunHarmsNothing) {
    const std::string state = folder.string() + ".state";
    environment.emplace_back("XDG_STATE_HOME", state.c_str());
    const std::string git = "cd " + folder.string() +
                            " && git init -q . && git -c user.name=a -c user.email=a commit -q "
                            "--allow-empty -m foo && git add -A && git -c user.name=a -c "
                            "user.email=a commit -q -m foo";
    Write("utf8.txt", "foo caf\xC3\xA9\n");
    Write("latin1.txt", "foo caf\xE9\n");
    Write("gbk.txt", "foo \xC4\xE3\xBA\xC3\n");
    Write("spoilt.txt", "foo \xC3\xFF\xE4\xBD foo");
    const std::string picture = std::string("PNG\0foo", 7);
    Write("picture.png", picture);
    ASSERT_EQ(std::system(git.c_str()), 0);
    fs::create_symlink("nowhere", folder / "dangling");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);

    // The dangling link couldn't be looked into, which such a run ends with.
    const Outcome outcome = Tsub({"*", "-s", "-f:foo", "-t:bar", "--careful"});
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(outcome.err.rfind("[ERROR] can't look into: ", 0), 0U) << outcome.err;
    EXPECT_EQ(Read("utf8.txt"), "bar caf\xC3\xA9\n");
    EXPECT_EQ(Read("latin1.txt"), "bar caf\xE9\n");
    EXPECT_EQ(Read("gbk.txt"), "bar \xC4\xE3\xBA\xC3\n");
    EXPECT_EQ(Read("spoilt.txt"), "bar \xC3\xFF\xE4\xBD bar");
    EXPECT_EQ(Read("picture.png"), picture);
    EXPECT_EQ(std::system(("cd " + folder.string() + " && git fsck --strict 2>/dev/null").c_str()),
              0);
    EXPECT_EQ(Tsub({"--undo"}).status, 0);
    EXPECT_EQ(std::system(("cd " + folder.string() + " && git diff --quiet HEAD").c_str()), 0);
    fs::remove_all(state);
}

TEST_F(CommandTest, ACarefulRunTakesNothingAmissLightly) {
    Write("a.txt", "foo");
    Write("d/b.txt", "foo");
    const struct {
        Arguments arguments;
        const char* told; ///< null: the run is good
    } rows[] = {
        {{"a.txt", "n*", "-f:foo", "-t:x"}, "nothing is found by: n*"},
        {{"a.txt", "gone", "-f:foo", "-t:x"}, "nothing is found by: gone"},
        {{"a.txt", "-r:(", "-t:x"}, "bad expression: parentheses not balanced, at character 1"},
        {{"a.txt", "-f:foo", "-t:x", "-frcc"}, "switch -frcc isn't known; -frc is one"},
        {{"a.txt", "", "-f:foo", "-t:x"},
         "an empty pattern means all files of the folder; write "
         "\"*\" if that is meant"},
        {{"a.txt", "d", "-f:foo", "-t:foo"}, nullptr}, // as a shell expands "*"
    };
    const std::string state = folder.string() + ".state";
    environment.emplace_back("XDG_STATE_HOME", state.c_str());
    for (const auto& row : rows) {
        Arguments arguments(row.arguments);
        arguments.emplace_back("--careful");
        const Outcome outcome = Tsub(arguments);
        EXPECT_EQ(outcome.err,
                  row.told == nullptr ? "" : std::string("[FATAL ERROR] ") + row.told + "\n");
        EXPECT_EQ(outcome.status, row.told == nullptr ? 0 : 255);
        EXPECT_EQ(Read("a.txt") + Read("d/b.txt"), "foofoo");
    }
    // Charsets that differ: strict.
    Write("bad.txt", "foo\xFF");
    EXPECT_EQ(Tsub({"bad.txt", "-f:foo", "-t:x", "--to-code=gbk", "--careful"}).status, 255);
    EXPECT_EQ(Read("bad.txt"), "foo\xFF");
    fs::remove_all(state);
}

} // namespace
