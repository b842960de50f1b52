#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

#include "cli/FrameContentView.hpp"
#include "cli/ParallelReading.hpp"
#include "cli/PictureFile.hpp"

namespace quillet::cli {
namespace {

using namespace std::string_view_literals;

class ParallelReadingTest : public testing::Test {
  protected:
    std::optional<SelectedFile> next() {
        if (begun_ == count_) return std::nullopt;
        return SelectedFile{std::to_string(begun_++), ""};
    }
    void read(std::size_t threads, const std::function<FileOutput(const SelectedFile&)>& reader,
              const std::function<bool(const SelectedFile&, const FileOutput&)>& take) {
        readInParallel([this] { return next(); }, {threads, reader}, take);
    }

    int count_ = 0;
    std::atomic<int> begun_ = 0;
};

TEST_F(ParallelReadingTest, ResultsComeInOrderThoughTheFirstIsReadyLastAndFewAreHeld) {
    constexpr int kThreads = 4;
    count_ = 1000;
    std::atomic<bool> othersAreDone = false;
    int taken = 0;
    int mostHeld = 0;
    const auto reader = [&](const SelectedFile& file) -> FileOutput {
        if (file.path == "0") othersAreDone.wait(false);
        if (file.path == "50") {
            othersAreDone = true;
            othersAreDone.notify_all();
        }
        return {file.path, ""};
    };
    read(kThreads, reader, [&](const SelectedFile& file, const FileOutput& output) {
        EXPECT_EQ(file.path, std::to_string(taken));
        EXPECT_EQ(output.text, file.path);
        mostHeld = std::max(mostHeld, begun_ - taken);
        ++taken;
        return true;
    });
    EXPECT_EQ(taken, count_);
    EXPECT_GT(mostHeld, 50);
    EXPECT_LE(mostHeld, 16 * kThreads + 1);
}

TEST_F(ParallelReadingTest, EndsEarlyWhereNoMoreIsWantedOrSomethingIsThrown) {
    const auto echo = [](const SelectedFile& file) { return FileOutput{file.path, ""}; };
    const auto fail = [](const SelectedFile& file) {
        if (file.path == "7") throw std::runtime_error("seven");
        return FileOutput();
    };
    const auto takeAll = [](const auto&, const auto&) { return true; };
    const auto throwAtThree = [](const SelectedFile& file, const auto&) {
        return file.path == "3" ? throw std::runtime_error("three") : true;
    };
    for (const std::size_t threads : {1U, 3U}) {
        count_ = 100000;
        begun_ = 0;
        int taken = 0;
        read(threads, echo, [&](const auto&, const auto&) { return ++taken < 5; });
        EXPECT_EQ(taken, 5);
        begun_ = 0;
        EXPECT_THROW(read(threads, echo, throwAtThree), std::runtime_error);
        begun_ = 0;
        EXPECT_THROW(read(threads, fail, takeAll), std::runtime_error);
        EXPECT_LT(begun_, count_) << "nothing goes on";
    }
}

struct FrameCase {
    const char* identifier;
    std::string_view body;
    const char* text;
    const char* fields;
};

// As ID3v2.4.0 frames lays them, and as they come from careless writers.
const FrameCase kFrames[] = {
    {"TPE1", "\3One\0Two\0"sv, "One / Two", R"({"text":"One / Two","values":["One","Two"]})"},
    {"TIT2", "\3"sv, "", R"({"text":null})"},
    {"TXXX", "\1\xFF\xFEk\0\0\0\xFF\xFEv\0\xE9\0"sv, "k: vé", R"({"description":"k","text":"vé"})"},
    {"TXXX", "\0k"sv, "k", R"({"description":"k","text":null})"},
    {"TXXX", "\3k\0a\0b\0"sv, "k: a / b", R"({"description":"k","text":"a / b","values":["a","b"]})"},
    {"WXXX", "\2\0k\0\0http://x\0behind"sv, "k: http://x", R"({"description":"k","url":"http://x"})"},
    {"WOAR", "http://x\0behind"sv, "http://x", R"({"url":"http://x"})"},
    {"COMM", "\0en\0d\0t"sv, "d: t", R"({"language":"en","description":"d","text":"t"})"},
    {"COMM", "\0en"sv, "(3 bytes)", R"({"bytes":3})"},
    {"PRIV", "me\0\1\2"sv, "me: (2 bytes)", R"({"owner":"me","bytes":2})"},
    {"PCNT", "\0\0\1\2"sv, "258", R"({"count":258})"},
    {"PCNT", "\1\0\0\0\0\0\0\0\0"sv, "(9 bytes)", R"({"bytes":9})"},
    {"POPM", "e\0\x80"sv, "e: 128 of 255", R"({"email":"e","rating":128,"count":null})"},
    {"GEOB", "\0m\0f\0\0ab"sv, "f: (2 bytes)", R"({"mime":"m","fileName":"f","description":null,"bytes":2})"},
    {"APIC", "\0m\0"sv, "(3 bytes)", R"({"bytes":3})"},
    {"ZZZZ", "abc"sv, "(3 bytes)", R"({"bytes":3})"},
};

TEST(FrameContentViewTest, ShowsWhatAFrameHoldsAndBytesWhereItDoesNot) {
    const id3V2Tag tag(FrameLibrary(), kStandardDialect);
    const auto viewOf = [&](const FrameCase& one, std::string_view body) {
        const id3V2Frame frame(util::Data::copyOf(util::bytesOf(body)), one.identifier, 0, 0, 4, kStandardDialect);
        return FrameContentView::of(tag, frame);
    };
    for (const FrameCase& one : kFrames) {
        const auto view = viewOf(one, one.body);
        EXPECT_EQ(view.text, one.text) << one.identifier;
        EXPECT_EQ(view.fields.dump(), one.fields);
        for (std::size_t length = 0; length < one.body.size(); ++length)
            EXPECT_FALSE(viewOf(one, one.body.substr(0, length)).fields.empty()) << one.identifier << ' ' << length;
    }
}

TEST(PictureFileTest, ThePictureItselfTellsItsFormatAndThenItsMimeType) {
    const std::tuple<std::string_view, const char*, const char*> kPictures[] = {
        {"\xFF\xD8\xFF\xE0"sv, "image/png", ".jpg"},
        {"\x89PNG\r\n\x1A\n"sv, "", ".png"},
        {"RIFF\0\0\0\0WEBPVP8"sv, "", ".webp"},
        {"RIFF\0\0\0\0WAVE "sv, "image/jpg", ".jpg"},
        {"?"sv, "image/gif", ".gif"},
        {"?"sv, "", ".bin"},
        {""sv, "image/", ".bin"},
    };
    for (const auto& [bytes, mime, extension] : kPictures)
        EXPECT_EQ(pictureExtension(util::bytesOf(bytes), mime), extension) << mime;
}

}  // namespace
}  // namespace quillet::cli
