#include "id3/id3V1Tag.hpp"

#include <algorithm>
#include <limits>

#include "id3/CStringEncoding.hpp"
#include "id3/Limits.hpp"
#include "util/ByteReader.hpp"
#include "util/Log.hpp"
#include "util/Narrow.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

/// Where the fields stand in the record (id3.org, ID3v1).
struct Field {
    std::size_t position;
    std::size_t length;
};
constexpr std::string_view kMarker = "TAG";
constexpr Field kTitle = {3, 30};
constexpr Field kArtist = {33, 30};
constexpr Field kAlbum = {63, 30};
constexpr Field kYear = {93, 4};
constexpr Field kComment = {97, 28};
constexpr Field kWholeComment = {97, 30};  // of a record without a track
constexpr std::size_t kTrackMark = 125;    // zero where a track follows (ID3v1.1)
constexpr std::size_t kTrack = 126;
constexpr Field kGenre = {127, 1};

std::size_t fromEnd(const Field& field) {
    return kV1Length - field.position;
}

}  // namespace

bool id3V1Tag::openPath(const std::string& path) {
    path_ = path;
    tag_.reset();
    return getTag();
}

bool id3V1Tag::openPath(const std::string& path, const AudioFile& file) {
    path_ = path;
    tag_.reset();
    return readRecord(file);
}

bool id3V1Tag::getTag() {
    AudioFile file;
    if (file.open(path_).ok()) return readRecord(file);
    util::log("Could not open file handle for file:" + path_);
    present_ = false;
    newTag();
    return false;
}

bool id3V1Tag::readRecord(const AudioFile& file) {
    present_ = false;
    fileSize_ = file.size();
    Record record;
    const bool read = fileSize_ >= kV1Length && file.readInto(fileSize_ - kV1Length, record) == kV1Length;
    if (!read || !isRecord(file, record)) {
        newTag();
        return read;
    }
    tag_ = record;
    present_ = true;
    changed_ = false;
    return true;
}

bool id3V1Tag::isRecord(const AudioFile& file, const Record& record) const {
    const std::string_view characters = util::charactersOf(record);
    if (!characters.starts_with(kMarker)) return false;
    if (dialect_->takesEndOfAPETag || !characters.starts_with("TAGEX") || file.size() < kV1Length + 3) return true;
    std::array<std::uint8_t, 3> front{};
    return file.readInto(file.size() - kV1Length - front.size(), front) != front.size() ||
           util::charactersOf(front) != "APE";
}

std::string id3V1Tag::getString(std::size_t position, std::size_t length) const {
    if (!tag_) return {};
    util::ByteReader record(*tag_);
    if (!record.skip(position)) return {};
    const util::Bytes bytes = record.rest().first(std::min(length, record.remaining()));
    const util::Bytes text(bytes.begin(), std::find(bytes.begin(), bytes.end(), std::uint8_t{0}));

    // Trimmed before it is decoded, so that nothing is decoded for an empty field.
    constexpr std::string_view kTrimmed = " \r\n\t";
    std::string_view characters = util::charactersOf(text);
    characters.remove_prefix(std::min(characters.find_first_not_of(kTrimmed), characters.size()));
    characters = characters.substr(0, characters.find_last_not_of(kTrimmed) + 1);
    return defaultCStringEncoding().decode(util::bytesOf(characters));
}

std::optional<std::string> id3V1Tag::field(std::size_t position, std::size_t length) const {
    if (!present_ || !tag_) return std::nullopt;
    return getString(position, length);
}

bool id3V1Tag::hasTrackByte() const {
    return tag_ && (*tag_)[kTrackMark] == 0 && (*tag_)[kTrack] != 0;
}

std::optional<std::string> id3V1Tag::getTitle() const {
    return field(kTitle.position, kTitle.length);
}

std::optional<std::string> id3V1Tag::getArtist() const {
    return field(kArtist.position, kArtist.length);
}

std::optional<std::string> id3V1Tag::getAlbum() const {
    return field(kAlbum.position, kAlbum.length);
}

std::optional<std::string> id3V1Tag::getComment() const {
    const bool isShort = dialect_->readsV1TrackAtByte125 || hasTrackByte();
    return field(kComment.position, (isShort ? kComment : kWholeComment).length);
}

