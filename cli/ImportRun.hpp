#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "cli/BatchReporter.hpp"
#include "cli/Console.hpp"
#include "cli/HandOver.hpp"
#include "cli/ImportSelection.hpp"
#include "cli/ProgressBar.hpp"
#include "cli/RootLock.hpp"

namespace quillet::cli {

/// One import from the selected files to what became of each. As the library side of the root where that is free,
/// beside another process where it is not, and as its heir where that process ends before all files are taken.
class ImportRun : public BatchReporter {
  public:
    static constexpr const char* kInterruptedReason = "interrupted before it was imported";
    /// What became of one file.
    struct Outcome {
        std::uint64_t persistentID = 0;  ///< 0 where it is not in the library
        std::string reason;              ///< why not
    };

    ImportRun(Console& console, const DevicePaths& paths, const std::vector<ImportFile>& files,
              const ImportOptions& options);

    /// Imports the files that carry no reason. Answers when each has an outcome, or the user wants no more. Throws
    /// UserError and LibraryError where nothing could be handed over.
    void run();
    const std::vector<Outcome>& outcomes() const { return outcomes_; }

    void progressed() override;
    void imported(const std::string& entry, std::uint64_t persistentID) override;
    void rejected(const std::string& entry, const std::string& rejectedPath, const std::string& reason) override;
    void kept(const std::string& entry, const std::string& reason) override;
    void notTaken(const std::string& entry, const std::string& assetName) override;

  private:
    void handOverAll();
    void withdrawAll(const char* reason);
    void beLibrarySide();
    void follow();
    bool askLibrary();
    void tellOfAll() const;
    void lookForTaken();
    void fail(const std::string& entry, const std::string& path, const std::string& reason);
    void settle(std::size_t file, Outcome outcome);
    bool isOpen(std::size_t file) const { return open_[file]; }

    Console& console_;
    const DevicePaths& paths_;
    const std::vector<ImportFile>& files_;
    HandOver handOver_;
    std::vector<std::optional<HandedOver>> handed_;
    std::vector<bool> open_;  ///< handed over and without an outcome
    std::size_t openCount_ = 0;
    bool isHandedOver_ = false;
    std::uint64_t lastIdentifier_ = 0;    ///< of the library before the files were handed over
    std::uint64_t newestIdentifier_ = 0;  ///< when the library was asked last
    std::unordered_map<std::string, std::size_t> fileOfEntry_;
    std::vector<Outcome> outcomes_;
    std::unique_ptr<ProgressBar> bar_;
    std::size_t progress_ = 0;
};

}  // namespace quillet::cli
