#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "cli/Console.hpp"
#include "platform/DevicePaths.hpp"

namespace quillet::cli {

/// What a command line asks for.
struct Invocation {
    std::string root;
    bool json = false;
    std::function<int(Console&, const DevicePaths&)> command;
};

/// Each adds a group of commands with their options; the one that is called puts itself into `invocation`, which must
/// outlive the parsing.
void addLibraryCommands(CLI::App& app, Invocation& invocation);
void addTagCommands(CLI::App& app, Invocation& invocation);
/// Those below "tag" that change files.
void addTagEditCommands(CLI::App& tag, Invocation& invocation);

}  // namespace quillet::cli
