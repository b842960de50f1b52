#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "cli/AudioRecognition.hpp"
#include "cli/FileSelection.hpp"
#include "cli/PictureFile.hpp"
#include "cli/TagReading.hpp"
#include "cli/TrackView.hpp"
#include "util/FilePath.hpp"

namespace quillet::cli {

namespace {

namespace fs = std::filesystem;

class CoverWriter {
  public:
    CoverWriter(Console& console, const CoverOptions& options, bool toFolder)
        : console_(console), options_(options), toFolder_(toFolder) {}

    FileOutput write(const TagView& view) {
        const auto pictures = view.pictures();
        if (pictures.empty()) return {"", "has no picture"};
        const Picture& picture = pictures.front();
        if (picture.mimeType == "-->")
            return {"", "has only a link to a picture: " + shown(util::charactersOf(picture.image.bytes()))};
        if (picture.image.empty()) return {"", "has a picture without content"};
        if (options_.output == "-") {
            console_.bytes(util::charactersOf(picture.image.bytes()));
            return {};
        }
        const std::string target = targetOf(view, picture);
        if (const std::string reason = put(view, target, picture); !reason.empty())
            return {"", fmt::format("{} {}", shown(target), reason)};
        return {result(view, target, picture), ""};
    }

  private:
    std::string targetOf(const TagView& view, const Picture& picture) const {
        if (!toFolder_) return options_.output;
        const std::string_view name = util::deletingPathExtension(util::lastPathComponent(view.path()));
        return util::pathIn(options_.output,
                            std::string(name) + pictureExtension(picture.image.bytes(), picture.mimeType));
    }

    /// Why the picture could not be put there; "" where it was.
    std::string put(const TagView& view, const std::string& target, const Picture& picture) {
        std::error_code error;
        if (fs::equivalent(target, view.path(), error)) return "is the audio file itself";
        if (options_.force && fs::is_regular_file(target, error) && AudioRecognition::holdsMpegAudio(target, target_))
            return "is an audio file, which --force does not write over";
        // Two files of one name must not share a cover, even if old ones may be written over.
        const bool isNew = written_.insert(target).second;
        const util::Status status = putFile(target, picture.image.bytes(), options_.force && isNew);
        if (status.ok()) return "";
        if (status.error() == EEXIST)
            return isNew ? "is there already; --force writes over it" : "was written for another file already";
        if (status.error() == ENOTSUP) return "is not a regular file";
        return "cannot be written: " + status.message();
    }

    std::string result(const TagView& view, const std::string& target, const Picture& picture) const {
        nlohmann::ordered_json object;
        addFileName(object, "file", view.path());
        addFileName(object, "output", target);
        object.update(TagView::jsonOf(picture));
        if (console_.json()) return jsonWithWarnings(std::move(object), view);
        return fmt::format("{}: wrote {}, {} bytes", shown(view.path()), shown(target), picture.image.size()) +
               warningLines(console_, view, "  ");
    }

    Console& console_;
    const CoverOptions& options_;
    bool toFolder_;
    std::unordered_set<std::string> written_;
    AudioFile target_;
};

/// What is wrong with the wish itself; "" for nothing.
std::string reasonAgainst(const Console& console, const CoverOptions& options, bool toFolder) {
    const bool severalFiles = FileSelection::mayBeSeveral(options.files.paths);
    if (options.output == "-") {
        if (severalFiles) return "only one file's cover can go to standard output";
        return console.json() ? "standard output cannot take a cover and --json" : "";
    }
    if (severalFiles && !toFolder)
        return fmt::format("the covers of several files need a folder; '{}' is none", shown(options.output));
    return "";
}

}  // namespace

int runTagCover(Console& console, const CoverOptions& options) {
    std::error_code error;
    const bool toFolder = options.output != "-" && fs::is_directory(options.output, error);
    if (const std::string reason = reasonAgainst(console, options, toFolder); !reason.empty()) {
        console.error(reason + "; see quillet tag cover --help");
        return kWrongUsage;
    }
    CoverWriter writer(console, options, toFolder);
    // One at a time: which of two files of one name comes first must not be chance.
    TagFiles files = options.files;
    files.jobs = 1;
    return readTags(console, files, {}, [&writer](const TagView& view) { return writer.write(view); });
}

}  // namespace quillet::cli
