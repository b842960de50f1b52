#include "id3/TagAPI.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cerrno>

#include "cli/ResourceDictionary.hpp"
#include "tests/LogLines.hpp"
#include "tests/TemporaryFolder.hpp"
#include "tests/id3/FrameBytes.hpp"
#include "tests/id3/MpegFrames.hpp"

namespace quillet::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using util::PropertyArray;
using util::PropertyDictionary;

using Genres = std::optional<std::vector<std::string>>;
using Frames = std::vector<std::pair<std::string, std::string>>;

std::string v1Record(std::string_view title, std::string_view artist, char beforeTrack = 0, char track = 5,
                     char genre = 17) {
    std::string record(128, '\0');
    record.replace(0, 3, "TAG").replace(3, title.size(), title).replace(33, artist.size(), artist);
    record.replace(63, 8, "V1 album").replace(93, 4, "1996").replace(97, 4, "V1 c");
    record[125] = beforeTrack;
    record[126] = track;
    record[127] = genre;
    return record;
}

const std::string kV1 = v1Record("V1 title", "V1 artist");
const std::string kTitleAlone = tagOf(3, {{"TIT2", latin1("V2 title")}});

DictionaryLoader loaderOf(PropertyDictionary preferences) {
    PropertyDictionary dictionary = {
        {"genres", PropertyDictionary{{"Blues", 0}, {"Rock", 17}, {"Dance Hall", 125}}},
        {"genreIndexes", PropertyDictionary{{"0", "Blues"}, {"17", "Rock"}, {"125", "Dance Hall"}, {"-1", 125}}},
        {"preferences", std::move(preferences)}};
    return [made = std::make_shared<const PropertyDictionary>(std::move(dictionary))] {
        return LoadedDictionary{made, "made"};
    };
}

/// The command's own dictionary.
std::unique_ptr<TagAPI> standard() {
    return TagAPI::initWithGenreList(cli::resourceDictionary());
}

TEST(TagAPITest, LoadingFailsWithoutADictionaryOrAGenreListAndLeavesWhatWasThere) {
    const LogLines log;
    const auto nothing = [] { return LoadedDictionary{nullptr, "/no/data.plist"}; };
    const auto empty = [] { return LoadedDictionary{std::make_shared<const PropertyDictionary>(), ""}; };
    const auto genres = std::make_shared<PropertyDictionary>();
    EXPECT_EQ(TagAPI::initWithGenreList(nothing), nullptr);
    EXPECT_EQ(TagAPI::initWithPath("/x.mp3", empty), nullptr);
    EXPECT_NE(TagAPI::initWithGenreList(empty, genres), nullptr) << "the caller's list is enough";
    const auto kept = standard();
    EXPECT_FALSE(kept->loadDictionary(empty));
    EXPECT_EQ(kept->getGenreList().size(), 192U);
    EXPECT_FALSE(kept->dialect().answersFromOneTag);
    EXPECT_THAT(log.all(), ElementsAre("Failed to open resource dictionary, can not find file:/no/data.plist",
                                       "Failed to find internal genres list", "Failed to find internal genres list"));
    EXPECT_FALSE(kept->sibling()->dialect().answersFromOneTag);
    EXPECT_TRUE(TagAPI().sibling()->dialect().answersFromOneTag);
    EXPECT_EQ(&TagAPI::sharedInstance(), &TagAPI::sharedInstance());
    EXPECT_TRUE(TagAPI::sharedInstance().getGenreList().empty());
}

struct AnswerCase {
    const char* name;
    PropertyDictionary preferences;
    std::string file;
    std::optional<std::int32_t> select;
    std::string title, artist, albumArtist;
    std::int32_t year, track;
};

const PropertyDictionary kFallback = {{"V1 auto - fallback", true}};
const PropertyDictionary kStandardFallback = {{"V1 auto - fallback", 1}, {"Standard dialect", true}};
const PropertyDictionary kStandardAlone = {{"Standard dialect", true}};

