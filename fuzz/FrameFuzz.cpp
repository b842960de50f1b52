#include <cstdlib>
#include <string>

#include "id3/id3V2Tag.hpp"
#include "util/Log.hpp"
#include "util/Text.hpp"

using namespace quillet;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

void requireSound(const std::optional<std::string>& text) {
    require(!text || util::isUTF8(*text));
}

/// The texts are well-formed, and the picture's bytes, `least` or more, are bytes of the frame.
void requireSound(const std::optional<Picture>& picture, util::Bytes body, std::size_t least) {
    if (!picture) return;
    for (const std::string* text : {&picture->pictureType, &picture->mimeType, &picture->description}) {
        require(util::isUTF8(*text));
    }
    const util::Bytes image = picture->image.bytes();
    require(image.size() >= least && image.size() < body.size() && body.last(image.size()).data() == image.data());
}

void readAll(const id3V2Frame& frame, const id3V2Tag& tag) {
    requireSound(frame.getTextFromFrame());
    requireSound(frame.getShortCommentFromFrame());
    requireSound(frame.getCommentFromFrame());
    for (const std::string& value : frame.textValues()) requireSound(value);
    for (const std::string& genre : frame.genreArrayFromFrame()) requireSound(genre);
    const util::Bytes body = frame.getRawFrameData()->bytes();
    requireSound(tag.getImageFrom2Frame(frame), body, 0);
    requireSound(tag.getImageFrom3Frame(frame), body, 1);
    require(frame.isEqual(frame));
}

std::optional<std::string> rawOf(const id3V2Frame& frame) {
    const auto raw = frame.getCompleteRawFrame();
    if (!raw) return std::nullopt;
    return std::string(util::charactersOf(raw->bytes()));
}

void requireRaw(const id3V2Frame& frame) {
    const auto raw = rawOf(frame);
    if (!raw || frame.compress() || frame.unsynch()) return;
    const std::string_view body = util::charactersOf(frame.getRawFrameData()->bytes());
    require(raw->size() == frame.length() && raw->ends_with(body));
}

/// What a writer wrote is what the readers read: a text without NULs and without what is trimmed at its ends.
void writeAndRead(std::string_view text, std::int32_t version, const Dialect& dialect) {
    std::string clean;
    for (const char c : text) clean += c == '\0' ? ' ' : c;
    clean = "<" + util::decodeUTF8(util::bytesOf(clean)) + ">";
    for (const std::int32_t coding : {1, 2, 3}) {
        const auto made = id3V2Frame::initTextFrame("TIT2", 0, 0, clean, coding, version, dialect);
        require(made->getTextFromFrame() == clean);
        id3V2Frame frame("COMM", 0, 0, version, dialect);
        require(frame.writeTextFrame(clean, coding) && frame.getTextFromFrame() == clean);
        require(frame.writeCommentToFrame(clean, "eng", coding));
        require(frame.getShortCommentFromFrame() == "" && frame.getCommentFromFrame() == clean);
    }
}

void writeAndReadPicture(const util::Data& image, std::string_view text, std::int32_t version) {
    if (image.empty()) return;
    const id3V2Tag tag(FrameLibrary(), kStandardDialect);
    const std::string description = util::decodeUTF8(util::bytesOf(text.substr(0, text.find('\0'))));
    id3V2Frame frame("APIC", 0, 0, version, kStandardDialect);
    require(frame.writeImage({image, "Cover (back)", "image/png", description}));
    const auto read = version == 2 ? tag.getImageFrom2Frame(frame) : tag.getImageFrom3Frame(frame);
    require(read && read->image == image && read->description == description && read->mimeType == "image/png" &&
            read->pictureType == "Cover (back)");
}

}  // namespace

/// The first byte chooses version, dialect and flags; the rest is the body.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    util::setLogSink([](std::string_view) {});
    if (size == 0) return 0;
    const util::Bytes input(data, size);
    const std::int32_t version = 2 + input.front() % 3;
    const Dialect& dialect = (input.front() & 0x80) != 0 ? kStandardDialect : kSystemDialect;
    const std::uint8_t formatFlags[] = {0, 0x80, 0x08, 0x82, 0xff};
    const std::uint8_t flags = formatFlags[(input.front() & 0x7f) / 3 % std::size(formatFlags)];
    // A copy of its own length, so that a read past its end shows.
    const util::Data body = util::Data::copyOf(input.subspan(1));
    const std::string_view text = util::charactersOf(body.bytes());

    id3V2Frame frame(body, "TEST", 0, flags, version, dialect);
    readAll(frame, id3V2Tag(FrameLibrary(), dialect));
    requireRaw(frame);
    writeAndRead(text, version, dialect);
    writeAndReadPicture(body, text, version);
    require(frame.appendDataToFrame(body, false) && frame.getFrameLength() == 2 * body.size());
    return 0;
}
