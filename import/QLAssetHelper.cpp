#include "import/QLAssetHelper.hpp"

#include <cmath>
#include <limits>
#include <string_view>
#include <vector>

#include "util/ByteReader.hpp"
#include "util/FilePath.hpp"
#include "util/Files.hpp"
#include "util/Narrow.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

using util::PropertyDictionary;
using util::PropertyValue;

constexpr std::string_view kTitle = "item_extra.title";
constexpr std::string_view kArtist = "item_artist.item_artist";
constexpr std::string_view kAlbum = "album.album";
constexpr std::string_view kAlbumArtist = "album_artist.album_artist";
constexpr std::string_view kTotalTime = "item_extra.total_time_ms";
constexpr std::string_view kTrack = "track_number";
constexpr std::string_view kTrackCount = "item_extra.track_count";
constexpr std::string_view kDisc = "disc_number";
constexpr std::string_view kDiscCount = "item_extra.disc_count";
constexpr std::string_view kYear = "item_extra.year";

/// A number and its total: where each goes.
struct NumberKeys {
    std::string_view number;
    std::string_view total;
};
constexpr NumberKeys kTrackKeys = {kTrack, kTrackCount};
constexpr NumberKeys kDiscKeys = {kDisc, kDiscCount};

void set(PropertyDictionary& values, std::string_view key, PropertyValue value) {
    values.insert_or_assign(std::string(key), std::move(value));
}

std::string fourCharacters(std::uint32_t code) {
    std::string text;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) text += static_cast<char>((code >> shift) & 0xFF);
    return text;
}

/// "3/12": both numbers are written, 0 included.
void setFromText(PropertyDictionary& values, const NumberKeys& keys, std::string_view text) {
    const auto pieces = util::split(text, '/');
    set(values, keys.number, util::integerValue(pieces[0]));
    if (pieces.size() >= 2) set(values, keys.total, util::integerValue(pieces[1]));
}

/// Two bytes unused, number, total: only what is at least 1 is written, and 32768 and above count as negative.
void setFromBinary(PropertyDictionary& values, const NumberKeys& keys, util::Bytes bytes) {
    util::ByteReader reader(bytes);
    if (!reader.skip(2)) return;
    for (const std::string_view key : {keys.number, keys.total}) {
        const auto field = reader.u16BigEndian();
        if (!field) return;
        const auto number = static_cast<std::int16_t>(*field);
        if (number >= 1) set(values, key, std::int32_t{number});
    }
}

void setCommonItem(PropertyDictionary& values, const MetadataItem& item) {
    if (item.commonKey == "title") set(values, kTitle, *item.value);
    if (item.commonKey == "artist") set(values, kArtist, *item.value);
    if (item.commonKey == "albumName") set(values, kAlbum, *item.value);
    if (item.commonKey == "creationDate") {
        if (const auto date = item.stringValue()) set(values, kYear, util::utf16Prefix(*date, 4));
    }
}

void setStoreItem(PropertyDictionary& values, const MetadataItem& item) {
    if (!item.key) return;
    const std::string code = fourCharacters(*item.key);
    if (code == "TPE2" || code == "aART") set(values, kAlbumArtist, *item.value);
    if (code == "TYER") set(values, kYear, *item.value);
    if (code == "TRCK" || code == "TPOS") {
        if (const auto text = item.stringValue()) setFromText(values, code == "TRCK" ? kTrackKeys : kDiscKeys, *text);
    }
    if (code == "trkn" || code == "disk") {
        if (const auto* data = item.value->data())
            setFromBinary(values, code == "trkn" ? kTrackKeys : kDiscKeys, data->bytes());
    }
}

/// Takes the picture of an artwork item: the "data" of a dictionary, which may have none, or data itself. What is
/// neither leaves the picture that was found before.
void takeArtwork(const PropertyValue& value, std::optional<util::Data>& artwork) {
    const auto* dictionary = value.dictionary();
    const PropertyValue* found = dictionary == nullptr ? &value : util::find(*dictionary, "data");
    if (found == nullptr)
        artwork.reset();
    else if (const util::Data* data = found->data())
        artwork = *data;
}

std::uint32_t milliseconds(double seconds) {
    // Meant so: single precision, so that a file of hours loses its last digits here as everywhere in the system.
    const auto exact = static_cast<float>(seconds * 1000.0);
    if (!(exact > 0)) return 0;  // NaN too
    if (exact >= 4294967296.0F) return std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(exact);
}

