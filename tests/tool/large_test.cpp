// Inputs that don't fit: files above 4 GiB in 64 MB of memory, results that outgrow what may be
// held in memory, and reads that fail on the way.
#include "tests/tool/command.h"
#include "util/base/sanitizer.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr off_t FAR = (off_t{4} << 30) + (off_t{64} << 20);

class LargeTest : public CommandTest {
protected:
    /// A sparse file with some text at its begin and some behind 4 GiB.
    void WriteSparse(const std::string& name, const std::string& front, const std::string& end) {
        Write(name, front);
        const int file = open((folder / name).c_str(), O_WRONLY);
        ASSERT_EQ(pwrite(file, end.data(), end.size(), FAR), static_cast<ssize_t>(end.size()));
        close(file);
    }
    std::string ReadAt(const std::string& name, off_t place, std::size_t count) const {
        std::string text(count, '\0');
        const int file = open((folder / name).c_str(), O_RDONLY);
        const ssize_t got = pread(file, text.data(), count, place);
        close(file);
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        return text;
    }
};

TEST_F(LargeTest, AFileAboveFourGiBGoesThroughLittleMemory) {
    if (QUIL_SANITIZED) {
        GTEST_SKIP() << "a sanitizer reserves more addresses than the limit leaves";
    }
    memoryLimit = 64 << 20;
    WriteSparse("x", "front", "two needles, three needles");
    EXPECT_EQ(Tsub({"x", "-f:needle", "-t:long pin", "-trc"}).out,
              "\n## total replaced 2 matchs\n");
    EXPECT_EQ(ReadAt("x", 0, 6), std::string("front\0", 6));
    EXPECT_EQ(ReadAt("x", FAR, 100), "two long pins, three long pins");
}

TEST_F(LargeTest, AReadThatFailsLeavesTheFileOrSaysWhatThereIs) {
    const std::string old(600000, 'a');
    for (int n = 1; n <= 6; ++n) {
        Write("x.txt", "b" + old + "z");
        fault = "read " + std::to_string(n) + " 5";
        const Outcome outcome = Tsub({"x.txt", "-r:b|z", "-t:cc"});
        const bool isFailure = outcome.status != 0 || !outcome.err.empty();
        const std::string text = Read("x.txt");
        if (!isFailure) {
            EXPECT_GT(n, 3) << "each block is read at least once";
            EXPECT_TRUE(text == "cc" + old + "cc");
            continue;
        }
        EXPECT_TRUE(outcome.err.starts_with("[ERROR] ")) << outcome.err;
        if (text != "b" + old + "z") {
            EXPECT_NE(outcome.err.find("file state = new up to byte "), std::string::npos)
                << outcome.err;
        }
    }
}

/// What a text has grown by is more than may stay in memory: it goes through a file without a name,
/// and comes back whole.
TEST_F(LargeTest, AResultThatOutgrowsMemoryComesOutWhole) {
    const std::size_t count = 3 << 20;
    Write("x.txt", std::string(count, 'a') + "end");
    const std::string replacement(100, 'r');
    EXPECT_EQ(Tsub({"x.txt", "-f:a", "-t:" + replacement}).status, 0);
    ASSERT_EQ(fs::file_size(folder / "x.txt"), count * 100 + 3);
    const int file = open((folder / "x.txt").c_str(), O_RDONLY);
    std::string block(1000000, '\0');
    bool isRight = true;
    for (std::size_t done = 0; done < count * 100; done += block.size()) {
        const std::size_t part = std::min(block.size(), count * 100 - done);
        isRight = isRight && read(file, block.data(), part) == static_cast<ssize_t>(part) &&
                  std::all_of(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(part),
                              [](char c) { return c == 'r'; });
    }
    EXPECT_TRUE(isRight);
    EXPECT_EQ(read(file, block.data(), block.size()), 3);
    EXPECT_EQ(block.substr(0, 3), "end");
    close(file);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1)
        << "nothing is left beside the file";
}

} // namespace
