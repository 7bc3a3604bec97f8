// Where results go: nowhere, into a number, onto standard output, or over the file that they come
// from.
#pragma once

#include "tool/road/road.h"
#include "util/file/InPlaceWriter.h"

#include <functional>
#include <string>
#include <utility>

namespace Quil {

/// For who only wants to know whether something is found.
class CNoSink final : public ISink {
public:
    void Keep(std::string_view /*bytes*/) override {}
    void Replace(std::string_view /*old*/, std::string_view /*bytes*/) override {}
};

/// Tells how long a result is.
class CMeasureSink final : public ISink {
public:
    void Keep(std::string_view bytes) override { __size += bytes.size(); }
    void Replace(std::string_view /*old*/, std::string_view bytes) override {
        __size += bytes.size();
    }
    std::uint64_t GetSize() const { return __size; }

private:
    std::uint64_t __size = 0;
};

/// Counts the characters of a result in UTF-8.
class CCharacterSink final : public ISink {
public:
    void Keep(std::string_view bytes) override {
        for (const char byte : bytes) {
            __count += (static_cast<unsigned char>(byte) & 0xC0) != 0x80 ? 1 : 0;
        }
    }
    void Replace(std::string_view /*old*/, std::string_view bytes) override { Keep(bytes); }
    std::uint64_t GetCharacters() const { return __count; }

private:
    std::uint64_t __count = 0;
};

/// Gathers a result.
class CBytesSink final : public ISink {
public:
    void Keep(std::string_view bytes) override { __bytes.append(bytes); }
    void Replace(std::string_view /*old*/, std::string_view bytes) override {
        __bytes.append(bytes);
    }
    const std::string& GetBytes() const { return __bytes; }

private:
    std::string __bytes;
};

/// Prints. Throws `outputExp` where standard output takes no more.
class COutputSink final : public ISink {
public:
    void Keep(std::string_view bytes) override;
    void Replace(std::string_view /*old*/, std::string_view bytes) override { Keep(bytes); }
    /// Prints what is held back, and all the way if somebody may wait for it.
    void Flush(bool isAwaited);

private:
    static constexpr std::size_t sm_together = std::size_t{64} << 10;

    std::string __held;
};

/// Changes a file. `prepare` is called once, before the first byte can change: up to there a search
/// may have taken any time.
class CFileSink final : public ISink {
public:
    CFileSink(CInPlaceWriter& writer, std::function<void()> prepare)
        : __writer(writer), __prepare(std::move(prepare)) {}

    void Keep(std::string_view bytes) override {
        __Prepare();
        __writer.Keep(bytes);
    }
    void Replace(std::string_view old, std::string_view bytes) override {
        __Prepare();
        __writer.Replace(old, bytes);
    }

private:
    void __Prepare() {
        if (__prepare) {
            std::exchange(__prepare, nullptr)();
        }
    }

    CInPlaceWriter& __writer;
    std::function<void()> __prepare;
};

} // namespace Quil
