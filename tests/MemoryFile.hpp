#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

namespace quillet::test {

/// A file that is in memory alone, for tests and fuzz targets that open very many.
class MemoryFile {
  public:
    explicit MemoryFile(std::string_view content) : number_(memfd_create("quillet-test", MFD_CLOEXEC)) {
        while (!content.empty()) {
            const ssize_t count = write(number_, content.data(), content.size());
            if (count <= 0) break;
            content.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    ~MemoryFile() { close(number_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(number_); }

  private:
    int number_;
};

}  // namespace quillet::test
