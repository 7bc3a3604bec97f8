#include "tests/tool/command.h"

#include "util/store/EnvMgr.h"
#include "util/sys/Process.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <pty.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace Quil;

namespace {

std::string Slurp(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Spill(const fs::path& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    ASSERT_TRUE(file.good()) << path;
}

/// All that a terminal is made to show, up to where nobody has it open any more.
std::string ReadTerminal(int terminal) {
    std::string shown;
    char buffer[512];
    for (ssize_t got = 0; (got = read(terminal, buffer, sizeof(buffer))) > 0;) {
        shown.append(buffer, static_cast<std::size_t>(got));
    }
    close(terminal);
    std::erase(shown, '\r'); // which it puts before each line feed
    return shown;
}

} // namespace

void CommandTest::SetUp() {
    std::string pattern = (fs::temp_directory_path() / "tsub-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    // The three streams stand beside the folder that the command works in, not inside it.
    folder = fs::path(pattern) / "in";
    fs::create_directory(folder);
}

void CommandTest::TearDown() {
    fs::remove_all(folder.parent_path());
}

Outcome CommandTest::Tsub(const std::vector<std::string>& arguments, const std::string& input,
                          const char* locale) const {
    const fs::path around = folder.parent_path();
    Spill(around / "stdin", input);
    int terminal = -1;
    int terminalEnd = -1;
    if (errorsOnTerminal) {
        EXPECT_EQ(openpty(&terminal, &terminalEnd, nullptr, nullptr, nullptr), 0);
    }
    if (asNobody) {
        fs::permissions(folder.parent_path(), fs::perms(0755));
        fs::permissions(folder, fs::perms(0755));
    }
    PROCESS_START start{Prefix()};
    start.arguments.emplace_back(blockSize != 0 ? SMALL_BLOCKS_PATH : TSUB_PATH);
    for (const std::string& argument : arguments) {
        start.arguments.emplace_back(argument.c_str());
    }
    start.environment = Environment(locale);
    start.folder = folder.c_str();
    start.in = {STREAM_TO::READ, (around / "stdin").c_str()};
    start.out = {STREAM_TO::WRITE, (around / "stdout").c_str()};
    start.err = {STREAM_TO::WRITE, (around / "stderr").c_str()};
    if (outDescriptor >= 0) {
        start.out = {STREAM_TO::DESCRIPTOR, {}, outDescriptor};
    }
    if (errorsOnTerminal) {
        start.err = {STREAM_TO::DESCRIPTOR, {}, terminalEnd};
    }
    CProcess process(start);
    std::string shown;
    if (errorsOnTerminal) {
        close(terminalEnd);
        shown = ReadTerminal(terminal);
    }
    const PROCESS_END& end = *process.Wait();
    return {end.signal == 0 ? end.code : 256 + end.signal,
            outDescriptor >= 0 ? "" : Slurp(around / "stdout"),
            errorsOnTerminal ? shown : Slurp(around / "stderr")};
}

/// The programs that start the command, each the next one: they bound it, and make it nobody's.
std::vector<stringEx> CommandTest::Prefix() const {
    std::vector<stringEx> prefix;
    if (memoryLimit != 0 || fileLimit != 0) {
        prefix.emplace_back("prlimit");
        for (const auto& [option, limit] :
             {std::pair("--as=", memoryLimit), std::pair("--fsize=", fileLimit)}) {
            if (limit != 0) {
                prefix.push_back(stringEx(option).append_ulong(limit, 10));
            }
        }
    }
    if (asNobody && geteuid() == 0) {
        for (const char* const word :
             {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"}) {
            prefix.emplace_back(word);
        }
    }
    if (!fault.empty()) { // of the command only
        prefix.emplace_back("env");
        prefix.push_back(stringEx("LD_PRELOAD=") + FAULTS_PATH);
    }
    return prefix;
}

/// What the command finds in its environment.
std::vector<stringEx> CommandTest::Environment(const char* locale) const {
    CEnvMgr all;
    const auto set = [&](const char* name, const char* value) {
        value != nullptr ? all.Set(name, value) : all.Unset(name);
    };
    set("LC_ALL", locale);
    for (const auto& [name, value] : environment) {
        set(name, value);
    }
    if (!fault.empty()) {
        set("TSUB_TEST_FAULT", fault.c_str());
        set("ASAN_OPTIONS", "verify_asan_link_order=0");
    }
    if (blockSize != 0) {
        set("TSUB_TEST_BLOCK", std::to_string(blockSize).c_str());
    }
    return all.GetList();
}

void CommandTest::Write(const std::string& name, const std::string& content) const {
    fs::create_directories((folder / name).parent_path());
    Spill(folder / name, content);
}

std::string CommandTest::Read(const std::string& name) const {
    return Slurp(folder / name);
}
