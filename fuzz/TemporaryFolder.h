// A folder of a fuzz target's own, in which it may do what it likes.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace Quil::FUZZ {

/// The folder is the process's working directory as long as this lives, and lies in one of its own,
/// so that also ".." is. Then both are gone.
class CTemporaryFolder {
public:
    CTemporaryFolder() {
        std::string path = (std::filesystem::temp_directory_path() / "quil_fuzz_XXXXXX").string();
        if (::mkdtemp(path.data()) == nullptr) {
            std::abort();
        }
        __around = path;
        std::filesystem::create_directory(__around / "in");
        std::filesystem::current_path(__around / "in");
    }
    CTemporaryFolder(const CTemporaryFolder&) = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;
    ~CTemporaryFolder() {
        std::error_code ignored;
        std::filesystem::current_path("/", ignored);
        std::filesystem::remove_all(__around, ignored);
    }

    /// Removes all that is in it.
    void Clear() const {
        for (const auto& entry : std::filesystem::directory_iterator(".")) {
            std::filesystem::remove_all(entry.path());
        }
    }
    static void Put(const std::filesystem::path& path, const std::string& content) {
        std::ofstream(path, std::ios::binary) << content;
    }
    /// All files and what is in them.
    static std::map<std::string, std::string> Contents() {
        std::map<std::string, std::string> all;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(".")) {
            if (entry.is_regular_file()) {
                std::ifstream file(entry.path(), std::ios::binary);
                all[entry.path().string()] = {std::istreambuf_iterator<char>(file), {}};
            }
        }
        return all;
    }

private:
    std::filesystem::path __around;
};

} // namespace Quil::FUZZ
