#include "cli/AudioRecognition.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/TemporaryFolder.hpp"
#include "tests/id3/MpegFrames.hpp"

namespace quillet::test {
namespace {

struct RecognitionCase {
    const char* name;
    std::string content;
    const char* reason;           // by the framework alone
    const char* reasonAsMp3File;  // with the tag engine asked first
};

const std::string kTagOf64K = std::string("ID3\3\0\0\0\4\0\0", 10) + std::string(65536, '\0');

const RecognitionCase kRecognitions[] = {
    // Too little for libavformat, so that it shows who was asked.
    {"two frames", frames(2), "is not audio", ""},
    {"two frames behind a tag", kTagOf64K + frames(2), "is not audio", ""},
    {"one frame with nothing behind it but text", frames(1) + "text", "is not audio", "is not audio"},
    {"a tag that tells of more than there is", kTagOf64K.substr(0, 5000), "is not audio", "is not audio"},
    {"text", std::string(20000, 'x'), "is not audio", "is not audio"},
    {"nothing", "", "is empty", "is empty"},
    // Where the engine does not look, libavformat does.
    {"audio behind much that is none", std::string(9000, '\0') + frames(2000), "", ""},
};

TEST(AudioRecognitionTest, TheTagEngineIsAskedFirstAboutMp3FilesAndTheFrameworkAboutTheRest) {
    const TemporaryFolder folder;
    LibavMediaFramework media;
    cli::AudioRecognition recognition(media);
    for (const RecognitionCase& one : kRecognitions) {
        EXPECT_EQ(recognition.reasonAgainst(folder.write("x.MP3", one.content)), one.reason) << one.name;
        EXPECT_EQ(recognition.reasonAgainst(folder.write("x.mp3", one.content)), one.reasonAsMp3File) << one.name;
    }
    mkdir((folder / "folder.mp3").c_str(), 0700);
    mkfifo((folder / "fifo.mp3").c_str(), 0600);
    EXPECT_EQ(recognition.reasonAgainst(folder / "folder.mp3"), "is a folder");
    EXPECT_EQ(recognition.reasonAgainst(folder / "fifo.mp3"), "is not a regular file");
    EXPECT_EQ(recognition.reasonAgainst(folder / "gone.mp3"), "no such file");
}

}  // namespace
}  // namespace quillet::test
