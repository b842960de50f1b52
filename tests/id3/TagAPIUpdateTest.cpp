#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/ResourceDictionary.hpp"
#include "id3/TagAPI.hpp"
#include "tests/LogLines.hpp"
#include "tests/TemporaryFolder.hpp"
#include "tests/id3/FrameBytes.hpp"
#include "tests/id3/MpegFrames.hpp"

namespace quillet::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using util::PropertyDictionary;
using Names = std::vector<std::string>;

std::string oldV1Record() {
    std::string record(128, '\0');
    record.replace(0, 3, "TAG").replace(3, 5, "old t").replace(33, 5, "old a").replace(63, 5, "old b");
    record.replace(93, 4, "1996").replace(97, 5, "old c");
    record[126] = 5;
    record[127] = 17;
    return record;
}
const std::string kOldV1 = oldV1Record();
const std::string kV2 = tagOf(3, {{"TIT2", latin1("new t")}, {"TPE1", latin1("new a")}, {"TRCK", latin1("7/12")}});
const std::string kDated = tagOf(4, {{"TDRC", latin1("1996-05-06")}, {"TPOS", latin1("1/2")}});

/// The command's own dictionary with other preferences.
std::unique_ptr<TagAPI> apiWith(const PropertyDictionary& preferences,
                                std::shared_ptr<PropertyDictionary> genres = nullptr) {
    return TagAPI::initWithGenreList(
        [&] {
            PropertyDictionary dictionary = *cli::resourceDictionary()().dictionary;
            PropertyDictionary all = *dictionary["preferences"].dictionary();
            for (const auto& [key, value] : preferences) all[key] = value;
            dictionary["preferences"] = all;
            return LoadedDictionary{std::make_shared<const PropertyDictionary>(std::move(dictionary)), "made"};
        },
        std::move(genres));
}
const PropertyDictionary kSystem = {{"Standard dialect", false}};
const PropertyDictionary kStandard = {};

PropertyDictionary with(PropertyDictionary preferences, std::initializer_list<const char*> flags) {
    for (const char* flag : flags) preferences[flag] = true;
    return preferences;
}

/// What a new reader of the standards finds: "v2(title artist album year track genre comment) v1(...)".
std::string told(const std::string& path) {
    const auto api = apiWith(kStandard);
    EXPECT_TRUE(api->examineFile(path));
    const auto one = [&](std::int32_t tag) {
        api->selectTag(tag);
        std::string text = api->getTitle() + " " + api->getArtist() + " " + api->getAlbum() + " ";
        text += std::to_string(api->getYear()) + " " + std::to_string(api->getTrack()) + " ";
        for (const auto& genre : api->getGenreNames().value_or(Names())) text += genre + " ";
        return "(" + text + api->getComments() + ")";
    };
    return (api->v2TagPresent() ? "v2" + one(2) : "") + (api->v1TagPresent() ? "v1" + one(1) : "");
}

/// The audio stands in the file, once, and nothing but a v1 record is behind it.
void expectAudio(const std::string& path) {
    const std::string content = contentOf(path);
    const auto at = content.find(kMpegAudio);
    ASSERT_NE(at, std::string::npos) << path;
    const std::string behind = content.substr(at + kMpegAudio.size());
    EXPECT_TRUE(behind.empty() || (behind.size() == 128 && behind.starts_with("TAG"))) << behind.size();
}

using Step = std::function<bool(TagAPI&)>;

struct SetterCase {
    const char* name;
    Step set;
    bool system, systemModified;
    bool standard = true, standardModified = true;
};

const SetterCase kSetters[] = {
    {"title", [](TagAPI& api) { return api.setTitle("x"); }, false, true},
    {"artist", [](TagAPI& api) { return api.setArtist("x"); }, true, true},
    {"album", [](TagAPI& api) { return api.setAlbum("x"); }, true, true},
    {"comments", [](TagAPI& api) { return api.setComments("x"); }, true, true},
    {"track", [](TagAPI& api) { return api.setTrack(1, 2); }, true, true},
    {"year", [](TagAPI& api) { return api.setYear(2001); }, true, true},
    {"disk", [](TagAPI& api) { return api.setDisk(1, 2); }, true, true},
    {"genre", [](TagAPI& api) { return api.setGenreName({"Rock"}); }, true, true},
    {"no genre", [](TagAPI& api) { return api.setGenreName({}); }, false, false},
    {"no composer", [](TagAPI& api) { return api.setComposer(std::nullopt); }, false, false, false, false},
    {"encoder", [](TagAPI& api) { return api.setEncodedBy("x"); }, true, true},
    {"album artist", [](TagAPI& api) { return api.setAlbumArtist("x"); }, true, true},
    {"content", [](TagAPI& api) { return api.setContent({"x"}, "TIT2"); }, true, false},
    {"unknown content", [](TagAPI& api) { return api.setContent({"x"}, "NONE"); }, false, false, false, false},
    {"drop", [](TagAPI& api) { return api.dropFrame("TIT2"); }, true, true},
    {"no frames", [](TagAPI& api) { return api.setFrames({}) || api.setFrame(nullptr, true); }, false, false, false,
     false},
    {"placeholders", [](TagAPI& api) { return api.newTag(1) || api.dropTag(1); }, false, false, false, false},
};

