#include "cli/CommandLine.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <string>
#include <string_view>

#include "cli/CommandOptions.hpp"
#include "cli/Commands.hpp"
#include "cli/Console.hpp"
#include "cli/HelpTexts.hpp"
#include "cli/Root.hpp"
#include "cli/ThreadLog.hpp"
#include "util/Log.hpp"

namespace quillet::cli {

namespace {

/// The names of the commands below `app`: "tag show, tag frames and tag cover" below "tag".
std::string namesOfCommands(const CLI::App& app, const std::string& prefix) {
    std::string names;
    const auto commands = app.get_subcommands(nullptr);
    for (const CLI::App* command : commands) {
        if (!names.empty()) names += command == commands.back() ? " and " : ", ";
        names += prefix + command->get_name();
    }
    return names;
}

/// Help and version go to standard output; what is wrong is one line.
int explain(CLI::App& app, const CLI::ParseError& error, int argumentCount, char** arguments) {
    if (error.get_exit_code() == 0) {
        app.exit(error);
        return kAllDone;
    }
    // As far as the commands were understood.
    const CLI::App* asked = &app;
    std::string prefix;
    while (!asked->get_subcommands().empty()) {
        asked = asked->get_subcommands().front();
        prefix += asked->get_name() + " ";
    }
    std::string reason = error.what();
    // "A subcommand is required" hides which word was taken for one.
    if (reason.find("subcommand") != reason.npos) {
        const std::string words = fmt::to_string(fmt::join(arguments + 1, arguments + argumentCount, " "));
        reason =
            fmt::format("'quillet {}' names none of the commands {}", shown(words), namesOfCommands(*asked, prefix));
    }
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    fmt::print(stderr, "quillet: {}; see quillet {}--help\n", reason, prefix);
    return kWrongUsage;
}

}  // namespace

int runCommandLine(int argumentCount, char** arguments) {
    Invocation invocation;
    CLI::App app("Puts fetched audio files into a music library, and reads and changes their tags.", "quillet");
    app.set_version_flag("--version", "quillet " QUILLET_VERSION);
    app.add_option("--root", invocation.root, "The folder that the library lies under")
        ->type_name("DIR")
        ->check([](const std::string& root) { return root.empty() ? std::string("the root is empty") : std::string(); })
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.add_flag("--json", invocation.json, "Results as JSON Lines");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(kMainHelp);
    addLibraryCommands(app, invocation);
    addTagCommands(app, invocation);
    for (CLI::App* command : app.get_subcommands(nullptr)) {
        command->fallthrough();
        for (CLI::App* below : command->get_subcommands(nullptr)) below->fallthrough();
    }
    try {
        app.parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        return explain(app, error, argumentCount, arguments);
    }

    Console console(invocation.json);
    util::setLogSink([&console](std::string_view line) {
        if (!ThreadLog::take(line)) console.note(shown(line));
    });
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
