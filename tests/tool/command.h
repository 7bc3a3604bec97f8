// Runs the built command as a user would: in a folder of its own, with real files, arguments passed
// as bytes, a given standard input, and its output, diagnostics and exit status caught.
#pragma once

#include "util/text/stringEx.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

struct Outcome {
    int status; ///< as a shell sees it, or 256 plus the signal that ended the command
    std::string out;
    std::string err;
};

class CommandTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Runs the command in the test's folder; `locale` is the value of LC_ALL, unset for null.
    Outcome Tsub(const std::vector<std::string>& arguments, const std::string& input = "",
                 const char* locale = "C.UTF-8") const;

    void Write(const std::string& name, const std::string& content) const;
    std::string Read(const std::string& name) const;

    std::filesystem::path folder;
    unsigned long memoryLimit = 0; ///< bytes of addresses that the command may use; 0: no limit
    unsigned long fileLimit = 0;   ///< bytes that the command may write to one file; 0: no limit
    std::size_t blockSize = 0;     ///< bytes that the command reads at a time; 0: as many as ever
    std::string fault;             ///< what goes wrong in the command (tests/faults/faults.cpp)
    int outDescriptor = -1;        ///< where its output goes instead of into the outcome
    /// Variables of the command's environment beside LC_ALL; those with a null value are unset.
    std::vector<std::pair<const char*, const char*>> environment;
    bool asNobody = false; ///< the command runs as a user who owns nothing, if the test is root's
    bool errorsOnTerminal = false; ///< standard error is a terminal: `err` is what it shows

private:
    std::vector<Quil::stringEx> Prefix() const;
    std::vector<Quil::stringEx> Environment(const char* locale) const;
};
