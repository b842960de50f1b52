#include <sys/stat.h>

#include <limits>

#include "platform/ios/AVMediaFramework.hpp"
#include "platform/ios/FoundationPropertyLists.hpp"
#include "tests/rig/ports/Device.h"

namespace quillet {
namespace {

using util::Data;
using util::PropertyArray;
using util::PropertyDate;
using util::PropertyDictionary;
using util::PropertyValue;

class AVMediaFrameworkTest : public test::Device {
  protected:
    /// Has the device know `description` of the file whose content is `content`.
    std::string describe(const std::string& content, const PropertyDictionary& description) {
        const std::string digest = Data::copyOf(util::bytesOf(content)).MD5();
        std::filesystem::create_directories(folder / "rig/assets");
        const std::string file = folder / ("rig/assets/" + digest + ".plist");
        EXPECT_TRUE(FoundationPropertyLists().writeToFile(description, file, false));
        return folder.write("SONG.m4a", content);
    }

    AVMediaFramework media;
};

TEST_F(AVMediaFrameworkTest, ConvertsEachPartOfAnItem) {
    const struct {
        PropertyDictionary described;
        MetadataItem item;
    } cases[] = {
        {{{"commonKey", "title"}, {"value", "Größe"}, {"stringValue", "Größe"}}, {"title", "", {}, "Größe", "Größe"}},
        {{{"keySpace", "itsk"}, {"key", 0x74726B6E}, {"value", Data()}}, {"", "itsk", 0x74726B6E, Data()}},
        {{{"key", -1452383891}, {"value", 1}}, {"", "", 0xA96E616D, 1}},
        {{{"key", "aART"}, {"value", "text"}}, {"", "", 0x61415254, "text"}},
        {{{"key", "\xC2\xA9nam"}, {"value", "text"}}, {"", "", 0xA96E616D, "text"}},
        {{{"key", "TPE22"}, {"value", "text"}}, {"", "", {}, "text"}},
        {{{"key", "音楽音楽"}, {"value", "text"}}, {"", "", {}, "text"}},
        {{{"key", "TPE2"}, {"stringValue", "unused"}}, {"", "", 0x54504532, {}, "unused"}},
        {{{"value", PropertyDictionary{{"data", Data()}}}}, {"", "", {}, PropertyDictionary{{"data", Data()}}}},
        {{{"value", PropertyDate{5}}, {"stringValue", "2001-01-01"}}, {"", "", {}, PropertyDate{5}, "2001-01-01"}}};
    PropertyArray items;
    for (const auto& each : cases) items.push_back(each.described);
    const PropertyDictionary second{{"name", "org.id3"}, {"items", PropertyArray{PropertyDictionary{{"value", "x"}}}}};
    const auto path = describe(
        "audio",
        {{"duration", 12.5},
         {"formats", PropertyArray{PropertyDictionary{{"name", "com.apple.itunes"}, {"items", items}}, second}}});
    const auto asset = media.assetAtPath(path);
    ASSERT_TRUE(asset);
    EXPECT_EQ(asset->durationSeconds, 12.5);
    ASSERT_EQ(asset->formats.size(), 2U);
    EXPECT_EQ(asset->formats[0].name, "com.apple.itunes");
    EXPECT_EQ(asset->formats[1].name, "org.id3");
    EXPECT_EQ(asset->formats[1].items.size(), 1U);
    ASSERT_EQ(asset->formats[0].items.size(), std::size(cases));
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const MetadataItem& item = asset->formats[0].items[i];
        EXPECT_EQ(item.commonKey, cases[i].item.commonKey) << i;
        EXPECT_EQ(item.keySpace, cases[i].item.keySpace) << i;
        EXPECT_EQ(item.key, cases[i].item.key) << i;
        EXPECT_EQ(item.value, cases[i].item.value) << i;
        EXPECT_EQ(item.text, cases[i].item.text) << i;
    }
}

TEST_F(AVMediaFrameworkTest, AnswersNoDurationThatIsNone) {
    const PropertyDictionary format{{"name", "com.apple.itunes"}, {"items", PropertyArray()}};
    const auto durationOf = [&](PropertyDictionary description) {
        description["formats"] = PropertyArray{format};
        const auto asset = media.assetAtPath(describe("audio", description));
        return asset ? asset->durationSeconds : -1;
    };
    EXPECT_EQ(durationOf({{"duration", 0.5}}), 0.5);
    EXPECT_EQ(durationOf({{"duration", -0.5}}), 0);
    EXPECT_EQ(durationOf({}), 0) << "an invalid time, whose seconds are not a number";
}

TEST_F(AVMediaFrameworkTest, OpensNothingButAKnownRegularFile) {
    EXPECT_FALSE(media.assetAtPath(folder.write("unknown.m4a", "noise")));
    EXPECT_FALSE(media.assetAtPath(folder / "missing.m4a"));
    EXPECT_FALSE(media.assetAtPath(folder.path()));
    ASSERT_EQ(mkfifo((folder / "pipe.m4a").c_str(), 0600), 0);
    (void)recorded();
    EXPECT_FALSE(media.assetAtPath(folder / "pipe.m4a"));
    EXPECT_TRUE(recorded().empty()) << "something that is no file was opened";
    const auto known = describe("audio", {{"duration", 1.0}});
    EXPECT_TRUE(media.assetAtPath(known));
    std::filesystem::create_symlink(known, folder / "link.m4a");
    EXPECT_TRUE(media.assetAtPath(folder / "link.m4a"));
}

}  // namespace
}  // namespace quillet
