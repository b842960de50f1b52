#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <vector>

#include "cli/CommandOptions.hpp"
#include "cli/Commands.hpp"
#include "cli/HelpTexts.hpp"

namespace quillet::cli {

namespace {

/// Decimal digits alone: "010" is no number of a track, and never the eighth.
std::uint64_t identifierOf(const std::string& text) {
    std::uint64_t identifier = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), identifier);
    if (error != std::errc() || std::to_string(identifier) != text)
        throw CLI::ValidationError(fmt::format("'{}' is no identifier of a track, as library list prints them", text));
    return identifier;
}

std::vector<std::uint64_t> identifiersOf(const std::vector<std::string>& texts) {
    std::vector<std::uint64_t> identifiers(texts.size());
    std::transform(texts.begin(), texts.end(), identifiers.begin(), identifierOf);
    return identifiers;
}

void addImport(CLI::App& app, Invocation& invocation) {
    auto options = std::make_shared<ImportOptions>();
    CLI::App* import = app.add_subcommand("import", "Put audio files, or folders of them, into the library");
    import->add_option("PATH", options->paths, "Audio files and folders")->required();
    import->add_flag("--move", options->move, "Move the files instead of copying them");
    import->add_flag_callback(
        "--no-naming", [options] { options->naming = false; },
        "Do not give copies of MP3 files title and artist from their file names");
    import->footer(kImportHelp);
    import->callback([options, &invocation] {
        invocation.command = [options](Console& console, const DevicePaths& paths) {
            return runImport(console, paths, *options);
        };
    });
}

void addWatch(CLI::App& app, Invocation& invocation) {
    auto options = std::make_shared<WatchOptions>();
    CLI::App* watch = app.add_subcommand("watch", "Import whatever is dropped, until interrupted");
    watch->add_flag("--poll", options->polling,
                    "Look at the drop folder once a second, for file systems that do not notify");
    watch->footer(kWatchHelp);
    watch->callback([options, &invocation] {
        invocation.command = [options](Console& console, const DevicePaths& paths) {
            return runWatch(console, paths, *options);
        };
    });
}

void addRecheck(CLI::App& app, Invocation& invocation) {
    CLI::App* recheck = app.add_subcommand("recheck", "Add again what vanished while its file is still there");
    recheck->footer(kRecheckHelp);
    recheck->callback([&invocation] { invocation.command = runRecheck; });
}

void addLibrary(CLI::App& app, Invocation& invocation) {
    CLI::App* library = app.add_subcommand("library", "What the library holds");
    library->require_subcommand(1);
    library->footer(kLibraryHelp);
    CLI::App* list = library->add_subcommand("list", "All tracks, one a line");
    list->footer(kListHelp);
    list->callback([&invocation] { invocation.command = runLibraryList; });

    auto texts = std::make_shared<std::vector<std::string>>();
    auto keepFile = std::make_shared<bool>(false);
    CLI::App* show = library->add_subcommand("show", "All that is known of some tracks");
    show->add_option("ID", *texts, "Identifiers, as library list prints them")->required();
    show->footer(kShowHelp);
    show->callback([texts, &invocation] {
        invocation.command = [identifiers = identifiersOf(*texts)](Console& console, const DevicePaths& paths) {
            return runLibraryShow(console, paths, identifiers);
        };
    });
    CLI::App* remove = library->add_subcommand("remove", "Take tracks out, with their files, for good");
    remove->add_option("ID", *texts, "Identifiers, as library list prints them")->required();
    remove->add_flag("--keep-file", *keepFile, "Take out the track alone; the next re-check brings it back");
    remove->footer(kRemoveHelp);
    remove->callback([texts, keepFile, &invocation] {
        invocation.command = [identifiers = identifiersOf(*texts), keepFile](Console& console,
                                                                             const DevicePaths& paths) {
            return runLibraryRemove(console, paths, identifiers, *keepFile);
        };
    });
}

}  // namespace

void addLibraryCommands(CLI::App& app, Invocation& invocation) {
    addImport(app, invocation);
    addWatch(app, invocation);
    addRecheck(app, invocation);
    addLibrary(app, invocation);
}

}  // namespace quillet::cli
