#include <fmt/format.h>

#include "cli/Commands.hpp"
#include "cli/LibraryAccess.hpp"
#include "cli/RecheckReport.hpp"

namespace quillet::cli {

int runRecheck(Console& console, const DevicePaths& paths) {
    if (!util::fileExists(paths.at(DevicePaths::kImportDatabaseFolder)) && !SqliteMusicLibrary::exists(paths)) {
        console.error(fmt::format("there is no library at {} yet", paths.root()));
        return kNothingToDo;
    }
    RecheckResult result;
    withLibrarySide(
        console, paths, "recheck", [&](LibrarySide& side) { result = side.recheck(); },
        [&](MessagingCenters& centers) {
            const auto answer = requestRecheck(centers);
            if (answer) result = *answer;
            return answer.has_value();
        });
    reportRecheck(console, result, Verbosity::everything);
    return result.failed > 0 ? kSomeFailed : kAllDone;
}

}  // namespace quillet::cli
