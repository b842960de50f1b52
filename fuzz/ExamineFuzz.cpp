#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <variant>

#include "cli/ResourceDictionary.hpp"
#include "id3/TagAPI.hpp"
#include "tests/MemoryFile.hpp"
#include "util/Bytes.hpp"
#include "util/Log.hpp"
#include "util/Text.hpp"

using namespace quillet;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

void requireText(const std::string& text) {
    require(util::isUTF8(text));
}

void requireFrames(const TagAPI& tags) {
    for (const std::string& identifier : tags.getFrameList()) {
        const auto frames = tags.getFrame(std::string_view(identifier));
        require(frames && !frames->empty());
        const auto content = tags.getContentForFrameID(identifier);
        if (!content) continue;  // no frame library, or not in it
        // A frame that cannot be read, such as an encrypted one, has no content.
        require(content->size() <= frames->size() && tags.getFrameDescription(identifier) != nullptr);
        for (const FrameContent& one : *content)
            if (const auto* text = std::get_if<std::string>(&one)) requireText(*text);
    }
}

/// What every getter promises of every file, whichever tag answers.
void requireAnswers(TagAPI& tags, std::size_t size) {
    for (const std::int32_t which : {-1, 0, 1, 2}) {
        tags.selectTag(which);
        for (const std::string& text :
             {tags.getTitle(), tags.getArtist(), tags.getAlbumArtist(), tags.getAlbum(), tags.getComments()})
            requireText(text);
        for (const std::string& name : tags.getGenreNames().value_or(std::vector<std::string>())) requireText(name);
        require(tags.getYear() >= -999 && tags.getTrack() >= 0);  // four characters of a v1 tag are "-999" at least
    }
    requireText(tags.getComposer());
    requireText(tags.getEncodedBy().value_or(""));
    for (const Picture& picture : tags.getImage()) {
        requireText(picture.mimeType);
        requireText(picture.description);
        static_cast<void>(picture.image.MD5());  // looks at every byte of the view
    }
    for (const std::string& remark : tags.remarks()) requireText(remark);
    require(tags.getFileSize() == size);
    require(tags.getHash() == tags.getHash());
    static_cast<void>(tags.getEncoding() + tags.getDurationString() + tags.getFrequencyString());
    requireFrames(tags);
}

}  // namespace

/// Whatever a file holds, examining it ends, and what was asked of it then has the shape that was promised; a second
/// look finds the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (util::setLogSink([](std::string_view) {}), true);
    static_cast<void>(quiet);
    static const auto standard = TagAPI::initWithGenreList(cli::resourceDictionary());
    static const auto plain = std::make_unique<TagAPI>();
    const test::MemoryFile file(util::charactersOf({data, size}));
    for (TagAPI* tags : {standard.get(), plain.get()}) {
        const bool found = tags->examineFile(file.path());
        requireAnswers(*tags, size);
        const std::string title = tags->getTitle();
        const std::uint32_t duration = tags->getDurationMilliseconds();
        require(tags->examineFile(file.path()) == found);
        tags->selectTag(2);
        require(tags->getTitle() == title && tags->getDurationMilliseconds() == duration);
    }
    return 0;
}
