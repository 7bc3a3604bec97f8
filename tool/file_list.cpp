// All patterns go to the library at once: a shell that expands a pattern hands over thousands of
// names, and none of them may cost a listing of its folder. A list of names is no patterns: it is
// taken as it stands.
#include "tool/file_list.h"

#include "tool/advice.h"
#include "tool/run.h"
#include "util/file/SearchWatch.h"
#include "util/file/dir.h"
#include "util/sys/errhdl.h"
#include "util/text/CmdArgParser.h"

#include <algorithm>
#include <iostream>

namespace Quil {
namespace {

constexpr const char* VCS_NAMES[] = {".git", ".hg", ".svn", ".bzr", "CVS", "_darcs"};

/// What the run's options leave out.
class CListWatch final : public CSearchWatch {
public:
    explicit CListWatch(Run& run) : __run(run) {}

    bool Enters(const stringEx& base, const stringEx& folder, const stringEx& name) override {
        return Takes(base, folder, name);
    }

    bool Takes(const stringEx& base, const stringEx& folder, const stringEx& name) override {
        if (__run.excludeVcs && std::ranges::find(VCS_NAMES, name) != std::end(VCS_NAMES)) {
            return false;
        }
        return __run.excludes.empty() ||
               !IsExcluded(folder.substr(base.length(), stringEx::npos) + name, name);
    }

    bool PassesOver(const stringEx& path, const stringEx& cause) override {
        if (__run.skipBroken) {
            std::cerr << "[ERROR] can't look into: " << path << "\n@ " << cause << "\n";
            __run.hasPassedOver = true;
        }
        return __run.skipBroken;
    }

    void NoteFifo(const stringEx& path) override { __run.fifos.insert(path); }

    bool IsExcluded(const stringEx& path, const stringEx& name) const {
        return std::ranges::any_of(__run.excludes, [&](const stringEx& glob) {
            return path.wildcard_match(glob, 0, '?', '*', false) ||
                   name.wildcard_match(glob, 0, '?', '*', false);
        });
    }

private:
    Run& __run;
};

/// The pattern without "./" in front, which the library's patterns can't begin with. "./" by itself
/// becomes the empty pattern: all files here, as "folder/" is all files there.
stringEx FromHere(const stringEx& pattern) {
    unsigned int start = 0;
    while (pattern.substr_static(start, 2) == "./") {
        start += 2;
        while (pattern.substr_static(start, 1) == "/") {
            ++start;
        }
    }
    return pattern.substr(start, stringEx::npos);
}

bool HasWildcards(const stringEx& pattern) {
    return pattern.find('*') != stringEx::npos || pattern.find('?') != stringEx::npos;
}

/// Whether a pattern that found no file is a name that leads nowhere. A folder's name, or that of a
/// file which the run leaves alone, does lead somewhere.
bool IsMissingName(const stringEx& pattern) {
    stringEx name(pattern);
    if (!pattern.empty()) {
        CDir::GetPathFilename(name);
    }
    return !name.empty() && !HasWildcards(name) && !CDir::IsFileExist(pattern) &&
           !CDir::IsDirExist(pattern);
}

/// Appends what the patterns of the command line find. Answers which are names that lead nowhere.
std::vector<stringEx> AddPatterns(const std::vector<stringEx>& words, Run& run, CListWatch& watch) {
    std::vector<stringEx> patterns;
    patterns.reserve(words.size());
    for (const stringEx& word : words) {
        patterns.push_back(FromHere(word));
    }
    std::vector<unsigned int> counts;
    try {
        CDir(".").GetAllFiles(run.fileList, patterns, run.withSubDirs, !run.errStop, &counts,
                              &watch);
    } catch (const dirExp& obstacle) {
        ThrowAdvised(run, obstacle, "--skip-broken passes over what can't be looked into");
    }
    std::vector<stringEx> missing;
    for (unsigned int i = 0; i < counts.size(); ++i) {
        if (counts[i] == 0 &&
            (IsMissingName(patterns[i]) || (run.isCareful && HasWildcards(patterns[i])))) {
            missing.push_back(words[i]);
        }
    }
    return missing;
}

/// The names in a file or, for "-", in standard input, each with its end.
stringEx ReadNames(const stringEx& path) {
    byteEx bytes;
    if (path != "-") {
        CDir::ReadFile(path, bytes);
        return static_cast<stringEx>(bytes);
    }
    CSysFile input;
    input.Open(CSysFile::CONSOLE_INPUT);
    stringEx names;
    char block[1 << 16];
    while (const unsigned int count = input.Read(block, sizeof block)) {
        names.append(stringEx(block, count));
    }
    return names;
}

/// Appends the names that a list holds, as they stand.
void AddListed(Run& run, CListWatch& watch) {
    const stringEx names = ReadNames(run.filesFrom);
    const char end = run.endsByNull ? '\0' : '\n';
    for (unsigned int begin = 0; begin < names.length();) {
        const unsigned int found = names.find(end, begin);
        const unsigned int next = found == stringEx::npos ? names.length() : found;
        const stringEx name = names.substr(begin, next - begin);
        begin = next + 1;
        if (name.empty() ||
            watch.IsExcluded(name, name.substr(name.rfind('/') + 1, stringEx::npos))) {
            continue;
        }
        if (CDir::IsFifo(name)) {
            watch.NoteFifo(name);
        }
        run.fileList.push_back(name);
    }
}

} // namespace

bool BuildFileList(const CCmdArgParser& parser, Run& run) {
    std::vector<stringEx> words = parser.GetNoneSwitches();
    words.insert(words.end(), run.names.begin(), run.names.end());
    if (run.isGuarded && std::ranges::find(words, stEMPTY) != words.end()) {
        std::cerr << "[FATAL ERROR] an empty pattern means all files of the folder; write \"*\" if "
                     "that is meant\n";
        return false;
    }
    CListWatch watch(run);
    if (!run.filesFrom.empty()) {
        AddListed(run, watch);
    }
    const std::vector<stringEx> missing = AddPatterns(words, run, watch);
    if (run.fileList.empty()) {
        std::cerr << "[FATAL ERROR] can't find the file(s)!\n";
        Advise(run, run.withSubDirs ? "no file here or below has such a name"
                                    : "no file has such a name here; -s looks into folders, too");
        return false;
    }
    if (run.isCareful && !missing.empty()) {
        std::cerr << "[FATAL ERROR] nothing is found by: " << missing[0] << "\n";
        return false;
    }
    for (const stringEx& name : missing) {
        std::cerr << "[ERROR] can't find the file: " << name << "\n";
    }
    return true;
}

} // namespace Quil