const AnswerCase kAnswers[] = {
    {"v2 alone answers what it has", kFallback, kTitleAlone + kMpegAudio + kV1, {}, "V2 title", "", "", 0, 0},
    {"v1 answers in its place", {}, kMpegAudio + kV1, {}, "V1 title", "V1 artist", "V1 artist", 1996, 0},
    {"neither", kFallback, kMpegAudio, {}, "", "", "", 0, 0},
    {"fallback, once both are selected", kFallback, kTitleAlone + kMpegAudio + kV1, 0, "V2 title", "V1 artist",
     "V1 artist", 1996, 0},
    {"no fallback by default", {}, kTitleAlone + kMpegAudio + kV1, 0, "V2 title", "", "", 0, 0},
    {"below 0 is as 0", kFallback, kTitleAlone + kMpegAudio + kV1, -3, "V2 title", "V1 artist", "V1 artist", 1996, 0},
    {"above 2 is 2", kFallback, kTitleAlone + kMpegAudio + kV1, 7, "V2 title", "", "", 0, 0},
    {"v1 selected", {}, kTitleAlone + kMpegAudio + kV1, 1, "V1 title", "V1 artist", "V1 artist", 1996, 0},
    {"an empty text and a zero are answers", kFallback,
     tagOf(3, {{"TIT2", latin1("")}, {"TRCK", latin1("0")}}) + kMpegAudio + kV1, 0, "", "V1 artist", "V1 artist", 1996,
     0},
    {"standard: v1 has what v2 lacks, but no album artist",
     kStandardFallback,
     kTitleAlone + kMpegAudio + kV1,
     {},
     "V2 title",
     "V1 artist",
     "",
     1996,
     5},
    {"standard: an empty text and a zero are lacking",
     kStandardFallback,
     tagOf(3, {{"TIT2", latin1("")}, {"TRCK", latin1("0")}}) + kMpegAudio + kV1,
     {},
     "V1 title",
     "V1 artist",
     "",
     1996,
     5},
    {"standard, without fallback", kStandardAlone, kTitleAlone + kMpegAudio + kV1, {}, "V2 title", "", "", 0, 0},
    {"standard, v1 only", kStandardAlone, kMpegAudio + kV1, {}, "V1 title", "V1 artist", "", 1996, 5},
};

TEST(TagAPITest, GettersAnswerFromTheTagThatTheirRuleNames) {
    const TemporaryFolder folder;
    for (const AnswerCase& one : kAnswers) {
        SCOPED_TRACE(one.name);
        const auto api = TagAPI::initWithGenreList(loaderOf(one.preferences));
        EXPECT_TRUE(api->examineFile(folder.write("x.mp3", one.file)));
        if (one.select) api->selectTag(*one.select);
        EXPECT_EQ(api->getTitle(), one.title);
        EXPECT_EQ(api->getArtist(), one.artist);
        EXPECT_EQ(api->getAlbumArtist(), one.albumArtist);
        EXPECT_EQ(api->getYear(), one.year);
        EXPECT_EQ(api->getTrack(), one.track);
    }
}

TEST(TagAPITest, AV1TagIsReadWhenAPreferenceOrAGetterAsksForIt) {
    const TemporaryFolder folder;
    const std::string v1 = folder.write("v1.mp3", kMpegAudio + kV1);
    const std::string both = folder.write("both.mp3", kTitleAlone + kMpegAudio + kV1);
    const struct {
        PropertyDictionary preferences;
        bool withV1;    // read at once, where there is no v2 tag
        bool withBoth;  // and where there is one
    } kCases[] = {{{}, false, false},
                  {{{"Parse V1", true}}, true, true},
                  {{{"Parse V1 only if V2 does not exist", true}}, true, false}};
    for (const auto& [preferences, withV1, withBoth] : kCases) {
        const auto api = TagAPI::initWithPath(v1, loaderOf(preferences));
        EXPECT_EQ(api->tagFound(), withV1);
        EXPECT_EQ(api->v2TagPresent(), false);
        api->examineFile(both);
        EXPECT_EQ(api->getV1Tag()->tagPresent(), withBoth);
        EXPECT_TRUE(api->v1TagPresent()) << "asked for, it is read";
    }
}

