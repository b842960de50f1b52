#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "id3/id3V2Tag.hpp"
#include "tests/LogLines.hpp"
#include "tests/TemporaryFolder.hpp"
#include "tests/id3/TagBytes.hpp"

// Saves never cost a byte of audio, whatever a file holds: each file is changed several times over, in both dialects.

namespace quillet {
namespace {

using namespace std::string_literals;
using test::contentOf;
using test::frame20;
using test::frame23;
using test::frame24;
using test::number;
using test::synchsafeNumber;
using test::tagHeader;
using test::tagOf;

std::string audioBytes() {
    std::string bytes = "\xff\xfb\x90\x64";
    for (unsigned value = 1; bytes.size() < 20'000; value = value * 1'103'515'245 + 12'345)
        bytes += static_cast<char>(value >> 16);
    return bytes;
}
const std::string kNoisyAudio = audioBytes();
const std::string kRecord = "TAG" + std::string(125, 'v');
const std::string kRoom(200, '\0');

std::shared_ptr<id3V2Frame> titleFrame(const id3V2Tag& tag, const std::string& text, const Dialect& dialect) {
    const auto version = static_cast<std::int32_t>(tag.tagVersion());
    return id3V2Frame::initTextFrame(version < 3 ? "TT2" : "TIT2", 0, 0, text, 0, version, dialect);
}

/// What became of a save: "in place", "rewritten" or the reason why not.
std::string saved(id3V2Tag& tag, const std::string& path) {
    struct stat before{};
    struct stat after{};
    ::stat(path.c_str(), &before);
    if (!tag.writeTag()) return tag.getErrorDescription().value_or("no reason");
    ::stat(path.c_str(), &after);
    return before.st_ino == after.st_ino ? "in place" : "rewritten";
}

struct FileCase {
    const char* name;
    std::string front;  ///< what stands before the audio
    std::string system;
    std::string standard;
    std::string frames = {};  ///< the identifiers after the standard dialect's save
    std::string kept = {};    ///< what of `front` stays behind the tag then
};

const std::string kOthers3 = frame23("TPE1", "\0artist"s) + frame23("XYZA", "unknown");
const std::string kOthers4 = frame24("TPE1", "\0artist"s) + frame24("XYZA", "unknown");
const std::string kPicture3 = frame23("APIC", "\0image/jpeg\0\3\0"s + std::string(150'000, 'p'));
const std::string kUncertain = "it cannot be told where its tag ends and its audio begins";
const std::string kUnfaithful = "its tag was not read faithfully: ";

std::string deflated(const std::string& text) {
    return std::string(util::charactersOf(test::dataOf(text).deflate()->bytes()));
}

const FileCase kFiles[] = {
    {"no tag", "", "rewritten", "rewritten", "TIT2"},
    {"2.2", tagOf(2, 0, frame20("TP1", "\0artist"s) + kRoom), "in place", "in place", "TT2 TP1"},
    {"2.3", tagOf(3, 0, kOthers3 + kRoom), "in place", "in place", "TIT2 XYZA TPE1"},
    {"2.4", tagOf(4, 0, kOthers4 + kRoom), "in place", "in place", "TIT2 XYZA TPE1"},
    {"no room", tagOf(3, 0, kOthers3), "rewritten", "rewritten", "TIT2 XYZA TPE1"},
    {"large picture", tagOf(3, 0, kPicture3 + kOthers3 + kRoom), "in place", "in place", "TIT2 XYZA TPE1 APIC"},
    {"large picture, no room", tagOf(3, 0, kPicture3), "rewritten", "rewritten", "TIT2 APIC"},
    // The system's copy leaves the old tag in the file.
    {"behind something", "something" + tagOf(3, 0, kOthers3 + kRoom), "rewritten", "rewritten", "TIT2 XYZA TPE1",
     "something"},
    {"a chance find in the audio", kNoisyAudio.substr(0, 100) + tagHeader(3, 0, 0), "rewritten", kUncertain},
    {"behind a frame of audio", kNoisyAudio.substr(0, 100) + tagOf(3, 0, kOthers3), "rewritten", kUncertain},
    {"longer than the file", tagHeader(3, 0, 900'000) + kOthers3, kUncertain,
     kUnfaithful + "the tag is longer than the file, bytes behind the last frame are no padding"},
    {"ends in the audio", tagHeader(3, 0, kOthers3.size() + 3000) + kOthers3, kUncertain,
     kUnfaithful + "bytes behind the last frame are no padding"},
    {"frame ends in the audio", tagHeader(3, 0, 8000) + "TIT2" + number(30'000, 4) + "\0\0\0t"s, kUncertain,
     kUnfaithful + "frame TIT2 is longer than the tag"},
    {"size below zero", "ID3\3\0\0\0\0\0\xF0"s + kOthers3, kUncertain, "rewritten", "TIT2",
     "ID3\3\0\0\0\0\0\xF0"s + kOthers3},
    {"shorter than its frames", tagHeader(3, 0, 20) + kOthers3 + kRoom, "rewritten",
     kUnfaithful + "bytes behind the last frame are no padding"},
    {"version 2.5", tagOf(5, 0, kOthers4), "a tag of version 2.5 cannot be written",
     "a tag of version 2.5 cannot be written"},
    {"extended header 2.3", tagOf(3, 0x40, number(6, 4) + number(0, 2) + number(200, 4) + kOthers3 + kRoom),
     "rewritten", "in place", "TIT2 XYZA TPE1"},
    {"extended header 2.4", tagOf(4, 0x40, synchsafeNumber(6) + "\1\0"s + kOthers4 + kRoom), kUncertain, "in place",
     "TIT2 XYZA TPE1"},
    {"checksum", tagOf(3, 0x40, number(10, 4) + number(0x8000, 2) + number(200, 4) + "crc!" + kOthers3 + kRoom),
     "rewritten", "in place", "TIT2 XYZA TPE1"},
    {"footer", tagOf(4, 0x10, kOthers4) + "3DI\4\0\x10"s + synchsafeNumber(kOthers4.size()), "rewritten", "rewritten",
     "TIT2 XYZA TPE1"},
    {"unsynchronised tag", tagOf(3, 0x80, frame23("PRIV", "\xff\0\xe0 four"s).replace(7, 1, "\7") + kRoom), kUncertain,
     "in place", "TIT2 PRIV"},
    {"unsynchronised frame", tagOf(4, 0, frame24("PRIV", "\xff\0\xe0 four"s, 2) + kRoom), "in place", "in place",
     "TIT2 PRIV"},
    {"compressed frame",
     tagOf(4, 0, frame24("XYZA", synchsafeNumber(300) + deflated(std::string(300, 'x')), 9) + kRoom), "in place",
     "in place", "TIT2 XYZA"},
    {"encrypted and grouped frames",
     tagOf(4, 0, frame24("XYZA", "\x80secret", 4) + frame24("TCOM", "g\0me"s, 0x40) + kRoom), "in place", "in place",
     "TIT2 TCOM XYZA"},
};

/// The file less the tag that stands in front of it by its own header.
std::string behindTag(const std::string& content) {
    if (!content.starts_with("ID3")) return content;
    std::size_t size = 10;
    for (int i = 0; i < 4; ++i)
        size += static_cast<std::size_t>(content[6 + static_cast<std::size_t>(i)]) << (21 - 7 * i);
    return content.substr(size);
}

void saveAgainAndAgain(const FileCase& one, const Dialect& dialect) {
    SCOPED_TRACE(std::string(one.name) + (dialect.system ? ", system dialect" : ", standard dialect"));
    const test::TemporaryFolder folder;
    const test::LogLines log;
    const std::string before = one.front + kNoisyAudio + kRecord;
    const std::string path = folder.write("a.mp3", before);
    const std::string& wanted = dialect.system ? one.system : one.standard;

    id3V2Tag tag(FrameLibrary(), dialect);
    tag.openPath(path);
    if (!tag.tagPresent()) tag.newTag(3, 0);
    bool first = true;
    std::string last = before;
    // Growing, of the same size, shrinking, and growing beyond any padding.
    const std::size_t lengths[] = {30, 30, 3, 3000};
    for (const std::size_t length : lengths) {
        const std::string title(length, 't');
        tag.addUpdateFrame(titleFrame(tag, title, dialect), true, 0);
        const std::string outcome = saved(tag, path);
        const std::string content = contentOf(path);
        if (first) {
            EXPECT_EQ(outcome, wanted);
        }
        const bool isSaved = outcome == "in place" || outcome == "rewritten";
        // The system's reader loses its way in some tags that outgrow its first block; those stay as they are.
        ASSERT_TRUE(isSaved || dialect.system || first) << outcome;
        ASSERT_EQ(::access((path + ".temp").c_str(), F_OK), -1);
        if (!isSaved) {
            ASSERT_TRUE(content == last);
            break;
        }
        last = content;
        const std::string kept = behindTag(content);
        ASSERT_TRUE(dialect.system ? kept.ends_with(kNoisyAudio + kRecord) : kept == one.kept + kNoisyAudio + kRecord);
        id3V2Tag found(FrameLibrary(), dialect);
        found.openPath(path);
        ASSERT_EQ(found.getTitle(), title);
        ASSERT_TRUE(found.remarks().faithful());
        std::string identifiers;
        for (const std::string& identifier : found.frameList())
            identifiers += (identifiers.empty() ? "" : " ") + identifier;
        if (!dialect.system && first) {
            ASSERT_EQ(identifiers, one.frames);
        }
        first = false;
    }
}

id3V2Tag opened(const std::string& path, const Dialect& dialect = kStandardDialect) {
    id3V2Tag tag(FrameLibrary(), dialect);
    tag.openPath(path);
    return tag;
}

std::string savedWithTitle(id3V2Tag& tag, const std::string& path, const std::string& title = "new") {
    tag.addUpdateFrame(titleFrame(tag, title, kStandardDialect), true, 0);
    return saved(tag, path);
}

TEST(id3V2TagWriting, LeavesAFileThatIsNotTheOneThatWasRead) {
    const test::TemporaryFolder folder;
    const std::string before = tagOf(3, 0, kOthers3 + kRoom) + kNoisyAudio;
    const std::string path = folder.write("a.mp3", before);
    const std::string changed = "was changed by another program meanwhile";

    id3V2Tag tag = opened(path);
    folder.write("a.mp3", before + "more");
    EXPECT_EQ(savedWithTitle(tag, path), changed);
    tag = opened(path);
    std::filesystem::rename(folder.write("b.mp3", before), path);
    EXPECT_EQ(savedWithTitle(tag, path), changed);
    EXPECT_TRUE(contentOf(path) == before);
    tag = opened(path);
    tag.setPath(folder.write("c.mp3", kNoisyAudio));
    EXPECT_EQ(savedWithTitle(tag, folder / "c.mp3"), changed);
    EXPECT_TRUE(contentOf(folder / "c.mp3") == kNoisyAudio);

    tag = opened(path);
    std::filesystem::remove(path);
    const test::LogLines log;
    EXPECT_EQ(savedWithTitle(tag, path), "cannot be written: No such file or directory");
    EXPECT_EQ(log.all(), std::vector{"File : " + path + " is not writable"});
}

TEST(id3V2TagWriting, KeepsLinksAsTheyAre) {
    const test::TemporaryFolder folder;
    const std::string before = tagOf(3, 0, kOthers3 + kRoom) + kNoisyAudio;
    const std::string path = folder.write("a.mp3", before);
    std::filesystem::create_symlink("a.mp3", folder / "link.mp3");
    for (const std::size_t length : {3U, 3000U}) {
        id3V2Tag tag = opened(folder / "link.mp3");
        savedWithTitle(tag, path, std::string(length, 't'));
        EXPECT_EQ(opened(path).getTitle(), std::string(length, 't'));
        EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.mp3"));
    }

    std::filesystem::create_hard_link(path, folder / "other.mp3");
    const std::string linked = contentOf(path);
    id3V2Tag tag = opened(path);
    EXPECT_EQ(savedWithTitle(tag, path), "has 2 names (hard links); --break-links saves it under this one alone");
    tag.setSaveOptions({.file = {}, .breakLinks = true});
    EXPECT_EQ(savedWithTitle(tag, path), "rewritten");
    EXPECT_TRUE(contentOf(folder / "other.mp3") == linked);
    EXPECT_EQ(opened(path).getTitle(), "new");
}

TEST(id3V2TagWriting, MeasuresThreeGigabytesIn64Bits) {
    // 100,000 bytes of room are enough for such a file, 20,000 are not; the rewrite that is due then has no room here.
    const test::TemporaryFolder folder;
    for (const auto& [room, outcome] :
         {std::pair(100'000, "in place"), std::pair(20'000, "cannot be written: File too large")}) {
        const std::string path = folder.write(
            "a.mp3", tagOf(3, 0, kOthers3 + std::string(static_cast<std::size_t>(room), '\0')) + kNoisyAudio);
        std::filesystem::resize_file(path, 3'000'000'000);
        const rlimit limit{.rlim_cur = 1'000'000, .rlim_max = RLIM_INFINITY};
        const rlimit none{.rlim_cur = RLIM_INFINITY, .rlim_max = RLIM_INFINITY};
        std::signal(SIGXFSZ, SIG_IGN);
        id3V2Tag tag = opened(path);
        ::setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(savedWithTitle(tag, path), outcome);
        ::setrlimit(RLIMIT_FSIZE, &none);
        EXPECT_EQ(std::filesystem::file_size(path), 3'000'000'000);
        EXPECT_FALSE(std::filesystem::exists(path + ".temp"));
    }
}

TEST(id3V2TagWriting, ForcedKeepsWhatItCouldNotRead) {
    const test::TemporaryFolder folder;
    const std::string front = tagHeader(3, 0, kOthers3.size() + 3000) + kOthers3;
    const std::string path = folder.write("a.mp3", front + kNoisyAudio);
    id3V2Tag tag = opened(path);
    tag.setSaveOptions({.file = {}, .force = true});
    EXPECT_EQ(savedWithTitle(tag, path), "rewritten");
    EXPECT_TRUE(behindTag(contentOf(path)) == kNoisyAudio);
    EXPECT_EQ(opened(path).frames().all().size(), 3);
}

struct DropCase {
    const char* name;
    std::string front;
    std::size_t audio;
    std::string system;    ///< "kept": the file is what it was, though the tag counts as gone
    std::string standard;  ///< what stands before the audio afterwards, or why not
};

TEST(id3V2TagWriting, DropsTags) {
    const std::string tagBytes = tagOf(3, 0, kOthers3 + kRoom);
    const DropCase cases[] = {
        {"at the front", tagBytes, 20'000, "kept", ""},
        {"further in", "something" + tagBytes, 20'000, "kept", "something"},
        {"none", "", 20'000, "has no ID3v2 tag", "has no ID3v2 tag"},
        // One chunk of the system's copy ends less than a tag's length before the end.
        {"at a chunk's end", tagBytes, 409'700 - kRecord.size() - tagBytes.size(),
         "its tag cannot be dropped without loss", ""},
        {"of doubt", tagHeader(3, 0, 3000) + kOthers3, 20'000, "kept",
         kUnfaithful + "bytes behind the last frame are no padding"},
    };
    for (const DropCase& one : cases) {
        for (const Dialect& dialect : {kSystemDialect, kStandardDialect}) {
            SCOPED_TRACE(one.name);
            const test::TemporaryFolder folder;
            const std::string audio = std::string(one.audio, 'a') + kRecord;
            const std::string path = folder.write("a.mp3", one.front + audio);
            id3V2Tag tag = opened(path, dialect);
            const bool done = tag.dropTag(true);
            const std::string& wanted = dialect.system ? one.system : one.standard;
            const std::string content = contentOf(path);
            if (!done) {
                EXPECT_EQ(tag.getErrorDescription(), wanted);
                EXPECT_TRUE(content == one.front + audio);
                continue;
            }
            EXPECT_TRUE(content == (wanted == "kept" ? one.front : wanted) + audio);
            EXPECT_FALSE(tag.tagPresent());
            EXPECT_TRUE(tag.frames().empty());
        }
    }
}

TEST(id3V2TagWriting, RendersHeadersAndOrder) {
    EXPECT_EQ(id3V2Tag::writePackedLength(0x0FFFFFFF), "\x7f\x7f\x7f\x7f");
    EXPECT_EQ(id3V2Tag::writePackedLength(0x10000001), "\0\0\0\1"s);
    EXPECT_EQ(id3V2Tag::writePackedLength(0x20000000), std::nullopt);
    id3V2Tag tag(FrameLibrary{});
    tag.newTag(4, 0);
    EXPECT_EQ(tag.renderHeader(), tagHeader(4, 0, 2048));
    EXPECT_TRUE(tag.setFooter(true));
    EXPECT_EQ(tag.renderHeader(), tagHeader(4, 0x20, 2058));

    const auto add = [&tag](const char* identifier, const std::string& body) {
        tag.addUpdateFrame(std::make_shared<id3V2Frame>(test::dataOf(body), identifier, 0, 0, 4), false, 9);
    };
    const std::string large(118, 'l');
    for (const char* identifier : {"TIT2", "APIC", "COMM", "TPE1"}) add(identifier, "small");
    add("TIT2", large);
    add("COMM", large);
    add("TIT2", "small 2");
    const test::TemporaryFolder folder;
    tag.setPath(folder.write("a.mp3", kNoisyAudio));
    ASSERT_TRUE(tag.writeTag());
    const id3V2Tag found = opened(folder / "a.mp3");
    EXPECT_EQ(test::listed(found.frames().all()),
              "TPE1=small COMM=small COMM=" + large + " APIC=small TIT2=small TIT2=small 2 TIT2=" + large);
}

TEST(id3V2TagWriting, KeepsTheAudioOfEveryFile) {
    for (const FileCase& one : kFiles) {
        saveAgainAndAgain(one, kSystemDialect);
        saveAgainAndAgain(one, kStandardDialect);
    }
}

}  // namespace
}  // namespace quillet
