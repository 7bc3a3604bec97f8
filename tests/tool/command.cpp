#include "tests/tool/command.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <iterator>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

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

void SetVariable(const char* name, const char* value) {
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
}

void Redirect(const fs::path& path, int flags, int to) {
    const int fd = open(path.c_str(), flags | O_CREAT, 0666);
    if (fd < 0 || dup2(fd, to) < 0) {
        _exit(126);
    }
    close(fd);
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
    const pid_t child = fork();
    if (child == 0) {
        Redirect(around / "stdin", O_RDONLY, STDIN_FILENO);
        Redirect(around / "stdout", O_WRONLY | O_TRUNC, STDOUT_FILENO);
        if (outDescriptor >= 0) {
            dup2(outDescriptor, STDOUT_FILENO);
        }
        Redirect(around / "stderr", O_WRONLY | O_TRUNC, STDERR_FILENO);
        if (errorsOnTerminal) {
            dup2(terminalEnd, STDERR_FILENO);
            close(terminalEnd);
            close(terminal);
        }
        SetVariable("LC_ALL", locale);
        for (const auto& [name, value] : environment) {
            SetVariable(name, value);
        }
        if (asNobody && geteuid() == 0) {
            constexpr unsigned int NOBODY = 65534;
            EXPECT_EQ(setgroups(0, nullptr) + setgid(NOBODY) + setuid(NOBODY), 0);
        }
        if (!fault.empty()) {
            SetVariable("TSUB_TEST_FAULT", fault.c_str());
            SetVariable("LD_PRELOAD", FAULTS_PATH);
            SetVariable("ASAN_OPTIONS", "verify_asan_link_order=0");
        }
        if (blockSize != 0) {
            SetVariable("TSUB_TEST_BLOCK", std::to_string(blockSize).c_str());
        }
        if (chdir(folder.c_str()) != 0) {
            _exit(126);
        }
        if (const rlimit limit{fileLimit, fileLimit}; fileLimit != 0) {
            setrlimit(RLIMIT_FSIZE, &limit);
        }
        if (const rlimit limit{memoryLimit, memoryLimit}; memoryLimit != 0) {
            setrlimit(RLIMIT_AS, &limit);
        }
        std::vector<char*> argv{const_cast<char*>(TSUB_PATH)};
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        execv(blockSize != 0 ? SMALL_BLOCKS_PATH : TSUB_PATH, argv.data());
        _exit(127);
    }
    std::string shown;
    if (errorsOnTerminal) {
        close(terminalEnd);
        shown = ReadTerminal(terminal);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status),
            Slurp(around / "stdout"), errorsOnTerminal ? shown : Slurp(around / "stderr")};
}

void CommandTest::Write(const std::string& name, const std::string& content) const {
    fs::create_directories((folder / name).parent_path());
    Spill(folder / name, content);
}

std::string CommandTest::Read(const std::string& name) const {
    return Slurp(folder / name);
}