struct GenreCase {
    const char* name;
    std::string text;  // of the v2 frame; none where empty
    char v1;
    Genres system, standard;
};
const std::string kNul(1, '\0');
const GenreCase kGenres[] = {
    {"number, name, number", "17" + kNul + "Acid" + kNul + "17", 0, {{"Rock", "Acid"}}, {{"Rock", "Acid"}}},
    {"the name of a number before", "17" + kNul + "Rock", 0, {{"Rock"}}, {{"Rock"}}},
    {"a reference", "(17)", 0, {{"Rock", "UNKNOWN"}}, {{"Rock"}}},
    {"numbers with and without names",
     "0" + kNul + "125" + kNul + "126" + kNul + "200",
     0,
     {{"Blues", "Dance Hall", "UNKNOWN", "UNKNOWN"}},
     {{"Blues", "Dance Hall", "Goa", "Unknown"}}},
    {"a name like that of no name",
     "200" + kNul + "UNKNOWN" + kNul + "126" + kNul + "UNKNOWN",
     0,
     {{"UNKNOWN", "UNKNOWN"}},
     {{"Unknown", "UNKNOWN", "Goa"}}},
    {"what only begins with a number",
     "80s" + kNul + "1980" + kNul + "-1",
     0,
     {{"UNKNOWN", "UNKNOWN", "UNKNOWN"}},
     {{"80s", "1980", "-1"}}},
    {"remix and cover", "RX" + kNul + "CR" + kNul + "RX", 0, {{"RX", "CR"}}, {{"Remix", "Cover"}}},
    {"a name that no list has", "Zydeco", 0, {{"Zydeco"}}, {{"Zydeco"}}},
    {"the number for none alone", "255", 17, {{"UNKNOWN"}}, {{"Rock"}}},
    {"v1, where v2 has none", "", 17, {}, {{"Rock"}}},
    {"a v1 number without a name", "", static_cast<char>(200), {}, {{"Unknown"}}},
    {"the v1 number for none", "", static_cast<char>(255), {}, {}},
};

TEST(TagAPITest, GenresAreNamed) {
    const TemporaryFolder folder;
    const auto system = TagAPI::initWithGenreList(loaderOf(kFallback));
    const auto other = standard();
    for (const GenreCase& one : kGenres) {
        const Frames frame = one.text.empty() ? Frames() : Frames{{"TCON", latin1(one.text)}};
        const std::string path =
            folder.write("x.mp3", tagOf(4, frame) + kMpegAudio + v1Record("", "", one.v1, 0, one.v1));
        system->examineFile(path);
        EXPECT_EQ(system->getGenreNames(), one.system) << one.name;
        system->selectTag(0);
        EXPECT_EQ(system->getGenreNames(), one.system) << one.name << ": no fallback while there is a v2 tag";
        other->examineFile(path);
        EXPECT_EQ(other->getGenreNames(), one.standard) << one.name;
    }
    system->examineFile(folder.write("x.mp3", kMpegAudio + v1Record("", "", 17)));
    EXPECT_EQ(system->getGenreNames(), Genres({"Rock"})) << "v1 alone";
    TagAPI plain;
    plain.examineFile(folder / "x.mp3");
    EXPECT_EQ(plain.getGenreNames(), Genres({"Unknown"})) << "v1 alone, and no dictionary";
}

TEST(TagAPITest, AGenreDictionaryOfTheCallerLearnsNewNames) {
    const TemporaryFolder folder;
    const auto learning = std::make_shared<PropertyDictionary>(PropertyDictionary{{"Rock", 17}});
    const auto api = TagAPI::initWithGenreList(loaderOf({}), learning);
    for (const char* genre : {"Zydeco", "Rock", "Zydeco", "Bubblegum", "99"}) {
        api->examineFile(folder.write("x.mp3", tagOf(3, {{"TCON", latin1(genre)}}) + kMpegAudio));
        api->getGenreNames();
    }
    EXPECT_EQ(*learning, (PropertyDictionary{{"Bubblegum", 127}, {"Rock", 17}, {"Zydeco", 126}}));
    EXPECT_THAT(api->getGenreList(), ElementsAre("Blues", "Dance Hall", "Rock"));
}

TEST(TagAPITest, WhatCannotBeExaminedAnswersNothingAndSaysWhy) {
    const TemporaryFolder folder;
    mkdir((folder / "folder").c_str(), 0700);
    mkfifo((folder / "fifo").c_str(), 0600);
    const std::string good = folder.write("good.mp3", kTitleAlone + kMpegAudio + kV1);
    const struct {
        const char* name;
        int error;
    } kCases[] = {{"missing.mp3", ENOENT}, {"folder", EISDIR}, {"fifo", ENOTSUP}, {"good.mp3/x", ENOTDIR}};
    const LogLines log;
    for (const auto& api : {std::make_unique<TagAPI>(), standard()}) {
        for (const auto& [name, error] : kCases) {
            EXPECT_TRUE(api->examineFile(good));
            EXPECT_FALSE(api->examineFile(folder / name));
            EXPECT_EQ(api->openStatus().error(), error) << name;
            EXPECT_EQ(api->getTitle() + api->getArtist() + api->getEncoding().substr(0, 7), "UNKNOWN") << name;
            EXPECT_EQ(api->getDurationMilliseconds(), 0U);
            EXPECT_EQ(api->getFileSize(), 0U);
            EXPECT_EQ(api->getDisk(), 0);
            EXPECT_THAT(api->getImage(), IsEmpty());
            EXPECT_EQ(api->getGenreNames(), std::nullopt);
            EXPECT_FALSE(api->tagFound());
        }
        EXPECT_TRUE(api->examineFile(good));
        EXPECT_TRUE(api->openStatus().ok());
        EXPECT_TRUE(api->examineFile(api->getPath())) << "the path is its own";
        api->releaseAttributes();
        EXPECT_EQ(api->getTitle() + api->getPath() + api->getBitRateString(), "");
        EXPECT_EQ(api->getHash(), std::nullopt);
    }
    EXPECT_THAT(log.all(), testing::Each(HasSubstr("Could not open file handle for file:"))) << "v1's line alone";
}

