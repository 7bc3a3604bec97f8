// CDir: links, and the scripts that stand in for links with arguments.

#include "util/file/dir.h"
#include "util/file/system/error_text.h"
#include "util/sys/errhdl.h"
#include "util/sys/misc.h"

#include <unistd.h>

namespace Quil {

using IMPL::ComposeError;
using IMPL::DescribeSysError;
using IMPL::ERROR_TEXT;

namespace {

constexpr unsigned long EXECUTABLE_FOR_ALL = 511;

constexpr ERROR_TEXT SHORTCUT_ERRORS[] = {
    {EEXIST, "shortcut file already exists"},
    {ENOENT, "invalid shortcut path"},
    {ENOTDIR, "invalid shortcut path"},
};

constexpr ERROR_TEXT LINK_ERRORS[] = {
    {EEXIST, "the new path already exists"},
    {EXDEV, "the new path would reside on a different file system"},
    {EMLINK, "the max number of links to the old path would exceed"},
    {ENOSPC, "out of file system's capacity"},
    {ENOENT, "the old path, or the directory of the new path, does not exist"},
    {EPERM, "the old path is a directory, or the file system does not support links"},
    {EROFS, "the new path resides on a read-only file system"},
};

/// A word of a shell command that stands for exactly this text. Plain ones stay as they are.
stringEx ShellWord(const stringEx& text) {
    constexpr char PLAIN[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                             "%+,-./:=@_";
    if (text.find_first_not_of(PLAIN, 0) == stringEx::npos) {
        return text;
    }
    stringEx word("'");
    for (unsigned int i = 0; i < text.length(); ++i) {
        if (text[i] == '\'') {
            word += "'\\''";
        } else {
            word += text[i];
        }
    }
    return word += '\'';
}

stringEx ComposeScript(const stringEx& target, const stringEx& arguments,
                       const stringEx& extraLines, const stringEx& workDir) {
    const stringEx lineEnd = GetTxtFileEL();
    stringEx script("#!/bin/sh");
    script += lineEnd;
    if (!extraLines.empty()) {
        script += extraLines;
        script += lineEnd;
    }
    if (!workDir.empty()) {
        script += "cd ";
        script += ShellWord(workDir);
        script += lineEnd;
    }
    script += ShellWord(target);
    if (!arguments.empty()) {
        script += ' ';
        script += arguments;
    }
    script += " \"$@\"";
    script += lineEnd;
    return script;
}

} // namespace

void CDir::MakeSymbolicLink(const stringEx& target, const stringEx& link, const stringEx& arguments,
                            const stringEx& extraLines, const stringEx& workDir) {
    const auto fail = [&](const char* head, unsigned int code, const stringEx& desc) {
        throw dirExp(code, ComposeError(head, {{"  old path     = ", target},
                                               {"  new path     = ", link},
                                               {"  arguments    = ", arguments},
                                               {"  work folder  = ", workDir},
                                               {"  error number = ", code},
                                               {"  error desc   = ", desc}}));
    };
    if (arguments.empty() && workDir.empty()) {
        if (::symlink(target.c_str(), link.c_str()) == 0) {
            return;
        }
        const int code = errno;
        fail("CDir::MakeSymbolicLink - failed create symbolic link\n",
             static_cast<unsigned int>(code), DescribeSysError(code, SHORTCUT_ERRORS));
    }
    constexpr const char* SCRIPT_FAILED = "CDir::MakeSymbolicLink - failed create shell script\n";
    if (IsFileExist(link)) {
        fail(SCRIPT_FAILED, EEXIST, DescribeSysError(EEXIST, SHORTCUT_ERRORS));
    }
    try {
        WriteFile(link, ComposeScript(target, arguments, extraLines, workDir));
        SetAttributes(link, EXECUTABLE_FOR_ALL);
    } catch (const qlExp& cause) {
        fail(SCRIPT_FAILED, cause.GetErrCode(),
             DescribeSysError(static_cast<int>(cause.GetErrCode()), SHORTCUT_ERRORS));
    }
}

void CDir::MakeHardLink(const stringEx& oldPath, const stringEx& newPath) {
    if (::link(oldPath.c_str(), newPath.c_str()) == 0) {
        return;
    }
    const int code = errno;
    throw dirExp(static_cast<unsigned int>(code),
                 ComposeError("CDir::MakeHardLink - failed create hard link\n",
                              {{"  old path     = ", oldPath},
                               {"  new path     = ", newPath},
                               {"  error number = ", code},
                               {"  error desc   = ", DescribeSysError(code, LINK_ERRORS)}}));
}

} // namespace Quil
