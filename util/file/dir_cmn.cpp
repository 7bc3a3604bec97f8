// Path arithmetic of CDir, and the directories with a special meaning.

#include "util/file/dir.h"
#include "util/file/path/posix_dir.h"
#include "util/file/system/error_text.h"
#include "util/sys/errhdl.h"
#include "util/sys/misc.h"

#include <climits>
#include <unistd.h>

namespace Quil {

using IMPL::ComposeError;
using IMPL::NormalizePathName;
using IMPL::RefuseEmpty;

namespace {

constexpr unsigned int npos = stringEx::npos;

void CloseByDelimiter(stringEx& path) {
    if (!path.end_with("/")) {
        path += '/';
    }
}

/// The position behind the last "/", 0 without one.
unsigned int FilenamePos(const stringEx& path) {
    const unsigned int slash = path.rfind('/');
    return slash == npos ? 0 : slash + 1;
}

/// The position of the last "." in the last component, or npos.
unsigned int ExtensionDot(const stringEx& path) {
    const unsigned int dot = path.rfind('.');
    return dot != npos && dot >= FilenamePos(path) ? dot : npos;
}

/// Drops empty parts and ".", applies "..": the parts of `path`, each behind a "/".
stringEx ResolveParts(const stringEx& path) {
    stringEx full;
    full.reserve(path.length() + 2);
    for (unsigned int start = 0; start < path.length();) {
        const unsigned int slash = path.find('/', start);
        const unsigned int end = slash == npos ? path.length() : slash;
        const stringEx part = path.substr_static(start, end - start);
        start = end + 1;
        if (part == "..") {
            const unsigned int last = full.rfind('/');
            full.erase(last == npos ? 0 : last, npos);
        } else if (!part.empty() && part != ".") {
            full += '/';
            full += part;
        }
    }
    return full;
}

/// Whether a normalised path can only be a directory's.
bool NamesDirectory(const stringEx& path) {
    const stringEx last = path.substr_static(FilenamePos(path), npos);
    return last.empty() || last == "." || last == "..";
}

/// The length of the path that both have in common, up to and including a "/". Both end in "/".
unsigned int CommonLength(const stringEx& one, const stringEx& other) {
    unsigned int common = 0;
    for (unsigned int i = 0; i < one.length() && i < other.length() && one[i] == other[i]; ++i) {
        if (one[i] == '/') {
            common = i + 1;
        }
    }
    return common;
}

} // namespace

stringEx CDir::GetAllAcceptDirDelimiters() {
    return stringEx("\\/");
}

void CDir::ConvToFullPath(stringEx& path) {
    RefuseEmpty(path, "CDir::ConvToFullPath - nothing to convert");
    stringEx normal = NormalizePathName(path);
    const bool isDirectory = NamesDirectory(normal);
    if (normal.begin_with("~/")) {
        normal.replace(0, 2, GetHomeDir());
    } else if (!normal.begin_with("/")) {
        normal.insert(0, GetPwd());
    }
    stringEx full = ResolveParts(normal);
    if (isDirectory || full.empty()) {
        full += '/';
    }
    path = full;
}

void CDir::GetPathDir(stringEx& path) {
    RefuseEmpty(path, "CDir::GetPathDir - nothing to match");
    stringEx normal = NormalizePathName(path);
    if (normal.end_with("/") || IsDirExist(normal)) {
        CloseByDelimiter(normal);
    } else {
        normal.erase(FilenamePos(normal), npos);
    }
    path = normal.empty() ? stringEx("./") : normal;
}

void CDir::GetPathFilename(stringEx& path) {
    RefuseEmpty(path, "CDir::GetPathFilename - nothing to match");
    stringEx normal = NormalizePathName(path);
    normal.erase(0, FilenamePos(normal));
    path = normal;
}

void CDir::GetPathFilenameNoExt(stringEx& path) {
    GetPathFilename(path);
    if (const unsigned int dot = ExtensionDot(path); dot != npos) {
        path.erase(dot, npos);
    }
}

void CDir::GetPathExt(stringEx& path) {
    GetPathFilename(path);
    const unsigned int dot = ExtensionDot(path);
    path.erase(0, dot == npos ? path.length() : dot + 1);
}

void CDir::GetPathNoExt(stringEx& path) {
    stringEx normal = NormalizePathName(path);
    if (const unsigned int dot = ExtensionDot(normal); dot != npos) {
        normal.erase(dot, npos);
    }
    path = normal;
}

void CDir::RemoveTailingDelimiter(stringEx& path) {
    if (path.end_with("/")) {
        path.erase(path.length() - 1, npos);
    }
}

bool CDir::HasPathHadExt(const stringEx& path) {
    return ExtensionDot(NormalizePathName(path)) != npos;
}

bool CDir::IsAbsolutePath(const stringEx& path) {
    return NormalizePathName(path).begin_with("/");
}

bool CDir::IsRelativePath(const stringEx& path) {
    return !path.empty() && !IsAbsolutePath(path);
}

void CDir::ToAbsolutePath(stringEx& path) const {
    if (path.empty()) {
        return;
    }
    if (!IsAbsolutePath(path)) {
        path.insert(0, __path);
    }
    ConvToFullPath(path);
}

void CDir::ToRelativePath(stringEx& path) const {
    if (path.empty()) {
        return;
    }
    ToAbsolutePath(path);
    const unsigned int common = CommonLength(__path, path);
    stringEx relative;
    for (unsigned int i = common; i < __path.length(); ++i) {
        if (__path[i] == '/') {
            relative += "../";
        }
    }
    relative.append(path, common, npos);
    path = relative.empty() ? stringEx("./") : relative;
}

bool CDir::IsSubPath(const stringEx& path) const {
    if (path.empty()) {
        return false;
    }
    stringEx absolute(path);
    ToAbsolutePath(absolute);
    CloseByDelimiter(absolute);
    return absolute.begin_with(__path);
}

CDir CDir::GainCommonParent(const stringEx& path) const {
    stringEx absolute(path);
    ToAbsolutePath(absolute);
    CloseByDelimiter(absolute);
    return CDir(__path.substr(0, CommonLength(__path, absolute)), false, true);
}

stringEx CDir::GetPwd() {
    stringEx path;
    unsigned int room = PATH_MAX;
    while (::getcwd(path._eofbuf(room - 1), room) == nullptr) {
        const int code = errno;
        if (code != ERANGE) {
            throw dirExp(static_cast<unsigned int>(code),
                         ComposeError("CDir::GetPwd - failed getting current working dir\n",
                                      {{"  system error no   = ", code},
                                       {"  system error desc = ",
                                        GetSysErrString(static_cast<unsigned long>(code))}}));
        }
        room *= 2;
    }
    path.set_length(stringEx::strlen(path.c_str()));
    CloseByDelimiter(path);
    return path;
}

stringEx CDir::GetHomeDir() {
    stringEx home = GetEnvString("HOME");
    if (home.empty()) {
        throw dirExp(0, stringEx("CDir::GetHomeDir - the environment has no HOME"));
    }
    CloseByDelimiter(home);
    return home;
}

stringEx CDir::GetTempDir() {
    stringEx temp = GetEnvString("TMPDIR");
    if (temp.empty()) {
        for (const char* candidate : {"/tmp", "/var/tmp", "/usr/tmp"}) {
            if (IsDirExist(candidate)) {
                temp = candidate;
                break;
            }
        }
    }
    if (temp.empty()) {
        return stringEx("./tmp/");
    }
    CloseByDelimiter(temp);
    return temp;
}

stringEx CDir::GetGlobalConfigDir() {
    return stringEx("/etc/");
}

stringEx CDir::GetCurrentUserConfigDir() {
    return GetHomeDir() + ".config/";
}

stringEx CDir::FindInPath(const stringEx& name) {
    stringEx directory(name);
    GetPathDir(directory);
    if (directory != "./" && IsFileExist(name)) {
        return name;
    }
    const stringEx searched = GetEnvString("PATH");
    if (directory == "./") {
        stringEx filename(name);
        GetPathFilename(filename);
        for (unsigned int start = 0; start <= searched.length();) {
            const unsigned int colon = searched.find(':', start);
            const unsigned int end = colon == npos ? searched.length() : colon;
            stringEx path = searched.substr(start, end - start);
            start = end + 1;
            if (path.empty()) {
                path = ".";
            }
            CloseByDelimiter(path);
            path += filename;
            if (IsFileExist(path)) {
                return path;
            }
        }
    }
    throw dirExp(
        0, ComposeError("CDir::FindInPath - can't find file in path\n",
                        {{"  file name         = ", name}, {"  environment path  = ", searched}}));
}

} // namespace Quil