TEST(TagAPIUpdateTest, EachSetterAnswersAndMarksAsItsDialectHasIt) {
    const TemporaryFolder folder;
    const LogLines log;
    const std::string path = folder.write("x.mp3", kV2 + kMpegAudio + kOldV1);
    const auto system = apiWith(kSystem);
    const auto other = apiWith(kStandard);
    for (const SetterCase& one : kSetters) {
        EXPECT_TRUE(system->examineFile(path) && other->examineFile(path));
        EXPECT_EQ(one.set(*system), one.system) << one.name;
        EXPECT_EQ(system->isModified(), one.systemModified) << one.name;
        EXPECT_EQ(one.set(*other), one.standard) << one.name;
        EXPECT_EQ(other->isModified(), one.standardModified) << one.name;
    }
    EXPECT_EQ(contentOf(path), kV2 + kMpegAudio + kOldV1) << "no setter writes";
    TagAPI none;
    EXPECT_TRUE(none.setDisk(1, 1) && none.setComposer("x") && none.setTitle("x")) << "no tag, and nothing to fail at";
    EXPECT_FALSE(none.setContent({"x"}, "TIT2") || none.dropFrame("TIT2") || none.isModified());
    other->releaseAttributes();
    EXPECT_FALSE(other->setDisk(1, 1) || other->setTitle("x") || other->setComposer("x"));
}

TEST(TagAPIUpdateTest, ASystemYearAloneIsNoChangeAndV1GenresMarkOnlyAboveTheirLast) {
    const TemporaryFolder folder;
    const std::string path = folder.write("x.mp3", kV2 + kMpegAudio + kOldV1);
    const auto genres = std::make_shared<PropertyDictionary>(PropertyDictionary{{"Rock", 17}, {"Zydeco", 126}});
    const auto api = apiWith(with(kSystem, {}), genres);
    api->examineFile(path);
    EXPECT_TRUE(api->setGenreName({"Rock", "Mine"}));
    EXPECT_EQ(api->updateFile(), 0);
    EXPECT_EQ(contentOf(path).back(), '1') << "the first digit of 17";
    EXPECT_TRUE(api->setGenreName({"Zydeco"}));
    EXPECT_EQ(api->updateFile(), 0);
    EXPECT_EQ(contentOf(path).back(), '0');
    EXPECT_EQ(genres->at("Mine"), util::PropertyValue(192));

    TagAPI v2Alone;  // without a v1 tag that could be read
    v2Alone.examineFile(folder.write("none.mp3", kMpegAudio));
    std::filesystem::remove(folder / "none.mp3");
    const LogLines log;
    EXPECT_FALSE(v2Alone.setYear(2001));
    EXPECT_FALSE(v2Alone.isModified());
    EXPECT_EQ(v2Alone.updateFile(), 0);
    EXPECT_FALSE(v2Alone.setArtist("x"));
    EXPECT_TRUE(v2Alone.isModified()) << "the v2 change stays";
    EXPECT_EQ(v2Alone.updateFile(), -1) << "v1 counts as written where there is no file";
    EXPECT_THAT(v2Alone.saveProblem(), HasSubstr("No such file"));
}

struct UpdateCase {
    const char* name;
    PropertyDictionary preferences;
    std::string before;
    Step change;
    std::string after;
};

const Step kTitle = [](TagAPI& api) { return api.setTitle("x") || true; };
const Step kNothing = [](TagAPI&) { return true; };