std::int32_t id3V1Tag::getYear() const {
    // Four characters at most.
    return static_cast<std::int32_t>(util::integerValue(field(kYear.position, kYear.length).value_or("")));
}

std::int32_t id3V1Tag::getTrack() const {
    if (!present_ || !tag_) return 0;
    if (dialect_->readsV1TrackAtByte125) return (*tag_)[kTrackMark];
    return hasTrackByte() ? (*tag_)[kTrack] : 0;
}

std::int32_t id3V1Tag::getGenre() const {
    if (!present_ || !tag_) return 0;
    return (*tag_)[dialect_->readsV1GenreAtByte125 ? kTrackMark : kGenre.position];
}

bool id3V1Tag::setTitle(std::string_view title) {
    return setFieldWithString(title, fromEnd(kTitle), kTitle.length);
}

bool id3V1Tag::setArtist(std::string_view artist) {
    return setFieldWithString(artist, fromEnd(kArtist), kArtist.length);
}

bool id3V1Tag::setAlbum(std::string_view album) {
    return setFieldWithString(album, fromEnd(kAlbum), kAlbum.length);
}

bool id3V1Tag::setComment(std::string_view comment) {
    const bool isShort = dialect_->readsV1TrackAtByte125 || hasTrackByte();
    const Field& field = isShort ? kComment : kWholeComment;
    return setFieldWithString(comment, fromEnd(field), field.length);
}

bool id3V1Tag::setYear(std::int32_t year) {
    year = std::min(year, 9999);
    if (dialect_->writesV1NumbersAsTerminatedText) return setFieldWithNumber(year, fromEnd(kYear), kYear.length);
    return setFieldWithString(year > 0 ? std::to_string(year) : "", fromEnd(kYear), kYear.length);
}

bool id3V1Tag::setTrack(std::int32_t track) {
    if (!tag_) return false;
    if (dialect_->readsV1TrackAtByte125) {
        (*tag_)[kTrackMark] = util::lowBits<std::uint8_t>(track);
    } else if (track >= 1 && track <= 255) {
        (*tag_)[kTrackMark] = 0;
        (*tag_)[kTrack] = static_cast<std::uint8_t>(track);
    } else if (hasTrackByte()) {  // otherwise the comment stands there
        (*tag_)[kTrack] = 0;
    }
    changed_ = true;
    return true;
}

bool id3V1Tag::setGenre(std::int32_t genre) {
    if (dialect_->writesV1NumbersAsTerminatedText) return setFieldWithNumber(genre, fromEnd(kGenre), kGenre.length);
    if (!tag_) return false;
    (*tag_)[kGenre.position] = util::narrow<std::uint8_t>(genre).value_or(kNoGenre);
    changed_ = true;
    return true;
}

bool id3V1Tag::setFieldWithString(std::string_view text, std::size_t offset, std::size_t length) {
    if (!tag_ || offset > kV1Length || length > offset) return false;
    if (util::utf16Length(text) > length) setError(1, "setFieldWithString: Data in field to long");
    std::string bytes = defaultCStringEncoding().encode(text.substr(0, text.find('\0')));
    bytes.resize(length);
    std::copy(bytes.begin(), bytes.end(), tag_->end() - static_cast<std::ptrdiff_t>(offset));
    changed_ = true;
    return true;
}

bool id3V1Tag::setFieldWithNumber(std::int32_t number, std::size_t offset, std::size_t length) {
    if (!tag_ || offset > kV1Length || length > offset) return false;
    std::string text = std::to_string(number);
    text.resize(length);
    // Meant so: a year ends the comment behind it, and what is read back of the record counts on that.
    if (length < offset) text.push_back('\0');
    std::copy(text.begin(), text.end(), tag_->end() - static_cast<std::ptrdiff_t>(offset));
    changed_ = true;
    return true;
}

bool id3V1Tag::newTag() {
    clearError();
    tag_.emplace();
    std::copy(kMarker.begin(), kMarker.end(), tag_->begin());
    if (!dialect_->limitsV1Genres) tag_->back() = kNoGenre;
    changed_ = true;
    return true;
}

void id3V1Tag::clearError() {
    errorNo_ = 0;
    errorDescription_.reset();
}

bool id3V1Tag::setError(std::int32_t code, std::string_view reason) {
    errorNo_ = code;
    errorDescription_ = reason;
    return false;
}

}  // namespace quillet
