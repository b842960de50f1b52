#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace quillet::test {

/// A folder of this test's own, gone with it.
class TemporaryFolder {
  public:
    TemporaryFolder() : TemporaryFolder(std::filesystem::temp_directory_path()) {}
    explicit TemporaryFolder(const std::filesystem::path& parent) {
        std::string pattern = (parent / "quillet-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "cannot make " << pattern;
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }

    /// Makes a file in the folder and answers its path.
    std::string write(std::string_view name, std::string_view content) const {
        const std::string path = *this / name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    /// Where a sync costs nothing, as far as this machine has such a place.
    static std::filesystem::path inMemory() {
        const char* memory = "/dev/shm";
        return ::access(memory, W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
    }

  private:
    std::string path_;
};

inline std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// What stands at `path`, a link itself where it is one.
inline struct stat statOf(const std::string& path) {
    struct stat facts{};
    EXPECT_EQ(lstat(path.c_str(), &facts), 0) << path;
    return facts;
}

}  // namespace quillet::test