const UpdateCase kUpdates[] = {
    {"nothing", kStandard, kV2 + kMpegAudio + kOldV1, kNothing,
     "v2(new t new a  0 7 )v1(old t old a old b 1996 5 Rock old c)"},
    {"v2 stays alone", kStandard, kV2 + kMpegAudio, kTitle, "v2(x new a  0 7 )"},
    {"a v2 tag is made", kStandard, kMpegAudio, kTitle, "v2(x   0 0 )"},
    {"v1 stays in step", kStandard, kV2 + kMpegAudio + kOldV1, kTitle,
     "v2(x new a  0 7 )v1(x old a old b 1996 5 Rock old c)"},
    {"v1 stays in step with single frames", kStandard, kV2 + kMpegAudio + kOldV1,
     [](TagAPI& api) { return api.dropFrame("TPE1") && api.setContent({"9"}, "TRK") && api.setContent({"y"}, "TIT2"); },
     "v2(y   0 9 )v1(y  old b 1996 9 Rock old c)"},
    {"a genre without a number is none in v1", kStandard, kV2 + kMpegAudio + kOldV1,
     [](TagAPI& api) { return api.setGenreName({"My own"}); },
     "v2(new t new a  0 7 My own )v1(old t old a old b 1996 5 old c)"},
    {"every genre that has one is in v1", kStandard, kV2 + kMpegAudio + kOldV1,
     [](TagAPI& api) { return api.setGenreName({"Psybient", "Rock"}); },
     "v2(new t new a  0 7 Psybient Rock )v1(old t old a old b 1996 5 Psybient old c)"},
    {"v1 by preference", with(kStandard, {"Write V1 Always"}), kV2 + kMpegAudio, kTitle,
     "v2(x new a  0 7 )v1(x new a  0 7 )"},
    {"v1 for the asking", kStandard, kV2 + kMpegAudio, [](TagAPI& api) { return api.copyV2TagToV1Tag(); },
     "v2(new t new a  0 7 )v1(new t new a  0 7 )"},
    {"what v2 lacks v1 keeps", kStandard, kV2 + kMpegAudio + kOldV1, [](TagAPI& api) { return api.copyV2TagToV1Tag(); },
     "v2(new t new a  0 7 )v1(new t new a old b 1996 7 Rock old c)"},
    {"what v1 lacks v2 keeps", kStandard, kDated + kMpegAudio + kOldV1,
     [](TagAPI& api) {
         return api.copyV1TagToV2Tag() && api.getContentForFrameID("TDRC")->front() == FrameContent("1996-05-06");
     },
     "v2(old t old a old b 1996 5 Rock old c)v1(old t old a old b 1996 5 Rock old c)"},
    {"drop v1", with(kStandard, {"Drop V1", "Write V2 Always"}), kV2 + kMpegAudio + kOldV1, kTitle,
     "v2(x new a  0 7 )"},
    {"drop v1, not without v2 always", with(kStandard, {"Drop V1"}), kV2 + kMpegAudio + kOldV1, kTitle,
     "v2(x new a  0 7 )v1(x old a old b 1996 5 Rock old c)"},
    {"the system drops v1 too", with(kSystem, {"Drop V1", "Write V2 Always"}), kV2 + kMpegAudio + kOldV1, kTitle,
     "v2(x new a  0 7 )"},
    {"the system adds v1", kSystem, kV2 + kMpegAudio, [](TagAPI& api) { return api.setArtist("x"); },
     "v2(new t x  0 7 )v1(new t x  0 0 Blues )"},
    {"the system's content is no change", kSystem, kV2 + kMpegAudio,
     [](TagAPI& api) { return api.setContent({"x"}, "TIT2"); }, "v2(new t new a  0 7 )"},
    {"to 2.4", kStandard, kV2 + kMpegAudio + kOldV1,
     [](TagAPI& api) { return api.convertTagToV2(4) && api.v2TagVersion() == 4; },
     "v2(new t new a  0 7 )v1(old t old a old b 1996 5 Rock old c)"},
    {"to the same", kStandard, kV2 + kMpegAudio, [](TagAPI& api) { return api.convertTagToV2(3) && !api.isModified(); },
     "v2(new t new a  0 7 )"},
    {"to none", kStandard, kV2 + kMpegAudio, [](TagAPI& api) { return !api.convertTagToV2(5) && !api.isModified(); },
     "v2(new t new a  0 7 )"},
    {"nothing to 2.4", kStandard, kMpegAudio, [](TagAPI& api) { return api.convertTagToV2(4); }, ""},
    {"v1 alone to 2.4", kStandard, kMpegAudio + kOldV1,
     [](TagAPI& api) { return api.convertTagToV2(4) && api.v2TagVersion() == 4; },
     "v2(old t old a old b 1996 5 Rock old c)v1(old t old a old b 1996 5 Rock old c)"},
    {"the system converts to 2.2", kSystem, kV2 + kMpegAudio,
     [](TagAPI& api) {
         return api.convertTagToV2(3) && api.v2TagVersion() == 2 && api.getV2Tag()->minorVersion() == 3;
     },
     "v2(new t new a  0 7 )"},
};

