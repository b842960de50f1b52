#include "cli/CommandLine.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <exception>
#include <functional>
#include <string>
#include <string_view>

#include "cli/Commands.hpp"
#include "cli/Console.hpp"
#include "cli/HelpTexts.hpp"
#include "cli/Root.hpp"
#include "util/Log.hpp"

namespace quillet::cli {

namespace {

struct Invocation {
    std::string root;
    bool json = false;
    std::function<int(Console&, const DevicePaths&)> command;
};

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

/// Help and version go to standard output; what is wrong is one line.
int explain(CLI::App& app, const CLI::ParseError& error, int argumentCount, char** arguments) {
    if (error.get_exit_code() == 0) {
        app.exit(error);
        return kAllDone;
    }
    std::string reason = error.what();
    // "A subcommand is required" hides which word was taken for one.
    if (reason.find("subcommand") != reason.npos) {
        const std::string words = fmt::to_string(fmt::join(arguments + 1, arguments + argumentCount, " "));
        reason = fmt::format(
            "'quillet {}' names none of the commands import, watch, recheck, library list, library "
            "show and library remove",
            shown(words));
    }
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    fmt::print(stderr, "quillet: {}; see quillet --help\n", reason);
    return kWrongUsage;
}

}  // namespace

int runCommandLine(int argumentCount, char** arguments) {
    Invocation invocation;
    CLI::App app("Puts fetched audio files into a music library.", "quillet");
    app.set_version_flag("--version", "quillet " QUILLET_VERSION);
    app.add_option("--root", invocation.root, "The folder that the library lies under")
        ->type_name("DIR")
        ->check([](const std::string& root) { return root.empty() ? std::string("the root is empty") : std::string(); })
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.add_flag("--json", invocation.json, "Results as JSON Lines");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(kMainHelp);
    addImport(app, invocation);
    addWatch(app, invocation);
    addRecheck(app, invocation);
    addLibrary(app, invocation);
    for (CLI::App* command : app.get_subcommands(nullptr)) command->fallthrough();
    for (CLI::App* command : app.get_subcommand("library")->get_subcommands(nullptr)) command->fallthrough();
    try {
        app.parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        return explain(app, error, argumentCount, arguments);
    }

    Console console(invocation.json);
    util::setLogSink([&console](std::string_view line) { console.note(shown(line)); });
    int status = kSomeFailed;
    try {
        status = invocation.command(console, rootPaths(invocation.root));
    } catch (const std::exception& error) {
        console.error(error.what());
    }
    util::setLogSink({});
    if (!console.finish() && status == kAllDone) status = kSomeFailed;
    return status;
}

}  // namespace quillet::cli
