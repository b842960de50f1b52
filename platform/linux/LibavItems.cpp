#include "platform/linux/LibavItems.hpp"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <string_view>

#include "util/Text.hpp"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

namespace quillet {

namespace {

using Names = std::initializer_list<const char*>;

constexpr std::uint32_t fourCharacterCode(std::string_view code) {
    std::uint32_t value = 0;
    for (const char character : code) value = (value << 8) | static_cast<std::uint8_t>(character);
    return value;
}

/// The value under the first of `names` that is there, or null.
const char* find(const AVDictionary* tags, Names names) {
    for (const char* name : names) {
        if (const AVDictionaryEntry* entry = av_dict_get(tags, name, nullptr, 0)) return entry->value;
    }
    return nullptr;
}

/// What libavformat calls the tags that become items, whatever the container calls them.
const Names kTitle = {"title"};
const Names kArtist = {"artist"};
const Names kAlbum = {"album"};
const Names kDate = {"date", "year"};
const Names kAlbumArtist = {"album_artist"};
const Names kTrack = {"track"};
const Names kTrackTotal = {"tracktotal", "totaltracks"};
const Names kDisc = {"disc"};
const Names kDiscTotal = {"disctotal", "totaldiscs"};

bool hasTags(const AVDictionary* tags) {
    const auto present = [tags](const Names& names) { return find(tags, names) != nullptr; };
    return std::ranges::any_of(
        std::initializer_list<Names>{kTitle, kArtist, kAlbum, kDate, kAlbumArtist, kTrack, kDisc}, present);
}

void addText(MetadataFormat& format, const AVDictionary* tags, const Names& names, std::string commonKey,
             std::optional<std::uint32_t> key = {}) {
    const char* value = find(tags, names);
    if (value == nullptr) return;
    const util::Bytes bytes = util::bytesOf(value);
    std::string text = util::isUTF8(value) ? std::string(value) : util::decodeLatin1(bytes);
    format.items.push_back({std::move(commonKey), "itsk", key, util::PropertyValue(std::move(text))});
}

std::optional<std::uint16_t> number(std::string_view text) {
    text = util::trimmed(text);
    std::uint16_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

/// "3/12", or "3" with a total of its own.
void addNumbers(MetadataFormat& format, const AVDictionary* tags, const Names& names, const Names& totalNames,
                std::string_view code) {
    const char* value = find(tags, names);
    const char* separateTotal = find(tags, totalNames);
    const auto pieces = util::split(value == nullptr ? "" : value, '/');
    const auto count = number(pieces[0]);
    auto total = pieces.size() > 1 ? number(pieces[1]) : std::nullopt;
    if (!total && separateTotal != nullptr) total = number(separateTotal);
    if (!count && !total) return;

    std::vector<std::uint8_t> binary(8);
    const auto put = [&binary](std::size_t offset, std::uint16_t field) {
        binary[offset] = static_cast<std::uint8_t>(field >> 8);
        binary[offset + 1] = static_cast<std::uint8_t>(field & 0xFF);
    };
    put(2, count.value_or(0));
    put(4, total.value_or(0));
    format.items.push_back({"", "itsk", fourCharacterCode(code), util::PropertyValue(util::Data(std::move(binary)))});
}

void addPictures(MetadataFormat& format, const AVFormatContext& file) {
    for (const AVStream* stream : std::span(file.streams, file.nb_streams)) {
        const AVPacket& picture = stream->attached_pic;
        if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0 || picture.data == nullptr) continue;
        if ((stream->disposition & AV_DISPOSITION_TIMED_THUMBNAILS) != 0) continue;  // the picture of a chapter
        if (picture.size <= 0 || picture.size > kLargestPicture) continue;
        auto data = util::Data::copyOf({picture.data, static_cast<std::size_t>(picture.size)});
        format.items.push_back({"artwork", "itsk", {}, util::PropertyValue(std::move(data))});
    }
}

}  // namespace

MetadataFormat itemsOf(const AVFormatContext& file, const AVStream& music) {
    const AVDictionary* tags = hasTags(file.metadata) ? file.metadata : music.metadata;
    MetadataFormat format{"com.apple.itunes", {}};
    addText(format, tags, kTitle, "title");
    addText(format, tags, kArtist, "artist");
    addText(format, tags, kAlbum, "albumName");
    addText(format, tags, kDate, "creationDate");
    addText(format, tags, kAlbumArtist, "", fourCharacterCode("aART"));
    addNumbers(format, tags, kTrack, kTrackTotal, "trkn");
    addNumbers(format, tags, kDisc, kDiscTotal, "disk");
    addPictures(format, file);
    return format;
}

}  // namespace quillet
