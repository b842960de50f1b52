#include <fmt/format.h>

#include <charconv>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "cli/CommandOptions.hpp"
#include "cli/Commands.hpp"
#include "cli/HelpTexts.hpp"
#include "util/Text.hpp"

namespace quillet::cli {

namespace {

constexpr std::int32_t kLargestNumber = 65535;
constexpr std::int32_t kLargestYear = 9999;

/// 1 to `largest`, of digits alone.
std::optional<std::int32_t> numberIn(std::string_view text, std::int32_t largest) {
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    return isNumber && number >= 1 && number <= largest ? std::optional(number) : std::nullopt;
}

std::optional<NumberOfTotal> numberOfTotalIn(std::string_view text) {
    if (text.empty()) return NumberOfTotal();
    const std::size_t slash = text.find('/');
    const auto number = numberIn(text.substr(0, slash), kLargestNumber);
    if (!number) return std::nullopt;
    if (slash == text.npos) return NumberOfTotal{*number, std::nullopt};
    const auto total = numberIn(text.substr(slash + 1), kLargestNumber);
    return total ? std::optional(NumberOfTotal{*number, total}) : std::nullopt;
}

/// An option whose value may be empty, which the parser's own conversions take for none.
void addValue(CLI::App* command, const char* name, const char* type, const char* description,
              const std::function<std::string(const std::string&)>& take) {
    command
        ->add_option(
            name,
            [name, take](const std::vector<std::string>& values) {
                for (const std::string& value : values) {
                    std::string reason = util::isUTF8(value) ? take(value) : "is not UTF-8";
                    if (!reason.empty()) throw CLI::ValidationError(name, fmt::format("'{}' {}", value, reason));
                }
                return true;
            },
            description)
        ->type_name(type)
        ->expected(1);
}

void addText(CLI::App* command, const char* name, const char* description, std::optional<std::string>& target) {
    addValue(command, name, "TEXT", description, [&target](const std::string& value) {
        target = value;
        return "";
    });
}

void addNumber(CLI::App* command, const char* name, const char* description, std::optional<NumberOfTotal>& target) {
    addValue(command, name, "N[/M]", description, [&target](const std::string& value) {
        target = numberOfTotalIn(value);
        return target ? "" : "is no number from 1 to 65535, or two as in 3/12";
    });
}

void addEditOptions(CLI::App* command, EditFiles& files) {
    command->add_option("FILE", files.paths, "Files, and folders whose .mp3 files are meant")->required();
    command->add_flag("--dry-run", files.dryRun, "Tell what would change, and write nothing");
    command->add_flag("--keep-mtime", files.keepTimes, "Leave the time of the last change as it is");
    command->add_flag("--force", files.force, "Also tags that were not read faithfully, and without MPEG audio");
    command->add_flag("--break-links", files.breakLinks, "Also files with several names, under this one alone");
    command->add_flag("--no-sync", files.unsynced, "Do not wait until it is on the disk");
}

/// The frames that have an option of their own, by its name.
const std::map<std::string, std::set<std::string>> kFramesOfOptions = {
    {"--title", {"TIT2", "TT2"}},        {"--artist", {"TPE1", "TP1"}},   {"--album", {"TALB", "TAL"}},
    {"--album-artist", {"TPE2", "TP2"}}, {"--composer", {"TCOM", "TCM"}}, {"--year", {"TYER", "TDRC", "TYE"}},
    {"--track", {"TRCK", "TRK"}},        {"--disc", {"TPOS", "TPA"}},     {"--genre", {"TCON", "TCO"}},
    {"--comment", {"COMM", "COM"}},
};

/// What would be set twice; "" for nothing.
std::string twiceGiven(const CLI::App& command, const std::vector<FrameArgument>& frames) {
    std::set<std::pair<std::string, std::string>> seen;
    for (const FrameArgument& frame : frames) {
        if (!seen.emplace(frame.identifier, frame.description.value_or("")).second)
            return "--frame " + frame.identifier;
        for (const auto& [option, identifiers] : kFramesOfOptions)
            if (identifiers.contains(frame.identifier) && command.count(option) > 0)
                return option + " and --frame " + frame.identifier;
    }
    return "";
}

void addSet(CLI::App& tag, Invocation& invocation) {
    auto options = std::make_shared<SetOptions>();
    CLI::App* command = tag.add_subcommand("set", "Change what the tags say");
    SetOptions& wish = *options;
    addText(command, "--title", "The title; an empty text takes it away, here and below", wish.title);
    addText(command, "--artist", "Who performs", wish.artist);
    addText(command, "--album", "The album", wish.album);
    addText(command, "--album-artist", "Whom the album is by", wish.albumArtist);
    addValue(command, "--year", "N", "The year, 1 to 9999", [&wish](const std::string& value) {
        wish.year = value.empty() ? 0 : numberIn(value, kLargestYear);
        return wish.year ? "" : "is no year from 1 to 9999";
    });
    addNumber(command, "--track", "The track, and how many there are", wish.track);
    addNumber(command, "--disc", "The disc, and how many there are", wish.disc);
    addValue(command, "--genre", "TEXT", "May be given several times", [&wish](const std::string& value) {
        if (!wish.genres) wish.genres.emplace();
        if (!value.empty()) wish.genres->push_back(value);
        return "";
    });
    addText(command, "--comment", "The comment; those that programs wrote for themselves stay", wish.comment);
    addText(command, "--composer", "Who wrote it", wish.composer);
    addValue(command, "--cover", "IMAGE", "A file; none takes all pictures away", [&wish](const std::string& value) {
        wish.cover = value == "none" ? "" : value;
        return "";
    });
    addValue(command, "--frame", "ID=TEXT", "Any frame; may be given several times", [&wish](const std::string& value) {
        const auto frame = FrameArgument::parse(value);
        if (frame) wish.frames.push_back(*frame);
        return frame ? "" : "is not of the form ID=TEXT, or ID=DESCRIPTION=TEXT for TXXX, WXXX, COMM and USLT";
    });
    for (const char* repeatable : {"--genre", "--frame"})
        command->get_option(repeatable)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->allow_extra_args(false);
    addEditOptions(command, wish.files);
    command->footer(kTagSetHelp);
    command->callback([options, command, &invocation] {
        const SetOptions& given = *options;
        const bool isAnything = given.title || given.artist || given.album || given.albumArtist || given.composer ||
                                given.comment || given.year || given.track || given.disc || given.genres ||
                                given.cover || !given.frames.empty();
        if (!isAnything) throw CLI::ValidationError("nothing to set was given, such as --title");
        if (const std::string twice = twiceGiven(*command, given.frames); !twice.empty())
            throw CLI::ValidationError(twice + " set the same frame twice");
        invocation.command = [options](Console& console, const DevicePaths& /*paths*/) {
            return runTagSet(console, *options);
        };
    });
}

/// A command whose one choice is a word: the first argument, or what `option` is given.
template <typename Choice>
void addChoice(CLI::App& tag, Invocation& invocation, const char* name, const char* description, const char* help,
               const char* option, const char* optionDescription, const std::map<std::string, Choice>& choices,
               int (*run)(Console&, const EditFiles&, Choice)) {
    struct Options {
        EditFiles files;
        std::string word;
    };
    auto options = std::make_shared<Options>();
    CLI::App* command = tag.add_subcommand(name, description);
    std::string words;
    for (const auto& [word, choice] : choices) words += (words.empty() ? "" : "|") + word;
    command->add_option(option, options->word, optionDescription)
        ->required()
        ->type_name(words)
        ->check([choices, words](const std::string& word) {
            return choices.contains(word) ? std::string() : fmt::format("'{}' is none of {}", word, words);
        });
    addEditOptions(command, options->files);
    command->footer(help);
    command->callback([options, choices, run, &invocation] {
        invocation.command = [options, choices, run](Console& console, const DevicePaths& /*paths*/) {
            return run(console, options->files, choices.at(options->word));
        };
    });
}

}  // namespace

void addTagEditCommands(CLI::App& tag, Invocation& invocation) {
    addSet(tag, invocation);
    addChoice<TagKind>(tag, invocation, "copy", "Copy what one tag of a file says into the other", kTagCopyHelp, "WAY",
                       "From which tag to which", {{"v1-to-v2", TagKind::v1}, {"v2-to-v1", TagKind::v2}}, runTagCopy);
    addChoice<std::uint32_t>(tag, invocation, "convert", "Make the ID3v2 tag one of another version", kTagConvertHelp,
                             "--to", "The version", {{"2.2", 2}, {"2.3", 3}, {"2.4", 4}}, runTagConvert);
    addChoice<TagKind>(tag, invocation, "drop", "Take a tag out of its file", kTagDropHelp, "TAG", "Which one",
                       {{"v1", TagKind::v1}, {"v2", TagKind::v2}}, runTagDrop);
}

}  // namespace quillet::cli
