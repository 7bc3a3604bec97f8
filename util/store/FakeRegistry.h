// A store of settings: keys that form a tree, with typed values in them, kept in a file.
//
// Paths go from key to key by "/", and the last part of a value's path is its name: "run/files/3".
// Slashes at the ends and doubled ones mean nothing. A key and a value may have one name.
//
// A file is written as a new one beside the old, which it replaces once it is on the device: a
// crash leaves the old content or the new. What complicates reading it is that anything may have
// become of it since: it ends with a sum of its bytes, and is taken as a whole or not at all.
#pragma once

#include "util/base/visibility.h"
#include "util/conv/TextConv.h"
#include "util/file/data_object.h"
#include "util/sys/advSync.h"
#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <cstdint>
#include <map>
#include <memory>
#include <variant>
#include <vector>

namespace QUIL_PUBLIC Quil {

class CCsv;

namespace IMPL {

/// Free the cursors of enumerations of keys and of values.
template <class T>
struct RKeyCkDeletor {
    void operator()(void* cookie) const noexcept { T::__ReleaseKeyCookie(cookie); }
};
template <class T>
struct RValCkDeletor {
    void operator()(void* cookie) const noexcept { T::__ReleaseValCookie(cookie); }
};

} // namespace IMPL

/// The store. It goes by value and is one all the same: what a copy sets, the original has, so a
/// callee can fill in what it was given. Any thread may call, by copies of its own or by one:
/// readers at once, a writer by itself. Failures throw `regExp` with a code of ERROR.
class CFakeRegistry {
public:
    /// The types of ISXF's plain data, in its order.
    using VALUE =
        std::variant<std::monostate, std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t,
                     float, double, long double, bool, stringEx, wstringEx, byteEx>;

    enum ERROR : unsigned int {
        BAD_PATH = 1, ///< it has no name, or names what isn't there
        BAD_TYPE = 2, ///< the value is of another type
        TOO_MUCH = 3, ///< deeper than 128 keys, or more than 2^20 values or keys
        BROKEN = 4,   ///< a file that isn't one, or was damaged: the message says at which byte
        BAD_TEXT = 5, ///< an import that can't be read: the message says on which line
    };

    static constexpr std::size_t sm_deepest = 128;
    static constexpr std::size_t sm_most = std::size_t{1} << 20;

    using KEY_COOKIE = CHandle<void, IMPL::RKeyCkDeletor<CFakeRegistry>, CAtomicINT32, 0>;
    using VAL_COOKIE = CHandle<void, IMPL::RValCkDeletor<CFakeRegistry>, CAtomicINT32, 0>;

    CFakeRegistry();

    /// Another store with all that is in this one.
    CFakeRegistry Clone() const;

    bool HasKey(const stringEx& path) const;
    bool HasValue(const stringEx& path) const;
    /// The value, or an empty one where there is none.
    VALUE GetValue(const stringEx& path) const;
    /// The value, or `unless` where there is none. One of another type throws.
    template <class T>
    T Get(const stringEx& path, const T& unless) const {
        const VALUE value = GetValue(path);
        if (std::holds_alternative<std::monostate>(value)) {
            return unless;
        }
        if (const T* const found = std::get_if<T>(&value)) {
            return *found;
        }
        __ThrowType(path);
    }
    /// Any of the four types of whole numbers.
    std::uint64_t GetNumber(const stringEx& path, std::uint64_t unless) const;

    /// Makes the keys on the way.
    void Set(const stringEx& path, const VALUE& value);
    void MakeKey(const stringEx& path);
    /// Answer whether there was one.
    bool RemoveValue(const stringEx& path);
    bool RemoveKey(const stringEx& path); ///< with all that is below it
    /// To another name in the same key, which must be free.
    void RenameValue(const stringEx& path, const stringEx& name);
    void RenameKey(const stringEx& path, const stringEx& name);
    /// Puts what is in and below a key into another one, over what is there. The one may be within
    /// the other.
    void CopyKey(const stringEx& from, const stringEx& to);
    void Clear();

    /// Give one name a call, in their order: those that were there at the first one. An empty
    /// cookie starts; at the end it is emptied and the answer is false.
    bool EnumKey(KEY_COOKIE& cookie, const stringEx& path, stringEx& name) const;
    bool EnumValue(VAL_COOKIE& cookie, const stringEx& path, stringEx& name, VALUE& value) const;

    /// Whether it isn't as it was last loaded or saved.
    bool IsChanged() const;

    /// What the file holds takes the place of all that is there; after an exception nothing has
    /// changed. What the file system refuses throws `sysfileExp` or `dirExp`.
    void Load(const stringEx& path);
    void Save(const stringEx& path);
    /// The same with bytes that are kept elsewhere.
    void Decode(const byteEx& bytes);
    byteEx Encode() const;

    // Text forms. An import adds to what is there, all of it or nothing.

    /// INI: a section "[a/b]" is a key, in quotes if it is odd; "name = value" a value. A value is
    /// text as it stands; text in double quotes, with \\ \" \n \r \t \xNN; or a type, a colon and
    /// the value, as in "dword:42", "bool:true", "blob:00ff". Lines that begin with ";" or "#" are
    /// comments, which are lost; a "\" at a line's end goes on in the next one. Wide text stands as
    /// UTF-8.
    void ImportIni(const stringEx& text);
    stringEx ExportIni() const;
    /// CSV: a row for each value, with its path, type and value as above, without escapes.
    void ImportCsv(const CCsv& table);
    CCsv ExportCsv() const;

    static void __ReleaseKeyCookie(void* cookie) noexcept;
    static void __ReleaseValCookie(void* cookie) noexcept;

    struct NODE; ///< a key, for the library's own parts

private:
    struct CURSOR;
    struct CODEC;

    [[noreturn]] static void __ThrowType(const stringEx& path);
    void __Replace(std::unique_ptr<NODE> root, bool isChange);
    template <class Change>
    void __ChangeCopy(Change change);
    NODE& __Make(const std::vector<stringEx>& path, std::size_t length, std::size_t values);
    template <class Map>
    void __Rename(const stringEx& path, const stringEx& name, Map NODE::*map);
    template <class Cookie, class Map>
    CURSOR& __CursorOf(Cookie& cookie, const stringEx& path, Map NODE::*map) const;

    struct STORE;
    struct STORE_DELETOR {
        void operator()(STORE* store) const noexcept;
    };
    CHandle<STORE, STORE_DELETOR, CAtomicINT32, 0> __store;
};

} // namespace Quil
