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
    /// As failed, but without a line on standard error: one tells of all that an interrupt left out.
    void interrupted(const ImportFile& file);

    std::size_t importedCount() const { return imported_; }
    std::size_t failedCount() const { return failed_; }

  private:
    void addFailure(const ImportFile& file, const std::string& reason);

    Console& console_;
    std::size_t imported_ = 0;
    std::size_t failed_ = 0;
};

}  // namespace quillet::cli