TEST(TagAPITest, AFileWithoutAudioStillHasItsTags) {
    const TemporaryFolder folder;
    const std::string path = folder.write("x.mp3", kTitleAlone + std::string(500, 'x') + kV1);
    for (const auto& api : {std::make_unique<TagAPI>(), standard()}) {
        EXPECT_FALSE(api->examineFile(path));
        EXPECT_TRUE(api->openStatus().ok());
        EXPECT_EQ(api->getTitle(), "V2 title");
        EXPECT_EQ(api->getFileSize(), kTitleAlone.size() + 500 + 128);
        EXPECT_EQ(api->getDuration(), 0);
        EXPECT_EQ(api->getArtist(), api->dialect().answersFromOneTag ? "" : "V1 artist");
    }
}

TEST(TagAPITest, AbsentNumbersPassThroughInTheSystemDialectAlone) {
    const TemporaryFolder folder;
    const std::string path = folder.write("x.mp3", kTitleAlone + frames(5000));
    TagAPI plain;
    plain.examineFile(path);
    EXPECT_THAT((std::vector{plain.getTotalNumberTracks(), plain.getDisk(), plain.getTotalNumberDisks()}),
                ElementsAre(-1, -1, -1));
    EXPECT_EQ(plain.getTrack(), 0);
    EXPECT_EQ(plain.getEncodedBy(), "");
    EXPECT_EQ(plain.getDuration(), 130);
    EXPECT_EQ(plain.getDurationMilliseconds(), 130'000U);
    const auto other = standard();
    other->examineFile(path);
    EXPECT_THAT((std::vector{other->getTotalNumberTracks(), other->getDisk(), other->getTotalNumberDisks()}),
                ElementsAre(0, 0, 0));
    EXPECT_EQ(other->getDurationMilliseconds(), 130'612U) << "5,000 frames of 1,152 samples";
}

TEST(TagAPITest, FramesAreFoundByIdentifierAndDescribedByVersion) {
    const TemporaryFolder folder;
    const LogLines log;
    const Frames kFrames = {{"TIT2", latin1("T")}, {"COMM", latin1("engxx")}, {"COMM", latin1("engyy")}};
    const std::string path = folder.write("x.mp3", tagOf(3, kFrames) + kMpegAudio);
    TagAPI plain;
    EXPECT_EQ(plain.getFrame("TIT2"), std::nullopt);
    EXPECT_THAT(plain.getFrameList(), IsEmpty());
    plain.examineFile(path);
    EXPECT_EQ(plain.getContentForFrameID("TIT2"), std::nullopt);
    EXPECT_THAT(log.all(), ElementsAre(HasSubstr("Could not resolve correct frame ID for :TIT2")));
    EXPECT_EQ(plain.getFrameDescription("TIT2"), nullptr);

    const auto api = standard();
    api->examineFile(path);
    EXPECT_THAT(api->getFrameList(), ElementsAre("TIT2", "COMM"));
    EXPECT_EQ(api->getFrame("COMM")->size(), 2U);
    EXPECT_EQ(api->getFrame("TALB"), std::nullopt);
    EXPECT_EQ(std::get<std::string>(api->getContentForFrameID("TT2")->front()), "T") << "by its 2.2 identifier";
    EXPECT_EQ(util::textAt(*api->getFrameDescription("TIT2"), "2.0"), "TT2");
    EXPECT_EQ(api->getFrameDescription("TT2"), nullptr);
    for (const auto& [version, known, unknown] :
         {std::tuple(2, "TT2", "TYER"), std::tuple(3, "TYER", "TDRC"), std::tuple(4, "TDRC", "TYER")}) {
        api->examineFile(folder.write("y.mp3", tagOf(version, {}) + kMpegAudio));
        EXPECT_NE(api->getFrameDescription(known), nullptr) << version;
        EXPECT_EQ(api->getFrameDescription(unknown), nullptr) << version;
    }
}

}  // namespace
}  // namespace quillet::test
