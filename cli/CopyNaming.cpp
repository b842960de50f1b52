#include "cli/CopyNaming.hpp"

#include "cli/AudioRecognition.hpp"
#include "cli/ResourceDictionary.hpp"
#include "cli/Root.hpp"
#include "import/DownloadNames.hpp"
#include "util/FilePath.hpp"

namespace quillet::cli {

CopyNaming::CopyNaming() : tags_(TagAPI::initWithGenreList(resourceDictionary())) {
    if (!tags_) throw UserError("the frame library of this program cannot be read");
    // A copy that a crash of the machine takes can be made again. It keeps the times that it has from its original.
    tags_->setSaveOptions({.file = {.durability = util::Durability::unsynced, .keepTimes = true}});
}

std::string CopyNaming::name(const std::string& path, std::string_view fileName) {
    if (util::pathExtension(fileName) != "mp3" || !AudioRecognition::holdsMpegAudio(path, file_)) return "";
    const bool written = nameDownload(*tags_, path, fileName) == 0;
    const std::string problem = tags_->saveProblem();
    tags_->releaseAttributes();
    return written ? "" : problem;
}

}  // namespace quillet::cli
