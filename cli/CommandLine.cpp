#include "cli/CommandLine.hpp"

#include <CLI/CLI.hpp>
#include <exception>
#include <functional>
#include <string>

#include "cli/Commands.hpp"
#include "cli/Console.hpp"
#include "cli/Root.hpp"
#include "util/Log.hpp"

namespace quillet::cli {

namespace {

constexpr const char* kExamples = R"(Examples:
  quillet import ~/Music/new              put all audio files of a folder into the library
  quillet import --move song.m4a          the same for one file, which is moved
  quillet watch                           import whatever is dropped, until interrupted
  quillet library list                    what the library holds
  quillet library list --json | jq .title
  quillet library remove 12 --keep-file   take track 12 out; the next recheck brings it back

The library lies under a root folder: --root DIR, else $QUILLET_ROOT, else $XDG_DATA_HOME/quillet, else
~/.local/share/quillet. Exit status: 0 all done, 1 some files failed (the others are done), 2 wrong usage, 3 nothing to do,
130 interrupted with a clean state.)";

constexpr const char* kImportFooter =
    R"(The files are copied, and yours are left alone. Something in a folder that is not audio is passed over; named itself,
it is a failure. If a watch runs on the root, it imports the files; otherwise this command does it itself.

Examples:
  quillet import song.m4a other.mp3
  quillet import --json ~/Downloads > imported.jsonl)";

constexpr const char* kWatchFooter =
    R"(Drop audio files into ROOT/private/var/mobile/Media/Quillet/Import: they are imported when the folder has been still for
about a second. What is no audio goes to the folder Rejected beside it; hidden files and partial downloads (.part,
.crdownload ...) stay until they are renamed. SIGINT and SIGTERM end the watch after the batch in hand, with status 130.

Example:
  quillet --root /srv/music watch)";

struct Invocation {
    std::string root;
    bool json = false;
    std::function<int(Console&, const DevicePaths&)> command;
};

void addImport(CLI::App& app, Invocation& invocation) {
    auto options = std::make_shared<ImportOptions>();
    CLI::App* import = app.add_subcommand("import", "Put audio files, or folders of them, into the library");
    import->add_option("PATH", options->paths, "Audio files and folders")->required();
    import->add_flag("--move", options->move, "Move the files instead of copying them");
    import->footer(kImportFooter);
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
                    "Look at the drop folder once a second, for file systems that do not notify (network shares)");
    watch->footer(kWatchFooter);
    watch->callback([options, &invocation] {
        invocation.command = [options](Console& console, const DevicePaths& paths) {
            return runWatch(console, paths, *options);
        };
    });
}

void addRecheck(CLI::App& app, Invocation& invocation) {
    CLI::App* recheck =
        app.add_subcommand("recheck", "Add again what vanished from the library while its file is still there");
    recheck->footer(
        "Files in the media folder that nothing knows of, as a killed import leaves them, are imported too.");
    recheck->callback([&invocation] { invocation.command = runRecheck; });
}

void addLibrary(CLI::App& app, Invocation& invocation) {
    CLI::App* library = app.add_subcommand("library", "What the library holds");
    library->require_subcommand(1);
    CLI::App* list = library->add_subcommand("list", "All tracks, one a line");
    list->footer("In a pipe: tab-separated ID, title, artist, album, track, year and playing time.");
    list->callback([&invocation] { invocation.command = runLibraryList; });

    auto identifiers = std::make_shared<std::vector<std::uint64_t>>();
    auto keepFile = std::make_shared<bool>(false);
    CLI::App* show = library->add_subcommand("show", "All that is known of some tracks");
    show->add_option("ID", *identifiers, "Identifiers, as library list prints them")->required();
    show->callback([identifiers, &invocation] {
        invocation.command = [identifiers](Console& console, const DevicePaths& paths) {
            return runLibraryShow(console, paths, *identifiers);
        };
    });
    CLI::App* remove = library->add_subcommand("remove", "Take tracks out, with their records and files, for good");
    remove->add_option("ID", *identifiers, "Identifiers, as library list prints them")->required();
    remove->add_flag("--keep-file", *keepFile, "Take out the track alone; the next recheck brings it back");
    remove->footer("Example:\n  quillet library remove 3 4");
    remove->callback([identifiers, keepFile, &invocation] {
        invocation.command = [identifiers, keepFile](Console& console, const DevicePaths& paths) {
            return runLibraryRemove(console, paths, *identifiers, *keepFile);
        };
    });
}

}  // namespace

int runCommandLine(int argumentCount, char** arguments) {
    Invocation invocation;
    CLI::App app("Puts fetched audio files into a music library.", "quillet");
    app.set_version_flag("--version", "quillet " QUILLET_VERSION);
    app.add_option("--root", invocation.root, "The folder that the library lies under")->type_name("DIR");
    app.add_flag("--json", invocation.json, "Results as JSON Lines");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(kExamples);
    addImport(app, invocation);
    addWatch(app, invocation);
    addRecheck(app, invocation);
    addLibrary(app, invocation);
    for (CLI::App* command : app.get_subcommands(nullptr)) command->fallthrough();
    for (CLI::App* command : app.get_subcommand("library")->get_subcommands(nullptr)) command->fallthrough();
    try {
        app.parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kAllDone : kWrongUsage;
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
    if (!console.finish() && status == kAllDone) {
        console.error("standard output did not take all results");
        status = kSomeFailed;
    }
    return status;
}

}  // namespace quillet::cli
