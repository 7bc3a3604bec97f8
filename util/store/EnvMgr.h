// An environment of one's own: variables to be changed, expanded and handed to programs, and files
// that go with it.
//
// Text is expanded as often as it takes: a variable's value may name others. What complicates it:
// values may name each other in a circle, or grow without end, which must be found out.
#pragma once

#include "util/base/handle.h"
#include "util/base/visibility.h"
#include "util/file/sysfile.h"
#include "util/text/stringEx.h"

#include <map>
#include <mutex>
#include <vector>

namespace QUIL_PUBLIC Quil {

/// A set of variables, and files to be removed. For all threads. Failures throw `auxExp` with a
/// code of ERROR.
class CEnvMgr {
public:
    enum ERROR : unsigned int {
        BAD_NAME = 1, ///< a variable's name is empty or has a "="
        BAD_TEXT = 2, ///< a text can't be expanded: the message says why, and names a circle
        IN_USE = 3,   ///< somebody else has the list of files open
    };

    /// With the variables of this process.
    CEnvMgr();
    /// With these, each as "NAME=value".
    explicit CEnvMgr(const std::vector<stringEx>& variables);
    CEnvMgr(const CEnvMgr&) = delete;
    CEnvMgr& operator=(const CEnvMgr&) = delete;
    /// Removes the files that were scheduled, as far as they can be.
    virtual ~CEnvMgr();

    bool Has(const stringEx& name) const;
    stringEx Get(const stringEx& name, const stringEx& unless = stEMPTY) const;
    void Set(const stringEx& name, const stringEx& value);
    void Unset(const stringEx& name);
    /// Takes over what the other one has; unless `overwrites`, only what isn't there.
    void Merge(const CEnvMgr& other, bool overwrites = true);

    /// "NAME=value" of each, by name: what a CProcess takes.
    std::vector<stringEx> GetList() const;

    /// The text with the values of variables: "${NAME}" is NAME's, expanded in turn, and nothing
    /// if there is none; "${NAME:-text}" is the text if there is none, or an empty one; "$$" is
    /// "$". Any other "$" stands for itself.
    stringEx Expand(const stringEx& text) const;

    /// The file is removed when this object goes. The path is taken as it is now, from the working
    /// folder of now.
    void RemoveAtEnd(const stringEx& path);
    /// Keeps the list of those files in a file, and with it what was scheduled: should the process
    /// end before its time, the next one that opens the list removes them. Opened for one at a
    /// time.
    void OpenList(const stringEx& path);

private:
    using VARIABLES = std::map<stringEx, stringEx>;

    void __Note(const stringEx& path);

    mutable std::mutex __mutex;
    VARIABLES __variables;
    std::vector<stringEx> __files; ///< to be removed
    stringEx __listPath;
    CSysFile __list; ///< locked as long as it is open
};

/// Shared ownership of an environment.
using CEnvMgrHandle = CHandle<CEnvMgr, GuardedDeletor<CEnvMgr>, CAtomicINT32, 0>;

} // namespace Quil
