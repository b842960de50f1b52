#include <fmt/format.h>

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
        else if (outcomes[i].reason == ImportRun::kInterruptedReason)
            report.interrupted(files[i]);
        else
            report.failed(files[i], outcomes[i].reason.empty() ? "is not in the library any more" : outcomes[i].reason);
    }
}

}  // namespace

int runImport(Console& console, const DevicePaths& paths, const ImportOptions& options) {
    rememberInterrupts();
    ImportSelection selection;
    {
        LibavMediaFramework media;
        selection = selectFiles(media, paths, options);
    }
    const std::vector<ImportFile>& files = selection.files;
    if (selection.passedOver > 0)
        console.note(fmt::format("passed over in folders, since they are not audio: {} files", selection.passedOver));
    if (files.empty() && !interrupted()) {
        console.error(fmt::format("there is no audio file to import in {}", shown(options.paths.front())));
        return kNothingToDo;
    }
    ImportRun run(console, paths, files, options);
    const bool anything =
        std::any_of(files.begin(), files.end(), [](const ImportFile& file) { return file.reason.empty(); });
    if (anything && !interrupted()) run.run();
    ImportReport outcome(console);
    report(paths, files, run.outcomes(), outcome);
    if (console.errorIsTerminal() && files.size() > 1)
        console.note(fmt::format("{} imported, {} failed", outcome.importedCount(), outcome.failedCount()));
    if (interrupted()) {
        console.note(fmt::format("interrupted; of {} files {} were imported", files.size(), outcome.importedCount()));
        return kInterrupted;
    }
    return outcome.failedCount() > 0 ? kSomeFailed : kAllDone;
}

}  // namespace quillet::cli
