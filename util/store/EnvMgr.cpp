#include "util/store/EnvMgr.h"

#include "util/file/dir.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace Quil {

namespace {

constexpr std::size_t DEEPEST = 200;                // variables within variables
constexpr unsigned int LONGEST = 16U * 1024 * 1024; // bytes of a result

void CheckName(const stringEx& name) {
    if (name.empty() || name.find('=') != stringEx::npos) {
        throw auxExp(CEnvMgr::BAD_NAME,
                     stringEx("CEnvMgr - that can't be a name\n  name = ") + name);
    }
}

[[noreturn]] void ThrowText(const char* what, const stringEx& detail) {
    throw auxExp(CEnvMgr::BAD_TEXT,
                 stringEx("CEnvMgr::Expand - ").append(what).append("\n  text = ").append(detail));
}

/// Expands texts within texts.
class CExpansion {
public:
    explicit CExpansion(const std::map<stringEx, stringEx>& variables) : __variables(variables) {}

    stringEx Expand(const stringEx& text) {
        __Append(text);
        return std::move(__result);
    }

private:
    void __Append(const stringEx& text) {
        for (unsigned int at = 0; at < text.length();) {
            const unsigned int sign = std::min(text.find('$', at), text.length());
            __Put(text.substr(at, sign - at));
            at = sign;
            if (sign == text.length()) {
                break;
            }
            const char kind = sign + 1 < text.length() ? text[sign + 1] : '\0';
            if (kind == '{') {
                at = __AppendVariable(text, sign + 2);
            } else {
                __Put("$");
                at += kind == '$' ? 2 : 1;
            }
        }
    }

    /// What stands from behind "${" on. Answers where it ends.
    unsigned int __AppendVariable(const stringEx& text, unsigned int begin) {
        unsigned int end = begin;
        for (unsigned int open = 1; open != 0; ++end) { // a default may have variables, too
            if (end == text.length()) {
                ThrowText("a variable isn't closed", text);
            }
            open += text[end] == '{' && text[end - 1] == '$' ? 1 : 0;
            open -= text[end] == '}' ? 1 : 0;
        }
        const stringEx inside = text.substr(begin, end - 1 - begin);
        const unsigned int sign = inside.find(":-");
        const stringEx name = inside.substr(0, std::min(sign, inside.length()));
        const auto found = __variables.find(name);
        if (found != __variables.end() && !found->second.empty()) {
            __Enter(name, found->second);
        } else if (sign != stringEx::npos) {
            __Enter(stEMPTY, inside.substr(sign + 2, stringEx::npos));
        }
        return end;
    }

    /// Expands a variable's value, or a default that belongs to none.
    void __Enter(const stringEx& name, const stringEx& text) {
        if (!name.empty() && std::ranges::find(__within, name) != __within.end()) {
            stringEx circle;
            for (auto at = std::ranges::find(__within, name); at != __within.end(); ++at) {
                circle.append(*at).append(at->empty() ? "" : " -> ");
            }
            ThrowText("variables name each other in a circle", circle.append(name));
        }
        if (__within.size() == DEEPEST) {
            ThrowText("variables lie too deep within each other", name);
        }
        __within.push_back(name);
        __Append(text);
        __within.pop_back();
    }

    void __Put(const stringEx& text) {
        if (text.length() > LONGEST - __result.length()) {
            ThrowText("what comes of it is too long", text);
        }
        __result.append(text);
    }

    const std::map<stringEx, stringEx>& __variables;
    std::vector<stringEx> __within; ///< the variables whose values are being expanded
    stringEx __result;
};

} // namespace

CEnvMgr::CEnvMgr() {
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        const stringEx text(*variable);
        const unsigned int sign = text.find('=');
        if (sign != stringEx::npos && sign != 0) {
            __variables[text.substr(0, sign)] = text.substr(sign + 1, stringEx::npos);
        }
    }
}