TEST(TagAPIUpdateTest, AnUpdateWritesWhatWasChangedAndTheAudioStays) {
    const LogLines log;
    for (const UpdateCase& one : kUpdates) {
        for (const bool keepsOpen : {true, false}) {
            const TemporaryFolder folder;
            const std::string path = folder.write("x.mp3", one.before);
            const auto api = apiWith(one.preferences);
            EXPECT_TRUE(keepsOpen ? api->examineForUpdate(path) : api->examineFile(path));
            EXPECT_TRUE(one.change(*api)) << one.name;
            EXPECT_EQ(api->updateFile(), 0) << one.name << ": " << api->saveProblem();
            EXPECT_EQ(told(path), one.after) << one.name;
            const std::string once = contentOf(path);
            EXPECT_EQ(api->updateFile(), 0) << one.name;
            EXPECT_EQ(contentOf(path), once) << one.name << ": a second update has nothing to write";
            api->setComments("more");
            api->setAlbum(std::string(3000, 'z'));
            EXPECT_EQ(api->updateFile(), 0) << one.name << ": " << api->saveProblem();
            expectAudio(path);
        }
    }
}

TEST(TagAPIUpdateTest, CopyingToV1LeavesTheV2TagAsItWas) {
    const TemporaryFolder folder;
    const LogLines log;
    const std::string path = folder.write("x.mp3", kDated + kMpegAudio);
    for (const auto& preferences : {kSystem, kStandard}) {
        const auto api = apiWith(preferences);
        api->examineFile(path);
        const auto before = api->getV2Tag()->frames().all();
        EXPECT_EQ(api->copyV2TagToV1Tag(), !api->dialect().system) << "the system's title says no";
        EXPECT_EQ(api->getV2Tag()->frames().all(), before);
        EXPECT_FALSE(api->getV2Tag()->tagChanged());
        EXPECT_TRUE(api->isModified());
        EXPECT_TRUE(api->getV1Tag()->tagChanged());

        api->examineFile(folder.write("none.mp3", kMpegAudio));
        EXPECT_FALSE(api->copyV2TagToV1Tag() || api->copyV1TagToV2Tag() || api->isModified());
    }
    EXPECT_THAT(log.all(), testing::Contains("copyV1TagToV2Tag: No v1 tag present to copy").Times(2));
    EXPECT_THAT(log.all(), testing::Contains("copyV2TagToV1Tag: No v2 tag present to copy").Times(2));
}

TEST(TagAPIUpdateTest, TheSystemTakesAV1TagAloneIntoAnEmptyV2Tag) {
    const TemporaryFolder folder;
    const std::string path = folder.write("x.mp3", kMpegAudio + kOldV1);
    const auto api = apiWith(kSystem);
    EXPECT_TRUE(api->examineFile(path));
    EXPECT_FALSE(api->v2TagPresent() || api->isModified());
    EXPECT_THAT(api->getFrameList(), ElementsAre("TIT2", "TPE1", "TALB", "TYER", "TRCK", "TCON", "COMM"));
    EXPECT_EQ(api->getComments(), "old c") << "a year empties the comment in v1, which was read before";
    EXPECT_EQ(api->updateFile(), 0);
    EXPECT_EQ(contentOf(path), kMpegAudio + kOldV1) << "an examination is no change";
    const auto other = apiWith(kStandard);
    EXPECT_TRUE(other->examineFile(path));
    EXPECT_THAT(other->getFrameList(), IsEmpty());
}

TEST(TagAPIUpdateTest, ARefusedUpdateSaysWhyAndInTheStandardDialectLeavesTheFileWhole) {
    const struct {
        const char* name;
        std::string before;
        std::function<void(const std::string&)> meanwhile;
        std::int32_t system, standard;
        const char* reason;
    } kCases[] = {
        {"changed meanwhile", kV2 + kMpegAudio + kOldV1,
         [](const std::string& path) { truncate(path.c_str(), 30'000); }, -3, -3, "changed by another program"},
        {"gone meanwhile", kV2 + kMpegAudio + kOldV1, [](const std::string& path) { unlink(path.c_str()); }, -1, -3,
         "No such file"},
        {"not read faithfully", tagOf(3, {{"TIT2", latin1("t")}}).substr(0, 60) + kMpegAudio + kOldV1,
         [](const std::string&) {}, -1, -3, "tag"},
    };
    const LogLines log;
    for (const auto& one : kCases) {
        for (const auto& preferences : {kSystem, kStandard}) {
            const TemporaryFolder folder;
            const std::string path = folder.write("x.mp3", one.before);
            const auto api = apiWith(preferences);
            api->examineFile(path);
            api->setTitle("x");
            one.meanwhile(path);
            const std::string before = contentOf(path);
            const bool system = api->dialect().system;
            EXPECT_EQ(api->updateFile(), system ? one.system : one.standard) << one.name;
            if (!system) {
                EXPECT_EQ(contentOf(path), before) << one.name;
            }
            EXPECT_THAT(api->saveProblem(), HasSubstr(one.reason)) << one.name;
            api->setTitle("y");
            EXPECT_NE(api->updateFile(), 0) << one.name;
        }
    }
}

}  // namespace
}  // namespace quillet::test