AssetValues valuesOfMP3(const std::string& path, MediaFramework& media) {
    TagAPI& tags = TagAPI::sharedInstance();
    const bool hasAudio = tags.examineFile(path);  // where that fails, the defaults count
    if (!hasAudio && !tags.dialect().takesAnyFileForMP3 && !tags.tagFound())
        return QLAssetHelper::getValuesFromAV(path, media);
    return QLAssetHelper::getValuesFromID3(path, TagFacts::of(tags));
}

}  // namespace

TagFacts TagFacts::of(TagAPI& tags) {
    TagFacts facts;
    facts.title = tags.getTitle();
    facts.artist = tags.getArtist();
    facts.album = tags.getAlbum();
    facts.albumArtist = tags.getAlbumArtist();
    facts.durationMs = tags.getDurationMilliseconds();
    facts.track = util::lowBits<std::uint32_t>(tags.getTrack());
    facts.totalNumberTracks = util::lowBits<std::uint32_t>(tags.getTotalNumberTracks());
    facts.disk = util::lowBits<std::uint32_t>(tags.getDisk());
    facts.totalNumberDisks = util::lowBits<std::uint32_t>(tags.getTotalNumberDisks());
    facts.year = util::lowBits<std::uint32_t>(tags.getYear());
    // A link to a picture is none. (The system dialect keeps the type's NUL, and takes it for one.)
    for (const Picture& picture : tags.getImage()) {
        if (picture.mimeType == "-->" || facts.image) continue;
        facts.image = picture.image;
    }
    return facts;
}

PropertyDictionary QLAssetHelper::newAssetFromPath(const std::string& path, Platform& platform) {
    const std::string_view extension = util::pathExtension(path);
    const bool isMP3 = extension == "mp3";
    const bool known = isMP3 || extension == "m4a" || extension == "m4p" || extension == "aac";
    AssetValues asset = isMP3 ? valuesOfMP3(path, platform.media) : getValuesFromAV(path, platform.media);

    PropertyDictionary record;
    set(record, "assetPath", util::lastPathComponent(path));
    if (known) set(record, "mediaType", static_cast<std::int32_t>(kMusicMediaType));
    set(record, "values", std::move(asset.values));
    if (asset.artworkData) {
        const std::string digest = asset.artworkData->MD5();
        const std::string cached = util::pathIn(platform.paths.at(DevicePaths::kArtworkCache), digest);
        // Not synced: the cache can be filled again from the file, and a sync for each cover would cost more than the
        // import.
        if (!util::fileExists(cached))
            (void)util::writeFileAtomically(cached, asset.artworkData->bytes(), util::Durability::unsynced);
        set(record, "artwork", digest);
    }
    return record;
}

AssetValues QLAssetHelper::getValuesFromID3(const std::string& path, const TagFacts& tag) {
    AssetValues asset;
    PropertyDictionary& values = asset.values;
    const bool hasTitle = tag.title && !tag.title->empty();
    set(values, kTitle,
        hasTitle ? *tag.title : std::string(util::deletingPathExtension(util::lastPathComponent(path))));
    set(values, kArtist, tag.artist.value_or(""));
    set(values, kAlbum, tag.album.value_or(""));
    if (tag.albumArtist && !tag.albumArtist->empty()) set(values, kAlbumArtist, *tag.albumArtist);
    set(values, kTotalTime, tag.durationMs);
    set(values, kTrack, tag.track);
    set(values, kTrackCount, tag.totalNumberTracks);
    set(values, kDisc, tag.disk);
    set(values, kDiscCount, tag.totalNumberDisks);
    set(values, kYear, tag.year);
    asset.artworkData = tag.image;
    return asset;
}

AssetValues QLAssetHelper::getValuesFromAV(const std::string& path, MediaFramework& media) {
    AssetValues asset;
    const MediaAsset opened = media.assetAtPath(path).value_or(MediaAsset());
    for (const MetadataFormat& format : opened.formats) {
        for (const MetadataItem& item : format.items) {
            if (!item.value) continue;
            if (item.commonKey == "artwork") {
                takeArtwork(*item.value, asset.artworkData);
            } else if (!item.commonKey.empty()) {
                setCommonItem(asset.values, item);
            } else if (item.keySpace == "itsk") {
                setStoreItem(asset.values, item);
            }
        }
    }
    set(asset.values, kTotalTime, milliseconds(opened.durationSeconds));
    return asset;
}

}  // namespace quillet
