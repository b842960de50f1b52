#include <memory>
#include <utility>

#include "cli/CommandOptions.hpp"
#include "cli/Commands.hpp"
#include "cli/HelpTexts.hpp"

namespace quillet::cli {

namespace {

constexpr unsigned kMostJobs = 256;

void addFiles(CLI::App* command, TagFiles& files) {
    command->add_option("FILE", files.paths, "Files, and folders whose .mp3 files are meant")->required();
}

void addReader(CLI::App& parent, Invocation& invocation, const char* name, const char* description, const char* help,
               int (*run)(Console&, const TagFiles&)) {
    auto files = std::make_shared<TagFiles>();
    CLI::App* command = parent.add_subcommand(name, description);
    addFiles(command, *files);
    command->add_option("--jobs", files->jobs, "How many files are read at a time; by default one for each core")
        ->type_name("N")
        ->check(CLI::Range(1U, kMostJobs));
    command->footer(help);
    command->callback([files, run, &invocation] {
        invocation.command = [files, run](Console& console, const DevicePaths& /*paths*/) {
            return run(console, *files);
        };
    });
}

void addCover(CLI::App& parent, Invocation& invocation) {
    auto options = std::make_shared<CoverOptions>();
    CLI::App* cover = parent.add_subcommand("cover", "Write a file's first picture to a file of its own");
    addFiles(cover, options->files);
    cover->add_option("-o,--output", options->output, "A file, - for standard output, or a folder")
        ->required()
        ->type_name("OUT")
        ->check([](const std::string& output) {
            return output.empty() ? std::string("the name to write to is empty") : std::string();
        });
    cover->add_flag("--force", options->force, "Write over a file that is there already");
    cover->footer(kTagCoverHelp);
    cover->callback([options, &invocation] {
        invocation.command = [options](Console& console, const DevicePaths& /*paths*/) {
            return runTagCover(console, *options);
        };
    });
}

}  // namespace

void addTagCommands(CLI::App& app, Invocation& invocation) {
    addReader(app, invocation, "info", "The audio facts: format, bit rate, channels, duration, fingerprint", kInfoHelp,
              runInfo);
    CLI::App* tag = app.add_subcommand("tag", "What the tags of files say, and changing them");
    tag->require_subcommand(1);
    tag->footer(kTagHelp);
    addReader(*tag, invocation, "show", "Title, artist, album and all else that is known by meaning", kTagShowHelp,
              runTagShow);
    addReader(*tag, invocation, "frames", "Every frame of the ID3v2 tag, in order", kTagFramesHelp, runTagFrames);
    addCover(*tag, invocation);
    addTagEditCommands(*tag, invocation);
}

}  // namespace quillet::cli
