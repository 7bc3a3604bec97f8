// All patterns go to the library at once: a shell that expands a pattern hands over thousands of
// names, and none of them may cost a listing of its folder.
#include "tool/file_list.h"

#include "tool/run.h"
#include "util/file/dir.h"
#include "util/text/CmdArgParser.h"

#include <iostream>

namespace Quil {
namespace {

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

/// Whether a pattern that found no file is a name that leads nowhere. A folder's name, or that of a
/// file which the run leaves alone, does lead somewhere.
bool IsMissingName(const stringEx& pattern) {
    stringEx name(pattern);
    if (!pattern.empty()) {
        CDir::GetPathFilename(name);
    }
    const bool isPlain =
        !name.empty() && name.find('*') == stringEx::npos && name.find('?') == stringEx::npos;
    return isPlain && !CDir::IsFileExist(pattern) && !CDir::IsDirExist(pattern);
}

} // namespace

bool BuildFileList(const CCmdArgParser& parser, Run& run) {
    const std::vector<stringEx> words = parser.GetNoneSwitches();
    std::vector<stringEx> patterns;
    patterns.reserve(words.size());
    for (const stringEx& word : words) {
        patterns.push_back(FromHere(word));
    }
    std::vector<unsigned int> counts;
    CDir(".").GetAllFiles(run.fileList, patterns, run.withSubDirs, !run.errStop, &counts,
                          &run.fifos);
    if (run.fileList.empty()) {
        std::cerr << "[FATAL ERROR] can't find the file(s)!\n";
        return false;
    }
    for (unsigned int i = 0; i < patterns.size(); ++i) {
        if (counts[i] == 0 && IsMissingName(patterns[i])) {
            std::cerr << "[ERROR] can't find the file: " << words[i] << "\n";
        }
    }
    return true;
}

} // namespace Quil
