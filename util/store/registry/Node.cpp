#include "util/store/registry/Node.h"

#include "util/sys/errhdl.h"

#include <algorithm>

namespace Quil {

std::unique_ptr<CFakeRegistry::NODE> CFakeRegistry::NODE::Copy() const {
    auto copy = std::make_unique<NODE>();
    copy->Take(*this);
    return copy;
}

void CFakeRegistry::NODE::Take(const NODE& other) {
    for (const auto& [name, value] : other.values) {
        values[name] = value;
    }
    for (const auto& [name, node] : other.keys) {
        std::unique_ptr<NODE>& key = keys[name];
        key = key ? std::move(key) : std::make_unique<NODE>();
        key->Take(*node);
    }
}

CFakeRegistry::NODE* CFakeRegistry::NODE::Find(const REGISTRY_PATH& path, std::size_t length) {
    NODE* node = this;
    for (std::size_t i = 0; i < length && node != nullptr; ++i) {
        const auto found = node->keys.find(path[i]);
        node = found != node->keys.end() ? found->second.get() : nullptr;
    }
    return node;
}

CFakeRegistry::NODE& CFakeRegistry::NODE::Make(const REGISTRY_PATH& path, std::size_t length) {
    NODE* node = this;
    for (std::size_t i = 0; i < length; ++i) {
        std::unique_ptr<NODE>& key = node->keys[path[i]];
        key = key ? std::move(key) : std::make_unique<NODE>();
        node = key.get();
    }
    return *node;
}

void CFakeRegistry::NODE::ForEach(
    const stringEx& path,
    const std::function<void(const stringEx& path, const NODE& node)>& take) const {
    take(path, *this);
    for (const auto& [name, node] : keys) {
        node->ForEach(path.empty() ? name : path + "/" + name, take);
    }
}

CFakeRegistry::NODE::SIZE CFakeRegistry::NODE::Measure() const {
    SIZE size{0, keys.size(), values.size()};
    for (const auto& [name, node] : keys) {
        const SIZE below = node->Measure();
        size.depth = std::max(size.depth, below.depth + 1);
        size.keys += below.keys;
        size.values += below.values;
    }
    return size;
}

namespace IMPL {

void ThrowRegistry(unsigned int code, const char* what, const char* key, const stringEx& detail) {
    stringEx message("CFakeRegistry - ");
    message.append(what).append("\n  ").append(key).append(" = ").append(detail);
    throw regExp(code, message);
}

REGISTRY_PATH SplitPath(const stringEx& path) {
    REGISTRY_PATH parts;
    for (unsigned int begin = 0; begin < path.length();) {
        const unsigned int end = std::min(path.find('/', begin), path.length());
        if (end != begin) {
            parts.push_back(path.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return parts;
}

REGISTRY_PATH SplitValuePath(const stringEx& path) {
    REGISTRY_PATH parts = SplitPath(path);
    if (parts.empty()) {
        ThrowRegistry(CFakeRegistry::BAD_PATH, "a value needs a name", "path", path);
    }
    return parts;
}

} // namespace IMPL

} // namespace Quil
