// Paths of any bytes, and searches by patterns in a tree that is made up: against a matcher that is
// as plain as can be.
#include "fuzz/FuzzInput.h"
#include "fuzz/TemporaryFolder.h"
#include "util/file/dir.h"
#include "util/sys/errhdl.h"

#include <set>
#include <string_view>
#include <vector>

using namespace Quil;

namespace {

stringEx Text(const std::string& bytes) {
    return {bytes.data(), static_cast<unsigned int>(bytes.size())};
}

bool Fits(std::string_view name, std::string_view pattern) {
    if (pattern.empty()) {
        return name.empty();
    }
    if (pattern[0] == '*') {
        return Fits(name, pattern.substr(1)) || (!name.empty() && Fits(name.substr(1), pattern));
    }
    return !name.empty() && (pattern[0] == '?' || pattern[0] == name[0]) &&
           Fits(name.substr(1), pattern.substr(1));
}

/// A name that a file can have, and that no part of a path is taken for.
std::string NameOf(std::string text) {
    for (char& c : text) {
        c = c == '/' || c == '\\' || c == '\0' || c == '~' ? '_' : c;
    }
    return text == "." || text == ".." ? "dots" : text;
}

void CheckArithmetic(const std::string& path) {
    stringEx full = Text(path);
    try {
        CDir::ConvToFullPath(full);
    } catch (const dirExp&) { // there is nothing, or no such home
        return;
    }
    stringEx again(full);
    CDir::ConvToFullPath(again);
    FUZZ::Require(again == full, "a full path stays as it is");
    FUZZ::Require(full.begin_with("/") && full.find("//") == stringEx::npos &&
                      full.find("/../") == stringEx::npos,
                  "a full path goes straight");
    stringEx directory(full);
    stringEx name(full);
    CDir::GetPathDir(directory);
    CDir::GetPathFilename(name);
    FUZZ::Require(stringEx(directory).append(name) == full || name.empty() ||
                      directory == stringEx(full).append("/"),
                  "a path is its directory and its name");
    if (!name.empty()) {
        stringEx bare(name);
        stringEx extension(name);
        CDir::GetPathFilenameNoExt(bare);
        CDir::GetPathExt(extension);
        FUZZ::Require(bare.length() + extension.length() <= name.length(),
                      "an extension is part of a name");
    }
    CDir here(CDir::GetPwd());
    stringEx relative(full);
    here.ToRelativePath(relative);
    here.ToAbsolutePath(relative);
    CDir::RemoveTailingDelimiter(relative);
    CDir::RemoveTailingDelimiter(full);
    FUZZ::Require(relative == full, "a relative path leads to the same place");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) try {
    static const FUZZ::CTemporaryFolder folder;
    FUZZ::CFuzzInput input(data, size);
    const bool isRecursive = input.Flag();
    const bool hidden = input.Flag();
    std::string pattern = NameOf(input.Text(12));
    std::set<std::string> expected;
    folder.Clear();
    const std::string folders[] = {"", "sub/", "sub/deep/", ".hid/"};
    for (const std::string& name : folders) {
        std::filesystem::create_directories("./" + name);
    }
    for (unsigned int count = input.Below(9); count != 0; --count) {
        const std::string& in = input.OneOf(folders);
        const std::string name = NameOf(input.Text(10));
        if (name.empty() || std::filesystem::exists(in + name)) {
            continue;
        }
        folder.Put(in + name, "");
        const bool isSeen = hidden || (name[0] != '.' && in[0] != '.');
        if (isSeen && (in.empty() || isRecursive) && Fits(name, pattern.empty() ? "*" : pattern)) {
            expected.insert(std::string(CDir::GetPwd().c_str()).append(in).append(name));
        }
    }
    std::vector<stringEx> found;
    CDir(CDir::GetPwd()).GetAllFiles(found, Text(pattern), isRecursive, hidden);
    std::set<std::string> names;
    for (const stringEx& path : found) {
        names.insert(path.c_str());
    }
    FUZZ::Require(names == expected && names.size() == found.size(),
                  "a search finds what fits, once");
    CheckArithmetic(input.Rest());
    return 0;
} catch (qlExp& failure) {
    FUZZ::Require(false, failure.GetErrString().c_str());
    return 0;
}
