#include "util/store/FakeRegistry.h"

#include "util/file/dir.h"
#include "util/file/sysfile.h"
#include "util/store/Csv.h"
#include "util/store/registry/Node.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <unistd.h>

namespace Quil {

namespace {

stringEx JoinPath(const stringEx& path, const stringEx& name) {
    return path.empty() ? name : path + "/" + name;
}

} // namespace

/// The names that were there when an enumeration began.
struct CFakeRegistry::CURSOR {
    std::vector<stringEx> names;
    std::size_t next = 0;
};

void CFakeRegistry::STORE_DELETOR::operator()(STORE* store) const noexcept {
    delete store;
}

CFakeRegistry::CFakeRegistry() : __store(new STORE) {}

CFakeRegistry CFakeRegistry::Clone() const {
    CFakeRegistry clone;
    const CFastReaderLock lock(__store->state);
    clone.__store->root = __store->root->Copy();
    clone.__store->keys = __store->keys;
    clone.__store->values = __store->values;
    clone.__store->isChanged = __store->isChanged;
    return clone;
}

void CFakeRegistry::__ThrowType(const stringEx& path) {
    IMPL::ThrowRegistry(BAD_TYPE, "a value is of another type", "path", path);
}

/// Puts a tree in the place of the one that is there, if it is within the bounds.
void CFakeRegistry::__Replace(std::unique_ptr<NODE> root, bool isChange) {
    const NODE::SIZE size = root->Measure();
    if (size.depth > sm_deepest || size.keys > sm_most || size.values > sm_most) {
        IMPL::ThrowRegistry(TOO_MUCH, "it would become too large", "depth",
                            stringEx().append_ulong(size.depth, 10));
    }
    __store->root = std::move(root);
    __store->keys = size.keys;
    __store->values = size.values;
    __store->isChanged = isChange;
}

/// Changes a copy of all, which takes the place of all if all went well.
template <class Change>
void CFakeRegistry::__ChangeCopy(Change change) {
    const CFastWriterLock lock(__store->state);
    std::unique_ptr<NODE> changed = __store->root->Copy();
    change(*changed);
    __Replace(std::move(changed), true);
}

/// The key, made if there is none, to which one value more may be added.
CFakeRegistry::NODE& CFakeRegistry::__Make(const std::vector<stringEx>& path, std::size_t length,
                                           std::size_t values) {
    std::size_t known = 0;
    while (known < length && __store->root->Find(path, known + 1) != nullptr) {
        ++known;
    }
    if (length > sm_deepest || __store->keys + (length - known) > sm_most ||
        __store->values + values > sm_most) {
        IMPL::ThrowRegistry(TOO_MUCH, "there is no room for more", "name", path.back());
    }
    NODE& node = __store->root->Make(path, length);
    __store->keys += length - known;
    return node;
}

bool CFakeRegistry::HasKey(const stringEx& path) const {
    const REGISTRY_PATH parts = IMPL::SplitPath(path);
    const CFastReaderLock lock(__store->state);
    return __store->root->Find(parts, parts.size()) != nullptr;
}

bool CFakeRegistry::HasValue(const stringEx& path) const {
    const REGISTRY_PATH parts = IMPL::SplitValuePath(path);
    const CFastReaderLock lock(__store->state);
    const NODE* const node = __store->root->Find(parts, parts.size() - 1);
    return node != nullptr && node->values.count(parts.back()) != 0;
}

CFakeRegistry::VALUE CFakeRegistry::GetValue(const stringEx& path) const {
    const REGISTRY_PATH parts = IMPL::SplitValuePath(path);
    const CFastReaderLock lock(__store->state);
    const NODE* const node = __store->root->Find(parts, parts.size() - 1);
    if (node == nullptr) {
        return {};
    }
    const auto found = node->values.find(parts.back());
    return found != node->values.end() ? found->second : VALUE();
}

std::uint64_t CFakeRegistry::GetNumber(const stringEx& path, std::uint64_t unless) const {
    const VALUE value = GetValue(path);
    return std::visit(
        [&]<class T>(const T& found) -> std::uint64_t {
            if constexpr (std::is_same_v<T, std::monostate>) {
                return unless;
            } else if constexpr (std::is_unsigned_v<T> && !std::is_same_v<T, bool>) {
                return found;
            } else {
                __ThrowType(path);
            }
        },
        value);
}

void CFakeRegistry::Set(const stringEx& path, const VALUE& value) {
    const REGISTRY_PATH parts = IMPL::SplitValuePath(path);
    const CFastWriterLock lock(__store->state);
    NODE* const known = __store->root->Find(parts, parts.size() - 1);
    const bool isNew = known == nullptr || known->values.count(parts.back()) == 0;
    NODE& node = __Make(parts, parts.size() - 1, isNew ? 1 : 0);
    node.values[parts.back()] = value;
    __store->values += isNew ? 1 : 0;
    __store->isChanged = true;
}

void CFakeRegistry::MakeKey(const stringEx& path) {
    const REGISTRY_PATH parts = IMPL::SplitValuePath(path);
    const CFastWriterLock lock(__store->state);
    __Make(parts, parts.size(), 0);
    __store->isChanged = true;
}

bool CFakeRegistry::RemoveValue(const stringEx& path) {
    const REGISTRY_PATH parts = IMPL::SplitValuePath(path);
    const CFastWriterLock lock(__store->state);
    NODE* const node = __store->root->Find(parts, parts.size() - 1);
    if (node == nullptr || node->values.erase(parts.back()) == 0) {
        return false;
    }
    --__store->values;
    __store->isChanged = true;
    return true;
}

bool CFakeRegistry::RemoveKey(const stringEx& path) {
    const REGISTRY_PATH parts = IMPL::SplitValuePath(path);
    const CFastWriterLock lock(__store->state);
    NODE* const node = __store->root->Find(parts, parts.size() - 1);
    const auto key = node != nullptr ? node->keys.find(parts.back()) : decltype(node->keys.end())();
    if (node == nullptr || key == node->keys.end()) {
        return false;
    }
    const NODE::SIZE size = key->second->Measure();
    node->keys.erase(key);
    __store->keys -= size.keys + 1;
    __store->values -= size.values;
    __store->isChanged = true;
    return true;
}

/// Gives an entry of one of a key's maps another name.
template <class Map>
void CFakeRegistry::__Rename(const stringEx& path, const stringEx& name, Map NODE::*map) {
    const REGISTRY_PATH parts = IMPL::SplitValuePath(path);
    if (IMPL::SplitPath(name) != REGISTRY_PATH{name}) {
        IMPL::ThrowRegistry(BAD_PATH, "that can't be a name", "name", name);
    }
    const CFastWriterLock lock(__store->state);
    NODE* const node = __store->root->Find(parts, parts.size() - 1);
    if (node == nullptr || (node->*map).count(parts.back()) == 0) {
        IMPL::ThrowRegistry(BAD_PATH, "there is nothing to rename", "path", path);
    }
    if ((node->*map).count(name) != 0) {
        IMPL::ThrowRegistry(BAD_PATH, "the name is taken", "name", name);
    }
    auto entry = (node->*map).extract(parts.back());
    entry.key() = name;
    (node->*map).insert(std::move(entry));
    __store->isChanged = true;
}

void CFakeRegistry::RenameValue(const stringEx& path, const stringEx& name) {
    __Rename(path, name, &NODE::values);
}

void CFakeRegistry::RenameKey(const stringEx& path, const stringEx& name) {
    __Rename(path, name, &NODE::keys);
}

void CFakeRegistry::CopyKey(const stringEx& from, const stringEx& to) {
    const REGISTRY_PATH source = IMPL::SplitPath(from);
    const REGISTRY_PATH target = IMPL::SplitPath(to);
    __ChangeCopy([&](NODE& root) {
        const NODE* const node = root.Find(source, source.size());
        if (node == nullptr) {
            IMPL::ThrowRegistry(BAD_PATH, "there is no such key", "path", from);
        }
        if (target.size() > sm_deepest) {
            IMPL::ThrowRegistry(TOO_MUCH, "it would become too deep", "path", to);
        }
        const std::unique_ptr<NODE> copy = node->Copy(); // one may lie in the other
        root.Make(target, target.size()).Take(*copy);
    });
}

void CFakeRegistry::Clear() {
    const CFastWriterLock lock(__store->state);
    __Replace(std::make_unique<NODE>(), true);
}

/// The cursor of an enumeration, which begins now if there is none.
template <class Cookie, class Map>
CFakeRegistry::CURSOR& CFakeRegistry::__CursorOf(Cookie& cookie, const stringEx& path,
                                                 Map NODE::*map) const {
    if (!cookie) {
        auto cursor = std::make_unique<CURSOR>();
        const REGISTRY_PATH parts = IMPL::SplitPath(path);
        const CFastReaderLock lock(__store->state);
        if (NODE* const node = __store->root->Find(parts, parts.size())) {
            for (const auto& [name, entry] : node->*map) {
                cursor->names.push_back(name);
            }
        }
        cookie = Cookie(cursor.release());
    }
    return *static_cast<CURSOR*>(cookie.get());
}

bool CFakeRegistry::EnumKey(KEY_COOKIE& cookie, const stringEx& path, stringEx& name) const {
    CURSOR& cursor = __CursorOf(cookie, path, &NODE::keys);
    const bool isThere = cursor.next < cursor.names.size();
    name = isThere ? cursor.names[cursor.next++] : stEMPTY;
    if (!isThere) {
        cookie = nullptr;
    }
    return isThere;
}

bool CFakeRegistry::EnumValue(VAL_COOKIE& cookie, const stringEx& path, stringEx& name,
                              VALUE& value) const {
    CURSOR& cursor = __CursorOf(cookie, path, &NODE::values);
    const bool isThere = cursor.next < cursor.names.size();
    name = isThere ? cursor.names[cursor.next++] : stEMPTY;
    value = isThere ? GetValue(JoinPath(path, name)) : VALUE();
    if (!isThere) {
        cookie = nullptr;
    }
    return isThere;
}

void CFakeRegistry::__ReleaseKeyCookie(void* cookie) noexcept {
    delete static_cast<CURSOR*>(cookie);
}

void CFakeRegistry::__ReleaseValCookie(void* cookie) noexcept {
    delete static_cast<CURSOR*>(cookie);
}

bool CFakeRegistry::IsChanged() const {
    const CFastReaderLock lock(__store->state);
    return __store->isChanged;
}

void CFakeRegistry::Load(const stringEx& path) {
    byteEx bytes;
    CDir::ReadFile(path, bytes);
    Decode(bytes);
}

void CFakeRegistry::Save(const stringEx& path) {
    static std::atomic<unsigned long> count{0};
    const byteEx bytes = Encode();
    stringEx beside(path);
    beside.append(".new-").append_ulong(static_cast<unsigned long>(::getpid()), 10);
    beside.append("-").append_ulong(count++, 10);
    CSysFile file;
    file.Open(beside, CSysFile::ACCESS_WRITE, CSysFile::CREATE + O_EXCL, 0, 0666, 0);
    try {
        for (unsigned int done = 0; done < bytes.length();) {
            done += file.Write(bytes.data() + done, bytes.length() - done);
        }
        file.Flush();
        file.Close();
        CDir::TransferFile(beside, path, true);
    } catch (...) {
        CDir::TryRemoveFile(beside);
        throw;
    }
    stringEx folder(path);
    CDir::GetPathDir(folder);
    CSysFile there; // in which the new name is only when the folder is on the device
    there.OpenRaw(folder.empty() ? stringEx(".") : folder, CSysFile::ACCESS_READ, O_DIRECTORY, 0, 0,
                  0);
    there.Flush();
    const CFastWriterLock lock(__store->state);
    __store->isChanged = false;
}

void CFakeRegistry::ImportCsv(const CCsv& table) {
    constexpr std::size_t COLUMNS = 3;
    __ChangeCopy([&](NODE& root) {
        for (std::size_t row = 0; row < table.GetRowCount(); ++row) {
            const CSV_ROW& cells = table.GetRow(row);
            if (cells.empty()) {
                continue;
            }
            const REGISTRY_PATH path = IMPL::SplitPath(cells[0]);
            if (cells.size() != COLUMNS || path.empty() || path.size() > sm_deepest) {
                IMPL::ThrowRegistry(BAD_TEXT, "a row isn't path, type and value", "line",
                                    stringEx().append_ulong(row + 1, 10));
            }
            root.Make(path, path.size() - 1).values[path.back()] =
                IMPL::ValueOf(cells[1], cells[2], row + 1);
        }
    });
}

CCsv CFakeRegistry::ExportCsv() const {
    CCsv table;
    const CFastReaderLock lock(__store->state);
    __store->root->ForEach(stEMPTY, [&](const stringEx& path, const NODE& node) {
        for (const auto& [name, value] : node.values) {
            table.Append(
                {JoinPath(path, name), stringEx(IMPL::NameOfType(value)), IMPL::TextOf(value)});
        }
    });
    return table;
}

void CFakeRegistry::ImportIni(const stringEx& text) {
    __ChangeCopy([&](NODE& root) { IMPL::ReadIni(text, root); });
}

stringEx CFakeRegistry::ExportIni() const {
    const CFastReaderLock lock(__store->state);
    return IMPL::WriteIni(*__store->root);
}

} // namespace Quil
