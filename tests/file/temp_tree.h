// A directory of its own for each test, made of real files, and small tools to look at them.

#pragma once

#include "tests/sys/message_of.h"
#include "util/file/dir.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

namespace Quil::TEST {

class TempTree : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = testing::TempDir() + "quil_file_XXXXXX";
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        // One folder further down, so that what a test finds in ".." is its own too.
        _around = std::filesystem::canonical(pattern).string();
        _root = _around + "/in/";
        std::filesystem::create_directory(_root);
        _before = std::filesystem::current_path();
        std::filesystem::current_path(_root);
    }
    void TearDown() override {
        std::filesystem::current_path(_before);
        std::filesystem::remove_all(_around);
    }

    stringEx Path(const std::string& name) const { return stringEx((_root + name).c_str()); }

    /// Creates the file, and the directories that it lies in.
    void Put(const std::string& name, const std::string& content = "") const {
        const std::filesystem::path path = _root + name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
    }
    std::string Get(const std::string& name) const {
        std::ifstream in(_root + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    bool Has(const std::string& name) const {
        return std::filesystem::symlink_status(_root + name).type() !=
               std::filesystem::file_type::not_found;
    }
    void Link(const std::string& target, const std::string& name) const {
        std::filesystem::create_symlink(target, _root + name);
    }
    /// The paths below the root, sorted, each followed by a blank.
    std::string Names(const std::vector<stringEx>& paths) const {
        std::vector<std::string> names;
        for (const stringEx& path : paths) {
            names.push_back(std::string(path.c_str()).substr(_root.size()));
        }
        std::sort(names.begin(), names.end());
        std::string all;
        for (const std::string& name : names) {
            all += name + " ";
        }
        return all;
    }

    std::string _root;

private:
    std::string _around;
    std::filesystem::path _before;
};

/// A check that fails when `text` lacks one of the parts.
inline void ExpectParts(const std::string& text, std::initializer_list<const char*> parts) {
    for (const char* part : parts) {
        EXPECT_NE(text.find(part), std::string::npos) << part << " is missing in:\n" << text;
    }
}

} // namespace Quil::TEST
