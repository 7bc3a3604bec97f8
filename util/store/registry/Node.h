// A key of the registry with all that is in it and below it.
#pragma once

#include "util/store/FakeRegistry.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Quil {

using REGISTRY_PATH = std::vector<stringEx>;

/// A branch. Not deeper than the registry allows, so that what goes down in it ends soon.
struct CFakeRegistry::NODE {
    std::map<stringEx, std::unique_ptr<NODE>> keys;
    std::map<stringEx, VALUE> values;

    std::unique_ptr<NODE> Copy() const;
    /// Puts all of another branch into this one.
    void Take(const NODE& other);
    /// Null if there is none.
    NODE* Find(const REGISTRY_PATH& path, std::size_t length);
    /// Makes it if there is none.
    NODE& Make(const REGISTRY_PATH& path, std::size_t length);

    /// Calls for this key and each below it, with its path.
    void ForEach(const stringEx& path,
                 const std::function<void(const stringEx& path, const NODE& node)>& take) const;

    struct SIZE {
        std::size_t depth = 0;
        std::size_t keys = 0;
        std::size_t values = 0;
    };
    SIZE Measure() const;
};

/// What the copies of a registry share.
struct CFakeRegistry::STORE {
    std::unique_ptr<NODE> root = std::make_unique<NODE>();
    std::size_t keys = 0;
    std::size_t values = 0;
    bool isChanged = false;
    CFastReaderWriterState state; ///< over the rest
};

namespace IMPL {

[[noreturn]] void ThrowRegistry(unsigned int code, const char* what, const char* key,
                                const stringEx& detail);

REGISTRY_PATH SplitPath(const stringEx& path);

/// The same of a value, whose path has a name.
REGISTRY_PATH SplitValuePath(const stringEx& path);

// The text forms of values: "dword" and "42". A text that is none throws BAD_TEXT.

const char* NameOfType(const CFakeRegistry::VALUE& value);
stringEx TextOf(const CFakeRegistry::VALUE& value);
CFakeRegistry::VALUE ValueOf(const stringEx& type, const stringEx& text, std::uint64_t line);
bool IsTypeName(const stringEx& name);

/// Adds what the text holds to the key.
void ReadIni(const stringEx& text, CFakeRegistry::NODE& root);
stringEx WriteIni(const CFakeRegistry::NODE& root);

} // namespace IMPL

} // namespace Quil
