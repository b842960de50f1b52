#include <utility>

#include "id3/TagAPI.hpp"
#include "util/Narrow.hpp"

namespace quillet {

std::string TagAPI::text(std::optional<std::string> (id3V2Tag::*fromV2)() const,
                         std::optional<std::string> (id3V1Tag::*fromV1)() const) {
    if (asksV2()) {
        // In the standard dialect an empty text is a missing one.
        auto found = (v2Tag_.get()->*fromV2)();
        if (found && (dialect().answersFromOneTag || !found->empty())) return *std::move(found);
    }
    return asksV1() ? (v1Tag_.get()->*fromV1)().value_or("") : "";
}

std::int32_t TagAPI::number(std::int32_t (id3V2Tag::*fromV2)() const, std::int32_t (id3V1Tag::*fromV1)() const) {
    if (asksV2()) {
        const std::int32_t found = (v2Tag_.get()->*fromV2)();
        if (found >= (dialect().answersFromOneTag ? 0 : 1)) return found;
    }
    return asksV1() ? (v1Tag_.get()->*fromV1)() : 0;
}

std::string TagAPI::getTitle() {
    return text(&id3V2Tag::getTitle, &id3V1Tag::getTitle);
}

std::string TagAPI::getArtist() {
    return text(&id3V2Tag::getArtist, &id3V1Tag::getArtist);
}

std::string TagAPI::getAlbumArtist() {
    if (dialect().takesV1ArtistForAlbumArtist) return text(&id3V2Tag::getAlbumArtist, &id3V1Tag::getArtist);
    return asksV2() ? v2Tag_->getAlbumArtist().value_or("") : "";
}

std::string TagAPI::getAlbum() {
    return text(&id3V2Tag::getAlbum, &id3V1Tag::getAlbum);
}

std::string TagAPI::getComments() {
    return text(&id3V2Tag::getComments, &id3V1Tag::getComment);
}

std::int32_t TagAPI::getYear() {
    return number(&id3V2Tag::getYear, &id3V1Tag::getYear);
}

std::int32_t TagAPI::getTrack() {
    return number(&id3V2Tag::getTrack, &id3V1Tag::getTrack);
}

std::int32_t TagAPI::getTotalNumberTracks() const {
    return v2TagPresent() ? v2Tag_->getTotalNumberTracks() : 0;
}

std::int32_t TagAPI::getDisk() const {
    return v2TagPresent() ? v2Tag_->getDisk() : 0;
}

std::int32_t TagAPI::getTotalNumberDisks() const {
    return v2TagPresent() ? v2Tag_->getTotalNumberDisks() : 0;
}

std::vector<Picture> TagAPI::getImage() const {
    return v2TagPresent() ? v2Tag_->getImage() : std::vector<Picture>();
}

std::string TagAPI::getComposer() const {
    return v2TagPresent() ? v2Tag_->getComposer() : "";
}

std::optional<std::string> TagAPI::getEncodedBy() const {
    return v2TagPresent() ? std::optional(v2Tag_->getEncodedBy()) : std::nullopt;
}

std::int32_t TagAPI::getDuration() const {
    return mp3Header_ ? mp3Header_->getSeconds() : 0;
}

std::uint32_t TagAPI::getDurationMilliseconds() const {
    return mp3Header_ ? util::lowBits<std::uint32_t>(mp3Header_->getMilliseconds()) : 0;
}

std::int32_t TagAPI::getBitRate() const {
    return mp3Header_ ? mp3Header_->getBitRate() : 0;
}

std::int32_t TagAPI::getFrequency() const {
    return mp3Header_ ? mp3Header_->getFrequency() : 0;
}

std::string TagAPI::getEncoding() const {
    return mp3Header_ ? mp3Header_->getEncodingString() : "";
}

std::string TagAPI::getDurationString() const {
    return mp3Header_ ? mp3Header_->getSecondsString() : "";
}

std::string TagAPI::getVersionString() const {
    return mp3Header_ ? mp3Header_->getVersionString() : "";
}

std::string TagAPI::getLayerString() const {
    return mp3Header_ ? mp3Header_->getLayerString() : "";
}

std::string TagAPI::getBitRateString() const {
    return mp3Header_ ? mp3Header_->getBitRateString() : "";
}

std::string TagAPI::getFrequencyString() const {
    return mp3Header_ ? mp3Header_->getFrequencyString() : "";
}

std::string TagAPI::getChannelString() const {
    return mp3Header_ ? mp3Header_->getChannelString() : "";
}

std::optional<std::array<std::uint8_t, 16>> TagAPI::getHash() const {
    return mp3Header_ ? mp3Header_->getHash() : std::nullopt;
}

std::uint32_t TagAPI::getPaddingLength() const {
    return v2Tag_ ? v2Tag_->getPaddingLength() : 0;
}

std::uint32_t TagAPI::getTagLength() const {
    return v2Tag_ ? v2Tag_->tagLength() : 0;
}

std::optional<std::vector<FrameContent>> TagAPI::getContentForFrameID(std::string_view identifier) const {
    return v2Tag_ ? v2Tag_->getContentForFrameID(identifier) : std::nullopt;
}

std::optional<FrameArray> TagAPI::getFrame(FrameID identifier) const {
    return v2Tag_ ? v2Tag_->getFramesTitled(identifier) : std::nullopt;
}

const util::PropertyDictionary* TagAPI::getFrameDescription(std::string_view identifier) const {
    return frameLibrary_.record(FrameLibrary::versionKey(v2TagVersion()), identifier);
}

std::vector<std::string> TagAPI::getFrameList() const {
    return v2Tag_ ? v2Tag_->frameList() : std::vector<std::string>();
}

}  // namespace quillet
