#include "tests/packaging/ios/emulation/TagAnswers.hpp"

#include <memory>
#include <string>
#include <utility>

#include "id3/TagAPI.hpp"
#include "util/Data.hpp"
#include "util/Log.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

void tell(std::string_view name, std::string_view value) {
    const std::string line = std::string(name) + ": " + std::string(value) + "\n";
    (void)util::writeAll(1, util::bytesOf(line));
}

void tell(std::string_view name, std::int64_t value) {
    tell(name, std::to_string(value));
}

std::unique_ptr<TagAPI> newTags(bool standard) {
    if (!standard) return std::make_unique<TagAPI>();
    const auto dictionary = std::make_shared<const util::PropertyDictionary>(util::PropertyDictionary{
        {"genres", util::PropertyDictionary{{"Rock", 17}, {"Pop", 13}}},
        {"genreIndexes", util::PropertyDictionary{{"17", "Rock"}, {"13", "Pop"}, {"-1", 191}}},
        {"preferences", util::PropertyDictionary{{"Standard dialect", true}, {"Default V2 tag - Major number", 3}}}});
    return TagAPI::initWithGenreList([&] { return LoadedDictionary{dictionary, "the test's own"}; });
}

void tellTexts(TagAPI& tags) {
    tell("title", tags.getTitle());
    tell("artist", tags.getArtist());
    tell("album artist", tags.getAlbumArtist());
    tell("album", tags.getAlbum());
    tell("comments", tags.getComments());
    tell("composer", tags.getComposer());
    tell("encoded by", tags.getEncodedBy().value_or("(none)"));
    for (const std::string& genre : tags.getGenreNames().value_or(std::vector<std::string>())) tell("genre", genre);
}

void tellNumbers(TagAPI& tags) {
    tell("year", tags.getYear());
    tell("track", tags.getTrack());
    tell("tracks", tags.getTotalNumberTracks());
    tell("disk", tags.getDisk());
    tell("disks", tags.getTotalNumberDisks());
    tell("padding", tags.getPaddingLength());
    tell("tag length", tags.getTagLength());
}

void tellSound(const TagAPI& tags) {
    tell("seconds", tags.getDuration());
    tell("milliseconds", tags.getDurationMilliseconds());
    tell("encoding", tags.getEncoding());
    tell("duration", tags.getDurationString());
    tell("frequency", tags.getFrequencyString());
    if (const auto hash = tags.getHash()) tell("hash", util::hexadecimal(*hash));
}

void tellFrames(const TagAPI& tags) {
    for (const Picture& picture : tags.getImage())
        tell("picture",
             picture.pictureType + ", " + picture.mimeType + ", " + picture.description + ", " + picture.image.MD5());
    for (const std::string& identifier : tags.getFrameList()) {
        for (const auto& frame : tags.getFrame(FrameID(identifier)).value_or(FrameArray())) {
            const util::Data body = frame->getRawFrameData().value_or(util::Data());
            tell(identifier, std::to_string(body.size()) + " bytes, " + body.MD5());
        }
    }
    for (const std::string& remark : tags.remarks()) tell("remark", remark);
}

void examine(TagAPI& tags, const char* path) {
    tell("audio found", tags.examineFile(path));
    tellTexts(tags);
    tellNumbers(tags);
    tellSound(tags);
    tellFrames(tags);
}

void change(TagAPI& tags) {
    tell("set title", tags.setTitle("Title \u00fc \u4e2d \U0001F3B5"));
    tell("set artist", tags.setArtist("An artist"));
    tell("set album", tags.setAlbum(std::string(300, 'x')));
    tell("set comments", tags.setComments("A comment"));
    tell("set year", tags.setYear(2013));
    tell("set track", tags.setTrack(3, 12));
    tell("set disk", tags.setDisk(1, 2));
    tell("set genre", tags.setGenreName({"Rock"}));
    tell("update", tags.updateFile());
    tell("problem", tags.saveProblem());
}

/// What goes through other code than setting texts does.
void rebuild(TagAPI& tags) {
    const std::string image = "\x89PNG\r\n\x1a\n" + std::string(5000, 'i');
    tell("set image",
         tags.setImages({{util::Data::copyOf(util::bytesOf(image)), "Cover (front)", "image/png", "\u00e9"}}));
    constexpr std::uint8_t kCompressed = 0x80;  // as 2.3 has it
    const auto frame = id3V2Frame::initTextFrame("TENC", 0, kCompressed, std::string(200, 'c'), 0, 3, tags.dialect());
    tell("set frame", tags.setFrame(frame, true));
    tell("drop", tags.dropFrame("TIT2"));
    tell("update", tags.updateFile());
    tell("problem", tags.saveProblem());
    tell("convert", tags.convertTagToV2(4));
    tell("problem", tags.saveProblem());
    tell("copy", tags.copyV2TagToV1Tag());
    tell("update", tags.updateFile());
}

}  // namespace

}  // namespace quillet

void quilletAnswer(const char* path, int standard, int changes) {
    using namespace quillet;
    util::setLogSink([](std::string_view line) { tell("log", line); });
    const auto tags = newTags(standard != 0);
    if (!tags) return tell("failed", "no dictionary");
    examine(*tags, path);
    if (changes != 0) {
        change(*tags);
        examine(*tags, path);
        rebuild(*tags);
        examine(*tags, path);
    }
    util::setLogSink({});
}
