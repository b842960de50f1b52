#include <cstdlib>

#include "id3/Limits.hpp"
#include "id3/id3V2Tag.hpp"
#include "tests/MemoryFile.hpp"
#include "util/Log.hpp"
#include "util/Text.hpp"

using namespace quillet;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

void requireText(const std::optional<std::string>& text) {
    require(!text || util::isUTF8(*text));
}

void askEverything(const id3V2Tag& tag) {
    for (const auto& text : {tag.getTitle(), tag.getArtist(), tag.getAlbumArtist(), tag.getAlbum(), tag.getComments()})
        requireText(text);
    requireText(tag.getComposer());
    requireText(tag.getEncodedBy());
    for (const auto getter : {&id3V2Tag::getYear, &id3V2Tag::getTrack, &id3V2Tag::getTotalNumberTracks,
                              &id3V2Tag::getDisk, &id3V2Tag::getTotalNumberDisks})
        static_cast<void>((tag.*getter)());
    if (const auto genres = tag.getGenreNames())
        for (const std::string& genre : *genres) requireText(genre);
    for (const Picture& picture : tag.getImage()) requireText(picture.description);
    std::size_t titled = 0;
    for (const std::string& identifier : tag.frameList()) {
        titled += tag.getFramesTitled(std::string_view(identifier))->size();
        require(tag.getFirstFrameNamed(std::string_view(identifier)) ==
                tag.getFramesTitled(std::string_view(identifier))->front().get());
        static_cast<void>(tag.getContentForFrameID(identifier));
    }
    require(titled == tag.frames().all().size());
}

void read(const std::string& path, std::size_t size, const Dialect& dialect) {
    id3V2Tag tag(FrameLibrary(), dialect);
    tag.setITunesCompatability(true);
    require(tag.openPath(path));
    askEverything(tag);
    require(tag.tagPresent() || (tag.frames().empty() && tag.audioStart() == 0 && tag.tagLength() == 0));
    require(!tag.tagPresent() || tag.tagPositionInFile() + kTagHeaderLength <= size);
    // The standards' tag is never longer than its file, but for a footer that is cut off.
    if (!dialect.system) require(tag.audioStart() <= size + (tag.footer() ? kTagHeaderLength : 0));
    const std::size_t frames = tag.frames().all().size();
    AudioFile file;
    require(file.open(path).ok() && tag.openPath(path, file) && tag.frames().all().size() == frames);
    tag.setExhastiveSearch(true);
    static_cast<void>(tag.getTag());
    askEverything(tag);
    require(tag.newTag(3, 0) && tag.frames().empty());
}

}  // namespace

/// Whatever a file holds, it has a tag or none, in both dialects, and everything can be asked of it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    util::setLogSink([](std::string_view) {});
    const test::MemoryFile file(util::charactersOf({data, size}));
    read(file.path(), size, kSystemDialect);
    read(file.path(), size, kStandardDialect);
    return 0;
}
