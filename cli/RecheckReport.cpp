#include "cli/RecheckReport.hpp"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

namespace quillet::cli {

void reportRecheck(Console& console, const RecheckResult& result, Verbosity verbosity) {
    const std::string text = fmt::format(
        "records checked: {}; vanished from the library and added again: {}; vanished with their files: {}; "
        "unknown files imported: {}",
        result.records, result.addedAgain, result.dropped, result.found);
    if (verbosity == Verbosity::changesOnly) {
        if (result.addedAgain + result.dropped + result.found > 0) console.note(text);
    } else if (console.json()) {
        console.jsonLine({{"records", result.records},
                          {"addedAgain", result.addedAgain},
                          {"dropped", result.dropped},
                          {"found", result.found},
                          {"failed", result.failed}});
    } else {
        console.line(text);
    }
    if (result.failed > 0) console.error(fmt::format("the library did not take {} tracks; try again", result.failed));
}

}  // namespace quillet::cli