CEnvMgr::CEnvMgr(const std::vector<stringEx>& variables) {
    for (const stringEx& variable : variables) {
        const unsigned int sign = std::min(variable.find('='), variable.length());
        Set(variable.substr(0, sign),
            sign == variable.length() ? stEMPTY : variable.substr(sign + 1, stringEx::npos));
    }
}

CEnvMgr::~CEnvMgr() {
    for (const stringEx& path : __files) {
        CDir::TryRemoveFile(path);
    }
    if (__list.IsOpen()) {
        CDir::TryRemoveFile(__listPath);
    }
}

bool CEnvMgr::Has(const stringEx& name) const {
    const std::lock_guard lock(__mutex);
    return __variables.count(name) != 0;
}

stringEx CEnvMgr::Get(const stringEx& name, const stringEx& unless) const {
    const std::lock_guard lock(__mutex);
    const auto found = __variables.find(name);
    return found != __variables.end() ? found->second : unless;
}

void CEnvMgr::Set(const stringEx& name, const stringEx& value) {
    CheckName(name);
    const std::lock_guard lock(__mutex);
    __variables[name] = value;
}

void CEnvMgr::Unset(const stringEx& name) {
    const std::lock_guard lock(__mutex);
    __variables.erase(name);
}

void CEnvMgr::Merge(const CEnvMgr& other, bool overwrites) {
    if (this == &other) {
        return;
    }
    const std::scoped_lock lock(__mutex, other.__mutex);
    for (const auto& [name, value] : other.__variables) {
        overwrites ? __variables.insert_or_assign(name, value)
                   : __variables.try_emplace(name, value);
    }
}

std::vector<stringEx> CEnvMgr::GetList() const {
    const std::lock_guard lock(__mutex);
    std::vector<stringEx> list;
    list.reserve(__variables.size());
    for (const auto& [name, value] : __variables) {
        list.push_back(name + "=" + value);
    }
    return list;
}

stringEx CEnvMgr::Expand(const stringEx& text) const {
    const std::lock_guard lock(__mutex);
    return CExpansion(__variables).Expand(text);
}

void CEnvMgr::RemoveAtEnd(const stringEx& path) {
    stringEx full(path);
    CDir::ConvToFullPath(full);
    const std::lock_guard lock(__mutex);
    if (__list.IsOpen()) {
        __Note(full);
    }
    __files.push_back(full);
}

/// On the device before the file is: a crash must not be faster.
void CEnvMgr::__Note(const stringEx& path) {
    const stringEx line = path + stringEx("\0", 1);
    for (unsigned int done = 0; done < line.length();) {
        done += __list.Write(line.data() + done, line.length() - done);
    }
    __list.Flush();
}

void CEnvMgr::OpenList(const stringEx& path) {
    stringEx full(path);
    CDir::ConvToFullPath(full);
    CSysFile list;
    list.Open(full, CSysFile::ACCESS_BOTH, O_CREAT, 0, 0600, 0);
    if (!list.TryLock(0, 0, CSysFile::LOCK_EXCLUSIVE)) {
        throw auxExp(IN_USE,
                     stringEx("CEnvMgr::OpenList - it is somebody else's\n  path = ") + full);
    }
    stringEx left; // by who is no more; by this descriptor, for the lock goes with any other one
    char block[4096];
    while (const unsigned int count = list.Read(block, sizeof block)) {
        left.append(stringEx(block, count));
    }
    for (unsigned int begin = 0; begin < left.length();) {
        const unsigned int end = left.find('\0', begin);
        if (end == stringEx::npos) {
            break; // cut before the file was made
        }
        CDir::TryRemoveFile(left.substr(begin, end - begin));
        begin = end + 1;
    }
    list.SeekBegin(0);
    list.ResizeToCurrentPos();
    const std::lock_guard lock(__mutex);
    __list = list;
    __listPath = full;
    for (const stringEx& file : __files) {
        __Note(file);
    }
}

} // namespace Quil
