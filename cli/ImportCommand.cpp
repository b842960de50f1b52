#include <algorithm>

#include "cli/Commands.hpp"
#include "cli/ImportReport.hpp"
#include "cli/ImportRun.hpp"
#include "cli/ImportSelection.hpp"
#include "cli/Interrupt.hpp"

namespace quillet::cli {

namespace {

void report(const DevicePaths& paths, const std::vector<ImportFile>& files,
            const std::vector<ImportRun::Outcome>& outcomes, ImportReport& report) {
    std::unique_ptr<SqliteMusicLibrary> library;
    if (SqliteMusicLibrary::exists(paths))
        library = std::make_unique<SqliteMusicLibrary>(paths, SqliteMusicLibrary::Mode::readOnly);
    for (std::size_t i = 0; i < files.size(); ++i) {
        const auto track =
            library && outcomes[i].persistentID != 0 ? library->track(outcomes[i].persistentID) : std::nullopt;
        if (track)
            report.imported(files[i], *track);
        else
            report.failed(files[i], outcomes[i].reason.empty() ? "is not in the library any more" : outcomes[i].reason);
    }
}

}  // namespace

int runImport(Console& console, const DevicePaths& paths, const ImportOptions& options) {
    rememberInterrupts();
    std::vector<ImportFile> files;
    {
        LibavMediaFramework media;
        files = selectFiles(media, paths, options);
    }
    if (files.empty() && !interrupted()) {
        console.error("there is no audio file to import");
        return kNothingToDo;
    }
    ImportRun run(console, paths, files, options.move);
    const bool anything =
        std::any_of(files.begin(), files.end(), [](const ImportFile& file) { return file.reason.empty(); });
    if (anything && !interrupted()) run.run();
    ImportReport outcome(console);
    report(paths, files, run.outcomes(), outcome);
    if (console.errorIsTerminal() && files.size() > 1)
        console.note(std::to_string(outcome.importedCount()) + " imported, " + std::to_string(outcome.failedCount()) +
                     " failed");
    if (interrupted()) return kInterrupted;
    return outcome.failedCount() > 0 ? kSomeFailed : kAllDone;
}

}  // namespace quillet::cli
