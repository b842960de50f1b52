#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Gives every file of the folders that it is called with to the fuzz target, in the order of their names. A target
/// that finds fault aborts. Fails where there is no file at all: an empty corpus tests nothing.
int main(int argumentCount, char** arguments) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argumentCount; ++i) {
        std::error_code error;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(arguments[i], error)) {
            if (entry.is_regular_file()) files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    for (const auto& path : files) {
        std::ifstream file(path, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        if (!file) return std::fprintf(stderr, "cannot read %s\n", path.c_str()), 1;
        std::fprintf(stderr, "%s\n", path.c_str());  // the last one named is the one that was at fault
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    if (files.empty()) std::fprintf(stderr, "no corpus\n");
    return files.empty() ? 1 : 0;
}
