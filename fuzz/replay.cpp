// Stands in for a fuzzer: gives a target the inputs in the files and folders that are named. So
// what a fuzzer has found stays a test, with any compiler.
#include "fuzz/FuzzInput.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

namespace {

void Replay(const std::filesystem::path& path) {
    std::cout << path.string()
              << std::endl; // the last one is to be seen if the target ends the process
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

/// The files that are named, and those in folders that are; by whole paths, since a target may
/// change the folder.
std::vector<std::filesystem::path> Inputs(int argc, char** argv) {
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path path = std::filesystem::absolute(argv[i]);
        if (!std::filesystem::is_directory(path)) {
            inputs.push_back(path);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            inputs.push_back(entry.path());
        }
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::filesystem::path> inputs = Inputs(argc, argv);
    LLVMFuzzerTestOneInput(nullptr, 0);
    for (const auto& path : inputs) {
        Replay(path);
    }
    std::cout << inputs.size() << " inputs" << std::endl;
    return inputs.empty() ? EXIT_FAILURE : EXIT_SUCCESS;
}
