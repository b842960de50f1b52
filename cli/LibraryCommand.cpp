#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/Commands.hpp"
#include "cli/LibraryAccess.hpp"
#include "cli/Root.hpp"
#include "cli/Table.hpp"
#include "cli/TrackView.hpp"

namespace quillet::cli {

namespace {

std::string orNothing(const std::optional<std::string>& text) {
    return shown(text.value_or(""));
}

/// Null, and a remark, where the root has no library yet.
std::unique_ptr<SqliteMusicLibrary> openForReading(Console& console, const DevicePaths& paths) {
    if (SqliteMusicLibrary::exists(paths))
        return std::make_unique<SqliteMusicLibrary>(paths, SqliteMusicLibrary::Mode::readOnly);
    console.note(fmt::format("there is no library at {} yet; quillet import makes one", paths.root()));
    return nullptr;
}

nlohmann::ordered_json jsonOf(const util::PropertyValue& value) {
    if (const auto* number = value.signedInteger()) return *number;
    if (const auto* number = value.unsignedInteger()) return *number;
    if (const auto* number = value.real()) return *number;
    if (const auto* truth = value.boolean()) return *truth;
    if (const auto* data = value.data()) return fmt::format("{} bytes", data->size());
    const auto text = value.stringValue();
    return text ? nlohmann::ordered_json(*text) : nlohmann::ordered_json(nullptr);
}

void showTrack(Console& console, const LibraryTrack& track) {
    const TrackView view(track);
    nlohmann::ordered_json object = view.json();
    // Everything the library was given, by the library's own names, each value of the type it has there.
    nlohmann::ordered_json& values = object["values"] = nlohmann::ordered_json::object();
    for (const auto& [property, value] : track.values) values[property] = jsonOf(value);
    if (console.json()) return console.jsonLine(object);
    const auto print = [&](const std::string& key, const nlohmann::ordered_json& value) {
        if (value.is_null()) return;
        const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
        console.line(fmt::format("{} {}", console.coloured(Colour::bold, fmt::format("{:<13}", key)), shown(text)));
    };
    for (const auto& [key, value] : object.items()) {
        if (key != "values") print(key, value);
    }
}

}  // namespace

int runLibraryList(Console& console, const DevicePaths& paths) {
    const auto library = openForReading(console, paths);
    if (library == nullptr) return kAllDone;
    Table table(console,
                {{"ID", true}, {"Title"}, {"Artist"}, {"Album"}, {"Track", true}, {"Year", true}, {"Time", true}});
    library->forEachTrack([&](const LibraryTrack& track) {
        const TrackView view(track);
        if (console.json()) return console.jsonLine(view.json());
        const nlohmann::ordered_json year = view.year();
        table.add({std::to_string(track.persistentID), shown(view.displayTitle()),
                   orNothing(view.text("item_artist.item_artist")), orNothing(view.text("album.album")),
                   view.ofTotal("track_number", "item_extra.track_count"),
                   year.is_string() ? shown(year.get<std::string>()) : (year.is_null() ? "" : year.dump()),
                   view.duration()});
    });
    table.print();
    return kAllDone;
}

int runLibraryShow(Console& console, const DevicePaths& paths, const std::vector<std::uint64_t>& identifiers) {
    const auto library = openForReading(console, paths);
    int status = kAllDone;
    for (const std::uint64_t identifier : identifiers) {
        const auto track = library ? library->track(identifier) : std::nullopt;
        if (!track) {
            console.error(fmt::format("{}: no such track", identifier));
            if (console.json())
                console.jsonLine(
                    {{"persistentID", std::to_string(identifier)}, {"status", "failed"}, {"reason", "no such track"}});
            status = kSomeFailed;
            continue;
        }
        if (!console.json() && identifier != identifiers.front()) console.line("");
        showTrack(console, *track);
    }
    return status;
}

int runLibraryRemove(Console& console, const DevicePaths& paths, const std::vector<std::uint64_t>& identifiers,
                     bool keepFile) {
    if (openForReading(console, paths) == nullptr) return kSomeFailed;
    int status = kAllDone;
    const auto report = [&](std::uint64_t identifier, const RemovalAnswer& answer) {
        const bool removed = answer.error.empty() && answer.removal == LibrarySide::Removal::removed;
        const std::string failure = answer.error.empty() ? "no such track" : answer.error;
        if (!removed) {
            status = kSomeFailed;
            console.error(fmt::format("{}: {}", identifier, failure));
        }
        if (console.json()) {
            nlohmann::ordered_json object = {{"persistentID", std::to_string(identifier)},
                                             {"status", removed ? "removed" : "failed"}};
            if (!removed) object["reason"] = failure;
            if (removed) object["fileKept"] = keepFile;
            console.jsonLine(object);
        } else if (removed) {
            console.line(fmt::format("{}: removed{}", identifier, keepFile ? "; its file is kept" : ""));
        }
    };
    std::size_t done = 0;  // a server that ends half way leaves the rest to the next one, or to us
    withLibrarySide(
        console, paths, "library remove",
        [&](LibrarySide& side) {
            for (; done < identifiers.size(); ++done) {
                RemovalAnswer answer;
                try {
                    answer.removal = side.remove(identifiers[done], keepFile);
                } catch (const std::runtime_error& error) {
                    answer.error = error.what();
                }
                report(identifiers[done], answer);
            }
        },
        [&](MessagingCenters& centers) {
            for (; done < identifiers.size(); ++done) {
                const auto answer = requestRemoval(centers, identifiers[done], keepFile);
                if (!answer) return false;
                report(identifiers[done], *answer);
            }
            return true;
        });
    return status;
}

}  // namespace quillet::cli
