#include "cli/ImportReport.hpp"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/TrackView.hpp"

namespace quillet::cli {

void ImportReport::imported(const ImportFile& file, const LibraryTrack& track) {
    ++imported_;
    const TrackView view(track);
    if (console_.json()) {
        nlohmann::ordered_json object;
        addFileName(object, "file", file.shownPath);
        object["status"] = "imported";
        nlohmann::ordered_json facts = view.json();
        facts.erase("file");
        facts.erase("fileRaw");
        object.update(facts);
        console_.jsonLine(object);
    } else {
        console_.line(fmt::format("{}: {} as {}: {}", shown(file.shownPath),
                                  console_.coloured(Colour::green, "imported"), track.persistentID,
                                  shown(view.summary())));
    }
}

void ImportReport::failed(const ImportFile& file, const std::string& reason) {
    console_.error(fmt::format("{}: {}", shown(file.shownPath), reason));
    addFailure(file, reason);
}

void ImportReport::interrupted(const ImportFile& file) {
    addFailure(file, "interrupted");
}

void ImportReport::addFailure(const ImportFile& file, const std::string& reason) {
    ++failed_;
    if (!console_.json()) return;
    nlohmann::ordered_json object;
    addFileName(object, "file", file.shownPath);
    object["status"] = "failed";
    object["reason"] = reason;
    console_.jsonLine(object);
}

}  // namespace quillet::cli
