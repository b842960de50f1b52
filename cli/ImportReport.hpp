#pragma once

#include <cstddef>
#include <string>

#include "cli/Console.hpp"
#include "cli/ImportSelection.hpp"
#include "platform/linux/SqliteMusicLibrary.hpp"

namespace quillet::cli {

/// Tells what became of each file of an import, and counts.
class ImportReport {
  public:
    explicit ImportReport(Console& console) : console_(console) {}

    void imported(const ImportFile& file, const LibraryTrack& track);
    void failed(const ImportFile& file, const std::string& reason);

    std::size_t importedCount() const { return imported_; }
    std::size_t failedCount() const { return failed_; }

  private:
    Console& console_;
    std::size_t imported_ = 0;
    std::size_t failed_ = 0;
};

}  // namespace quillet::cli
