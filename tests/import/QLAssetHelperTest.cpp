#include "import/QLAssetHelper.hpp"

#include <gmock/gmock.h>

#include "tests/id3/FrameBytes.hpp"
#include "tests/import/FakePlatform.hpp"

namespace quillet::test {
namespace {

using testing::ElementsAre;
using util::PropertyDictionary;
using util::PropertyValue;

constexpr std::uint32_t code(const char (&text)[5]) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = (value << 8) | static_cast<unsigned char>(text[i]);
    return value;
}

util::Data bytes(std::vector<std::uint8_t> content) {
    return util::Data(std::move(content));
}
MetadataItem common(const char* key, PropertyValue value) {
    return {key, "itsk", code("\251nam"), std::move(value)};
}
MetadataItem store(const char (&key)[5], PropertyValue value) {
    return {"", "itsk", code(key), std::move(value)};
}
MetadataItem numbers(const char (&key)[5], std::vector<std::uint8_t> content) {
    return store(key, bytes(std::move(content)));
}

struct ItemsCase {
    const char* name;
    std::vector<MetadataItem> items;
    PropertyDictionary values;  // besides the duration
};

const ItemsCase kItems[] = {
    {"common keys",
     {common("title", "T"), common("artist", "A"), common("albumName", "L"), common("creationDate", "2009-05-01"),
      common("copyrights", "ignored")},
     {{"item_extra.title", "T"}, {"item_artist.item_artist", "A"}, {"album.album", "L"}, {"item_extra.year", "2009"}}},
    {"a short date, and one whose fourth character is outside the basic plane",
     {common("creationDate", "98"), store("TYER", 1999), common("creationDate", "200\U0001D7D7-05")},
     {{"item_extra.year", "200"}}},
    {"TYER keeps its value's type", {store("TYER", 1999)}, {{"item_extra.year", 1999}}},
    {"the later of two wins, title as it stands",
     {common("title", "T"), common("title", "")},
     {{"item_extra.title", ""}}},
    {"album artist by either code", {store("TPE2", "B"), store("aART", "C")}, {{"album_artist.album_artist", "C"}}},
    {"a common key goes before the key space",
     {{"title", "itsk", code("aART"), PropertyValue("T")}},
     {{"item_extra.title", "T"}}},
    {"numbers as text",
     {store("TRCK", "7"), store("TPOS", "2/x")},
     {{"track_number", 7}, {"disc_number", 2}, {"item_extra.disc_count", 0}}},
    {"a slash with nothing behind it is two pieces",
     {store("TRCK", "7/")},
     {{"track_number", 7}, {"item_extra.track_count", 0}}},
    {"numbers as binary",
     {numbers("trkn", {0, 0, 0, 3, 0, 12, 0, 0}), numbers("disk", {0, 0, 1, 0, 0, 2})},
     {{"track_number", 3}, {"item_extra.track_count", 12}, {"disc_number", 256}, {"item_extra.disc_count", 2}}},
    {"zeros are absent", {numbers("trkn", {0, 0, 0, 0, 0, 0, 0, 0})}, {}},
    {"32767 is the highest, 32768 is negative",
     {numbers("trkn", {0, 0, 0x7F, 0xFF, 0x80, 0x00})},
     {{"track_number", 32767}}},
    {"cut off binary",
     {numbers("trkn", {0, 0, 0, 3, 0}), numbers("disk", {0, 0, 1}), numbers("disk", {})},
     {{"track_number", 3}}},
    {"text where binary belongs", {store("trkn", "3/12")}, {}},
    {"other codes, other key spaces and null values",
     {store("XXXX", "x"),
      {"", "mdta", code("aART"), PropertyValue("x")},
      {"title", "itsk", code("aART"), std::nullopt}},
     {}},
};

TEST(QLAssetHelperTest, ValuesComeFromTheItemsOfTheMediaFramework) {
    for (const ItemsCase& one : kItems) {
        FakeMedia media;
        media.asset = MediaAsset{{{"com.apple.itunes", one.items}}, 2.0};
        PropertyDictionary expected = one.values;
        expected["item_extra.total_time_ms"] = 2000U;
        EXPECT_EQ(QLAssetHelper::getValuesFromAV("x", media).values, expected) << one.name;
    }
}

TEST(QLAssetHelperTest, TheLastArtworkThatIsDataWins) {
    FakeMedia media;
    const auto cover = [](std::uint8_t byte) { return bytes({byte}); };
    media.asset = MediaAsset{
        {{"first", {common("artwork", cover(1)), common("artwork", PropertyDictionary{{"data", cover(2)}})}},
         {"second", {common("artwork", "no image"), common("artwork", PropertyDictionary{{"data", "no image"}})}}},
        0};
    EXPECT_EQ(QLAssetHelper::getValuesFromAV("x", media).artworkData, cover(2));
    // The last one counts, even where it has no image.
    media.asset->formats.push_back({"third", {common("artwork", PropertyDictionary{{"identifier", "x"}})}});
    EXPECT_EQ(QLAssetHelper::getValuesFromAV("x", media).artworkData, std::nullopt);
}

TEST(QLAssetHelperTest, MillisecondsAreCutThroughSinglePrecision) {
    const std::pair<double, std::uint32_t> kDurations[] = {{0, 0},   {2.0209999, 2020},      {-1, 0},
                                                           {NAN, 0}, {20000.0012, 20000002}, {1e12, 4294967295U}};
    for (const auto& [seconds, milliseconds] : kDurations) {
        FakeMedia media;
        media.asset = MediaAsset{{}, seconds};
        EXPECT_EQ(QLAssetHelper::getValuesFromAV("x", media).values,
                  (PropertyDictionary{{"item_extra.total_time_ms", milliseconds}}))
            << seconds;
    }
}

TEST(QLAssetHelperTest, AFileNobodyReadsHasARecordWithNoDuration) {
    FakePlatform platform;
    const PropertyDictionary values = {{"item_extra.total_time_ms", 0U}};
    EXPECT_EQ(QLAssetHelper::newAssetFromPath("/m/X.aac", platform.ports),
              (PropertyDictionary{{"assetPath", "X.aac"}, {"mediaType", 8}, {"values", values}}));
    EXPECT_EQ(QLAssetHelper::newAssetFromPath("/m/X.ogg", platform.ports),
              (PropertyDictionary{{"assetPath", "X.ogg"}, {"values", values}}));
}

TEST(QLAssetHelperTest, ATagGivesEveryValueAndItsFirstImage) {
    TagFacts tag;
    tag.title = "T";
    tag.albumArtist = "";
    tag.durationMs = 704;
    tag.track = 3;
    tag.totalNumberTracks = 4294967295U;  // the -1 of a tag without a count passes through
    tag.year = 2009;
    tag.image = bytes({1});
    PropertyDictionary expected = {{"item_extra.title", "T"}, {"item_artist.item_artist", ""},
                                   {"album.album", ""},       {"item_extra.total_time_ms", 704U},
                                   {"track_number", 3U},      {"item_extra.track_count", 4294967295U},
                                   {"disc_number", 0U},       {"item_extra.disc_count", 0U},
                                   {"item_extra.year", 2009U}};
    const AssetValues asset = QLAssetHelper::getValuesFromID3("/x/Import/song.mp3", tag);
    EXPECT_EQ(asset.values, expected);
    EXPECT_EQ(asset.artworkData, bytes({1}));

    tag.title = "";
    tag.albumArtist = "B";
    expected["item_extra.title"] = "song.a";
    expected["album_artist.album_artist"] = "B";
    EXPECT_EQ(QLAssetHelper::getValuesFromID3("/x/Import/song.a.mp3", tag).values, expected);
}

TEST(QLAssetHelperTest, AFileNamedMp3IsReadThroughItsTag) {
    FakePlatform platform;
    platform.makeFolders();
    // The picture's MIME type, front cover, no description.
    const std::string tag =
        tagOf(3, {{"TIT2", std::string("\0T", 2)}, {"APIC", std::string("\0image/png\0\3\0", 13) + "PICTURE!"}});
    for (const char* name : {"X.mp3", "Y.MP3"}) platform.write(DevicePaths::kMediaFolder, name, tag);
    // Too short for the system's reader of audio, so without a duration; what the tag lacks is -1.
    PropertyDictionary values = {{"item_extra.title", "T"},    {"item_artist.item_artist", ""},
                                 {"album.album", ""},          {"item_extra.total_time_ms", 0U},
                                 {"track_number", 0U},         {"item_extra.track_count", 4294967295U},
                                 {"disc_number", 4294967295U}, {"item_extra.disc_count", 4294967295U},
                                 {"item_extra.year", 0U}};
    const std::string digest = "8e74bf88313453c28b5ee355ad318dca";
    EXPECT_EQ(QLAssetHelper::newAssetFromPath(platform.in(DevicePaths::kMediaFolder, "X.mp3"), platform.ports),
              (PropertyDictionary{{"assetPath", "X.mp3"}, {"mediaType", 8}, {"values", values}, {"artwork", digest}}));
    EXPECT_EQ(contentOf(platform.in(DevicePaths::kArtworkCache, digest)), "PICTURE!");

    values["item_extra.title"] = "song.a";
    for (const char* absent : {"item_extra.track_count", "disc_number", "item_extra.disc_count"}) values[absent] = 0U;
    EXPECT_EQ(QLAssetHelper::newAssetFromPath("/gone/song.a.mp3", platform.ports),
              (PropertyDictionary{{"assetPath", "song.a.mp3"}, {"mediaType", 8}, {"values", values}}))
        << "nothing is left of the file before";
    EXPECT_TRUE(platform.media.paths.empty());
    QLAssetHelper::newAssetFromPath(platform.in(DevicePaths::kMediaFolder, "Y.MP3"), platform.ports);
    EXPECT_EQ(platform.media.paths.size(), 1U) << "an extension in capitals is another";
}

TEST(QLAssetHelperTest, OneCacheFileServesAllThatShareACoverAndIsNeverOverwritten) {
    FakePlatform platform;
    platform.makeFolders();
    platform.media.asset = MediaAsset{{{"f", {common("artwork", bytes({'a', 'b', 'c'}))}}}, 0};
    const std::string digest = "900150983cd24fb0d6963f7d28e17f72";  // RFC 1321, A.5
    for (const char* path : {"/m/X.m4a", "/m/Y.m4a"}) {
        const PropertyDictionary record = QLAssetHelper::newAssetFromPath(path, platform.ports);
        ASSERT_NE(util::find(record, "artwork"), nullptr);
        EXPECT_EQ(*util::find(record, "artwork"), digest);
    }
    EXPECT_THAT(platform.list(DevicePaths::kArtworkCache), ElementsAre(digest));
    EXPECT_EQ(contentOf(platform.in(DevicePaths::kArtworkCache, digest)), "abc");
    platform.write(DevicePaths::kArtworkCache, digest, "other");
    QLAssetHelper::newAssetFromPath("/m/X.m4a", platform.ports);
    EXPECT_EQ(contentOf(platform.in(DevicePaths::kArtworkCache, digest)), "other");
}

}  // namespace
}  // namespace quillet::test
