#include "cli/CopyNaming.hpp"

#include <sys/stat.h>

#include <vector>

#include "cli/AudioRecognition.hpp"
#include "cli/ResourceDictionary.hpp"
#include "cli/Root.hpp"
#include "import/DownloadNames.hpp"
#include "util/FilePath.hpp"

namespace quillet::cli {

namespace {

/// Lets the owner write a copy that has the mode of a read-only file, as long as this lives.
class WritableMeanwhile {
  public:
    explicit WritableMeanwhile(const std::string& path) : path_(path) {
        struct stat facts = {};
        if (stat(path.c_str(), &facts) != 0 || (facts.st_mode & S_IWUSR) != 0) return;
        mode_ = facts.st_mode & kModeBits;
        wasReadOnly_ = chmod(path.c_str(), mode_ | S_IWUSR) == 0;
    }
    ~WritableMeanwhile() {
        if (wasReadOnly_) (void)chmod(path_.c_str(), mode_);
    }
    WritableMeanwhile(const WritableMeanwhile&) = delete;
    WritableMeanwhile& operator=(const WritableMeanwhile&) = delete;

  private:
    static constexpr mode_t kModeBits = 07777;

    const std::string& path_;
    mode_t mode_ = 0;
    bool wasReadOnly_ = false;
};

/// Whether the examined file has no title or artist where `names` has one.
bool lacksOneOf(TagAPI& tags, const DownloadNames& names) {
    return (tags.getTitle().empty() && !names.title.empty()) || (tags.getArtist().empty() && !names.artist.empty());
}

}  // namespace

CopyNaming::CopyNaming() : tags_(TagAPI::initWithGenreList(resourceDictionary())) {
    if (!tags_) throw UserError("the frame library of this program cannot be read");
    // A copy that a crash of the machine takes can be made again. It keeps the times that it has from its original.
    tags_->setSaveOptions({.file = {.durability = util::Durability::unsynced, .keepTimes = true}});
}

std::string CopyNaming::name(const std::string& path, std::string_view fileName) {
    if (util::pathExtension(fileName) != "mp3" || !AudioRecognition::holdsMpegAudio(path, file_)) return "";
    const WritableMeanwhile writable(path);
    const bool written = nameDownload(*tags_, path, fileName) == 0;
    std::string problem = written ? "" : tags_->saveProblem();
    if (written && !tags_->isModified() && lacksOneOf(*tags_, namesFromFileName(fileName))) {
        const std::vector<std::string> remarks = tags_->remarks();
        problem = remarks.empty() ? "its tag takes no names" : remarks.front();
    }
    tags_->releaseAttributes();
    return problem;
}

}  // namespace quillet::cli
