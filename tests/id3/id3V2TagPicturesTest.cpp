#include <gtest/gtest.h>

#include "id3/id3V2Tag.hpp"
#include "tests/TemporaryFolder.hpp"
#include "tests/id3/FrameBytes.hpp"
#include "util/Log.hpp"

namespace quillet {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

/// Type, MIME type, description and picture, with bars between; "none" where there is no picture.
std::string shown(const std::optional<Picture>& picture) {
    if (!picture) return "none";
    return picture->pictureType + "|" + picture->mimeType + "|" + picture->description + "|" +
           test::bytesOf(picture->image);
}

std::string read(std::string_view body, std::int32_t version, const Dialect& dialect) {
    const id3V2Tag tag(FrameLibrary(), dialect);
    const id3V2Frame frame = test::frameOf(body, version, dialect);
    return shown(version == 2 ? tag.getImageFrom2Frame(frame) : tag.getImageFrom3Frame(frame));
}

struct PictureCase {
    std::int32_t version;
    std::string_view body, system, standard;
};

const PictureCase kPictures[] = {
    // Written by mutagen.
    {3, "\0image/png\0\4b\0\x89PNG"sv, "Cover (back)|image/png\0|\0i|\x89PNG"sv, "Cover (back)|image/png|b|\x89PNG"},
    {4, "\3image/png\0\6\xc3\xa9\0\x89PNG"sv, "Media (e.g. label side of CD)|image/png\0||\x89PNG"sv,
     "Media (e.g. label side of CD)|image/png|é|\x89PNG"},
    {4, "\2image/gif\0\5\3\xa9\0\0GIF8"sv, "Leaflet page|image/gif\0||GIF8"sv, "Leaflet page|image/gif|Ω|GIF8"},
    {3, "\1image/jpeg\0\3\xff\xfeV\0\xe4\0\0\0\xff\xd8"sv, "Cover (front)|image/jpeg\0||\xe4\0\0\0\xff\xd8"sv,
     "Cover (front)|image/jpeg|Vä|\xff\xd8"},
    // Written by eyeD3.
    {4, "\3image/jpeg\0\3Vorne \xc3\xa4\0\xff\xd8"sv, "Cover (front)|image/jpeg\0||\xff\xd8"sv,
     "Cover (front)|image/jpeg|Vorne ä|\xff\xd8"},
    // No description; a picture that is text; a zero where a picture should begin.
    {3, "\1image/png\0\3\xff\xfe\0\0\x89P"sv, "Cover (front)|image/png\0||\x89P"sv, "Cover (front)|image/png||\x89P"},
    {3, "\1image/png\0\3\0\0\x89P"sv, "Cover (front)|image/png\0||\x89P"sv, "Cover (front)|image/png||\x89P"},
    {4, "\3g\0\3d\0GIF8"sv, "Cover (front)|g\0|d\0G|IF8"sv, "Cover (front)|g|d|GIF8"},
    {3, "\0g\0\3\0\0IF8"sv, "Cover (front)|g\0|\0|IF8"sv, "Cover (front)|g||\0IF8"sv},
    // A coding byte that is negative when read as signed counts two bytes, yet ends at the first zero.
    {3, "\x80g\0\3d\0\0\xff\xd8"sv, "Cover (front)|g\0|d\0\0|\xff\xd8"sv, "Cover (front)|g|d|\0\xff\xd8"sv},
    {3, "\0-->\0\3\0http://a"sv, "Cover (front)|-->\0|\0|http://a"sv, "Cover (front)|-->||http://a"},
    {3, "\0\0\3\0X"sv, "Cover (front)|\0|\0|X"sv, "Cover (front)|||X"},
    {3, "\0g\0\xff\0X"sv, "Unknown|g\0|\0|X"sv, "Unknown|g||X"},
    {3, "\0g\0\x15\0X"sv, "Unknown|g\0|\0|X"sv, "Unknown|g||X"},
    {3, "\0g\0\x14\0X"sv, "Publisher/Studio logotype|g\0|\0|X"sv, "Publisher/Studio logotype|g||X"},
    // Without a terminator, a picture or a MIME type's end.
    {3, "\0image/png\0\3description"sv, "Cover (front)|image/png\0|\0image/png|n"sv, "none"},
    {3, "\0image/png\0\3d\0"sv, "none", "none"},
    {3, "\0image/png", "none", "none"},
    // 2.2.
    {2, "\0JPG\3d\0\xff\xd8\xff"sv, "JPG|Cover (front)|d\0|\xff\xd8\xff"sv, "Cover (front)|image/jpeg|d|\xff\xd8\xff"},
    {2, "\0PNG\3\0\x89PNG"sv, "PNG|Cover (front)|\0|\x89PNG"sv, "Cover (front)|image/png||\x89PNG"},
    {2, "\1GIF\3\xff\xfe\xe4\0\0\0GIF8"sv, "GIF|Cover (front)||IF8"sv, "Cover (front)|image/gif|ä|GIF8"},
    {2, "\3GIF\3d\0GIF8"sv, "GIF|Cover (front)|d\0G|IF8"sv, "Cover (front)|image/gif|d|GIF8"},
    // A picture of 2.2 may be empty, but not begin behind the frame.
    {2, "\0JPG\3d\0"sv, "JPG|Cover (front)|d|"sv, "none"},
    {2, "\0JPG\3\0"sv, "JPG|Cover (front)|\0|"sv, "none"},
    {2, "\0JPG\3"sv, "none", "none"},
    {2, "\1JPG\3\0"sv, "none", "none"},
    {2, "\1JPG\3\0\0"sv, "JPG|Cover (front)|\0\0|"sv, "none"},
};

TEST(TagPictures, ReadsPicturesInEachDialect) {
    for (const PictureCase& c : kPictures) {
        SCOPED_TRACE(testing::PrintToString(c.body));
        EXPECT_EQ(read(c.body, c.version, kSystemDialect), c.system);
        EXPECT_EQ(read(c.body, c.version, kStandardDialect), c.standard);
        // A frame that was cut anywhere has no picture, or a part of it.
        for (std::size_t length = 0; length < c.body.size(); ++length) {
            read(c.body.substr(0, length), c.version, kSystemDialect);
            const std::string part = read(c.body.substr(0, length), c.version, kStandardDialect);
            EXPECT_TRUE(part == "none" || c.standard.starts_with(part)) << length;
        }
    }
}

TEST(TagPictures, AnswersViewsOfTheTagAndLogsWhatIsNoPicture) {
    const test::TemporaryFolder folder;
    std::vector<std::string> lines;
    util::setLogSink([&](std::string_view line) { lines.emplace_back(line); });
    for (const std::int32_t version : {2, 3, 4}) {
        const std::string header = version == 2 ? "\0JPG\3\0"s : "\0image/jpeg\0\3\0"s;
        const std::string identifier = version == 2 ? "PIC" : "APIC";
        id3V2Tag tag{FrameLibrary()};
        const auto bytes =
            test::tagOf(version, {{identifier, header + "one"}, {identifier, "no"}, {identifier, header + "two"}});
        tag.openPath(folder.write("tag.mp3", bytes));
        const std::vector<Picture> pictures = tag.getImage();
        ASSERT_EQ(pictures.size(), 2U);
        EXPECT_EQ(test::bytesOf(pictures[0].image), "one");
        EXPECT_EQ(test::bytesOf(pictures[1].image), "two");
        const util::Bytes body = tag.frames().all()[2]->getRawFrameData()->bytes();
        EXPECT_EQ(pictures[1].image.bytes().data(), body.last(3).data());
    }
    util::setLogSink({});
    EXPECT_EQ(lines, std::vector<std::string>(3, "Failed to find a valid image in APIC frame"));
}

TEST(TagPictures, FindsThePictureThatAFrameWrote) {
    Picture picture{test::dataOf("\xff\xd8\xff\0\0"sv), "Illustration", "image/jpeg", "Ω und ä"};
    for (const std::int32_t version : {2, 3, 4}) {
        id3V2Frame frame("APIC", 0, 0, version, kStandardDialect);
        EXPECT_TRUE(frame.writeImage(picture));
        EXPECT_EQ(read(test::bodyOf(frame), version, kStandardDialect), shown(picture));
    }
    // In the system dialect what was read, keys and NUL included, is what is written again.
    for (const std::string_view body : {"\0image/jpeg\0\3\0\xff\xd8"sv, "\0JPG\3\0\xff\xd8"sv}) {
        const std::int32_t version = body.starts_with("\0i"sv) ? 3 : 2;
        const id3V2Tag tag{FrameLibrary()};
        const id3V2Frame original = test::frameOf(body, version);
        auto answered = version == 2 ? tag.getImageFrom2Frame(original) : tag.getImageFrom3Frame(original);
        ASSERT_TRUE(answered);
        answered->description.clear();
        id3V2Frame frame("APIC", 0, 0, version);
        EXPECT_TRUE(frame.writeImage(*answered));
        EXPECT_EQ(test::bodyOf(frame), body);
    }
}

TEST(TagPictures, WritesWhatIsMissingOrStandsElsewhere) {
    const auto picture = [](std::string_view image, const char* type, std::string_view mime, std::string_view text) {
        return Picture{test::dataOf(image), type, std::string(mime), std::string(text)};
    };
    struct {
        const char* name;
        Picture given;
        std::string_view type, mime, mimeOf20, description;
    } const cases[] = {
        {"JPEG", picture("\xff\xd8\xff\xe1", "", "", ""), "Cover (front)", "image/jpeg", "image/jpeg", ""},
        {"PNG", picture("\x89PNG\r\n\x1a\n", "", "", ""), "Cover (front)", "image/png", "image/png", ""},
        {"GIF", picture("GIF89a", "", "", ""), "Cover (front)", "image/gif", "image/gif", ""},
        {"WebP", picture("RIFF\1\2\3\4WEBPVP8 ", "", "", ""), "Cover (front)", "image/webp", "image/webp", ""},
        {"BMP", picture("BM\1", "", "", ""), "Cover (front)", "image/bmp", "image/bmp", ""},
        {"unknown", picture("RIFF\1\2\3\4WAVE", "", "", ""), "Cover (front)", "image/", "\0\0\0"sv, ""},
        {"too short to tell", picture("RIFF", "", "", ""), "Cover (front)", "image/", "\0\0\0"sv, ""},
        {"no such type", picture("X", "Sleeve", "image/tiff", "d"), "Other", "image/tiff", "TIF", "d"},
        {"a link", picture("http://a", "Other", "-->", "d"), "Other", "-->", "-->", "d"},
        {"with NULs", picture("X", "Conductor", "image/png\0"sv, "d\0e"sv), "Conductor", "image/png", "image/png", "d"},
        {"as a 2.2 picture is read", picture("X", "PNG", "Conductor", ""), "Conductor", "image/png", "image/png", ""},
        {"of an unknown type", picture("X", "JPG", "Unknown", "ж"), "Other", "image/jpeg", "image/jpeg", "ж"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (const std::int32_t version : {2, 3, 4}) {
            id3V2Frame frame("APIC", 0, 0, version, kStandardDialect);
            EXPECT_TRUE(frame.writeImage(c.given));
            const Picture wanted{c.given.image, std::string(c.type), std::string(version == 2 ? c.mimeOf20 : c.mime),
                                 std::string(c.description)};
            EXPECT_EQ(read(test::bodyOf(frame), version, kStandardDialect), shown(wanted));
            // Whatever the system makes of a description, it finds the picture.
            id3V2Frame system("APIC", 0, 0, version);
            EXPECT_TRUE(system.writeImage(c.given));
            EXPECT_TRUE(
                read(test::bodyOf(system), version, kSystemDialect).ends_with("|" + test::bytesOf(c.given.image)));
        }
    }
}

}  // namespace
}  // namespace quillet
