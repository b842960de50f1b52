#include "cli/TagSaving.hpp"

#include <gmock/gmock.h>

#include <functional>

#include "tests/TemporaryFolder.hpp"
#include "tests/id3/TagBytes.hpp"

namespace quillet::test {
namespace {

using cli::EditFiles;
using cli::EditOutcome;
using cli::TagState;
using namespace std::string_literals;

/// Silent frames: MPEG 1 layer 3, 128 kbit/s, 44,100 Hz.
std::string audioFrames(int count) {
    std::string audio;
    while (count-- > 0) audio += "\xFF\xFB\x90\x64" + std::string(413, '\0');
    return audio;
}

/// Sets a title, and then something happens to the file that nobody asked for.
class TamperingEdit : public cli::TagEdit {
  public:
    using Tampering = std::function<void(TagAPI& api, std::string& content)>;
    explicit TamperingEdit(Tampering tamper) : tamper_(std::move(tamper)) {}

    EditOutcome change(TagAPI& api, const TagState& /*before*/) const override {
        EditOutcome outcome;
        if (!api.setTitle("New")) outcome.failure = "refused";
        outcome.after = TagState::of(api, false);
        return outcome;
    }
    std::string write(TagAPI& api, const SaveOptions& options) const override {
        const std::string path = api.getPath();
        std::string reason = TagEdit::write(api, options);
        std::string content = contentOf(path);
        tamper_(api, content);
        std::ofstream(path, std::ios::binary) << content;
        return reason;
    }
    std::string missing(TagAPI& reread, const TagState& /*before*/, const TagState& /*found*/) const override {
        return reread.getArtist() == "Singer" ? "" : "artist";
    }

  private:
    Tampering tamper_;
};

struct TamperingCase {
    const char* name;
    TamperingEdit::Tampering tamper;
    const char* reason;  ///< "" for a save that is as it should be
};

void put(std::string& content, std::string_view old, std::string_view replacement) {
    content.replace(content.find(old), old.size(), replacement);
}

const TamperingCase kTamperings[] = {
    {"nothing", [](TagAPI&, std::string&) {}, ""},
    {"a byte of audio", [](TagAPI&, std::string& content) { content[content.size() - 16000] ^= 1; },
     "its audio is not what it was"},
    {"the last byte of audio", [](TagAPI&, std::string& content) { content.pop_back(); },
     "its audio is not what it was"},
    {"a byte in front of the audio",
     [](TagAPI&, std::string& content) { content.insert(content.find("\xFF\xFB"), "x"); },
     "its audio is not what it was"},
    {"what was set", [](TagAPI&, std::string& content) { put(content, "New", "Old"); },
     "reads back differently: title"},
    {"what was not set", [](TagAPI&, std::string& content) { put(content, "Singer", "singer"); },
     "reads back differently: artist"},
    {"how something stands that was not set",
     [](TagAPI&, std::string& content) { put(content, "\0Singer"s, "\3Singer"); }, "artist is not what it was"},
    {"bytes that have no meaning", [](TagAPI&, std::string& content) { put(content, "\1\2\3", "\1\2\4"); },
     "reads back differently: private"},
    {"a frame too many",
     [](TagAPI&, std::string& content) { put(content, std::string(13, '\0'), frame23("TPUB", "\0ab"s)); },
     "reads back differently: publisher"},
    {"all of the tag", [](TagAPI&, std::string& content) { content[0] = 'X'; }, "its audio is not what it was"},
    {"all of the file", [](TagAPI&, std::string& content) { content.clear(); }, "its audio is not what it was"},
};

class TagSavingTest : public testing::Test {
  protected:
    int save(const EditFiles& files, const cli::TagEdit& edit) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        cli::Console console(false);
        const int status = cli::saveTags(console, files, edit);
        console.finish();
        output_ = testing::internal::GetCapturedStdout();
        errors_ = testing::internal::GetCapturedStderr();
        return status;
    }
    TemporaryFolder folder_;
    std::string output_, errors_;
};

TEST_F(TagSavingTest, WhatBecameOfTheFileIsJudgedByAFreshReading) {
    const std::string tag = tagOf(3, 0,
                                  frame23("TIT2", "\0Before"s) + frame23("TPE1", "\0Singer"s) +
                                      frame23("PRIV", "me\0\1\2\3"s) + std::string(200, '\0'));
    for (const TamperingCase& one : kTamperings) {
        EditFiles files;
        files.paths = {folder_.write("a.mp3", tag + audioFrames(40))};
        const std::string reason = one.reason;
        EXPECT_EQ(save(files, TamperingEdit(one.tamper)), reason.empty() ? cli::kAllDone : cli::kSomeFailed)
            << one.name;
        const std::string line = "quillet: " + files.paths[0] + ": was saved, but " + reason;
        EXPECT_THAT(errors_, testing::HasSubstr(reason.empty() ? "" : line)) << one.name;
        EXPECT_EQ(errors_.empty(), reason.empty()) << one.name;
        EXPECT_EQ(output_, reason.empty() ? files.paths[0] + ": title saved (in place)\n" : "") << one.name;
    }
}

}  // namespace
}  // namespace quillet::test
