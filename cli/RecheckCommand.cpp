#include <fmt/format.h>

#include "cli/Commands.hpp"
#include "cli/LibraryAccess.hpp"
#include "cli/RecheckReport.hpp"

namespace quillet::cli {

int runRecheck(Console& console, const DevicePaths& paths) {
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
