#include "platform/linux/LibavMediaFramework.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <random>

#include "platform/linux/LibavAsset.hpp"
#include "tests/TemporaryFolder.hpp"
#include "util/Files.hpp"
#include "util/Text.hpp"

namespace quillet {
namespace {

using test::contentOf;
using test::TemporaryFolder;
using testing::Contains;
using testing::ElementsAre;
using Lines = std::vector<std::string>;

std::string sample(const std::string& name) {
    return std::string(QUILLET_SAMPLES) + "/" + name;
}

/// What a program prints; it must end well.
std::string outputOf(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    for (int character = fgetc(pipe); character != EOF; character = fgetc(pipe)) output += static_cast<char>(character);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

std::string makeWithFfmpeg(const TemporaryFolder& folder, const std::string& name, const std::string& options) {
    outputOf("ffmpeg -nostdin -v error -y " + options + " '" + folder / name + "'");
    return folder / name;
}

double secondsByFfprobe(const std::string& path) {
    return std::stod(outputOf("ffprobe -v error -show_entries format=duration -of csv=p=0 '" + path + "'"));
}

/// Each item in a line: its common key or numeric key, and its text, its numbers in hexadecimal or its picture's MD5.
Lines linesOf(const std::optional<MediaAsset>& asset) {
    Lines lines;
    if (!asset) return {"no asset"};
    for (const MetadataFormat& format : asset->formats) {
        EXPECT_EQ(format.name, "com.apple.itunes");
        for (const MetadataItem& item : format.items) {
            EXPECT_EQ(item.keySpace, "itsk");
            EXPECT_NE(item.commonKey.empty(), !item.key);
            std::string line = item.commonKey;
            for (int shift = 24; item.key && shift >= 0; shift -= 8) line += static_cast<char>(*item.key >> shift);
            const util::Data* data = item.value ? item.value->data() : nullptr;
            if (data != nullptr) line += "=" + (item.key ? util::hexadecimal(data->bytes()) : data->MD5());
            if (data == nullptr && item.value) line += "=" + item.value->stringValue().value_or("?");
            lines.push_back(line);
        }
    }
    return lines;
}

Lines linesOf(const std::string& path) {
    return linesOf(LibavMediaFramework().assetAtPath(path));
}

double secondsOf(const std::string& path) {
    const auto asset = LibavMediaFramework().assetAtPath(path);
    return asset ? asset->durationSeconds : -1;
}

std::string reasonAgainst(const std::string& path) {
    LibavMediaFramework media;
    const std::string reason = media.reasonAgainst(path);
    EXPECT_EQ(media.assetAtPath(path).has_value(), reason.empty()) << path;
    return reason;
}

/// An ID3v2.3 tag of these frames, each an identifier and a body; `claimed` is added to the size that the last one
/// gives.
std::string id3Tag(const std::vector<std::pair<std::string, std::string>>& frames, std::uint32_t claimed = 0) {
    const auto bigEndian = [](std::size_t value, int bits) {
        std::string bytes;
        for (int i = 3; i >= 0; --i) bytes += static_cast<char>((value >> (i * bits)) & ((1U << bits) - 1));
        return bytes;
    };
    std::string body;
    for (const auto& [identifier, content] : frames) {
        const bool isLast = &content == &frames.back().second;
        body.append(identifier)
            .append(bigEndian(content.size() + (isLast ? claimed : 0), 8))
            .append(2, '\0')
            .append(content);
    }
    return std::string("ID3\3\0\0", 6) + bigEndian(body.size(), 7) + body;
}

std::string picture(const std::string& bytes) {
    return std::string("\0image/jpeg\0\3\0", 14) + bytes;
}

/// The frames of the raw AAC sample, its own tag left out.
std::string adtsFrames() {
    const std::string file = contentOf(sample("stream.aac"));
    return file.substr(file.find("\xFF\xF1"));
}

TEST(LibavMediaFramework, TellsTheSameWhateverTheContainer) {
    const std::string tone = "-f lavfi -i sine=440:d=2.2 -metadata creation_time=2020-01-02T00:00:00Z ";
    const std::string tags = tone +
                             "-metadata title=Tést -metadata artist=Å -metadata album=B -metadata date=2009-05-01 "
                             "-metadata album_artist=C -metadata track=3/12 -metadata disc=1/2 ";
    const Lines all = {
        "title=Tést",           "artist=Å", "albumName=B", "creationDate=2009-05-01", "aART=C", "trkn=00000003000c0000",
        "disk=0000000100020000"};
    struct Case {
        const char* name;
        std::string options;  // empty for a sample
        Lines lines;
    };
    const Case kCases[] = {{"a.m4a", tags + "-c:a aac", all},
                           {"lossless.m4a", tags + "-c:a alac", all},
                           {"fragments.m4a", tags + "-c:a aac -movflags frag_keyframe+empty_moov", all},
                           {"a.mp3", tags, all},
                           {"withoutXing.mp3", tags + "-write_xing 0 -id3v2_version 3", all},
                           {"a.flac", tags, all},
                           {"a.ogg", tags, all},
                           {"a.opus", tags + "-c:a libopus", all},
                           {"a.mka", tags, all},
                           {"a.wma", tags, all},
                           {"a.aiff", tags + "-write_id3v2 1", all},
                           {"a.wv", tags, all},
                           {"a.wav", tags, {all[0], all[1], all[2], all[3], all[5]}},
                           {"untagged.m4a", tone + "-c:a aac", {}},
                           {"ownTotals.ogg",
                            tone + "-metadata TRACKNUMBER=3 -metadata TRACKTOTAL=12 -metadata TOTALDISCS=2",
                            {"trkn=00000003000c0000", "disk=0000000000020000"}},
                           {"namedTrack.mka", tone + "-metadata artist=Å -metadata:s:a title=Stereo", {"artist=Å"}},
                           {"morning.m4a",
                            "",
                            {"title=Før daggry – 夜明け前", "artist=Søren & the Sweeps", "albumName=Rising Tones",
                             "creationDate=2009-05-01", "aART=Various Oscillators", "trkn=00000003000c0000",
                             "disk=0000000100020000", "artwork=77d3dc2397d3faccce830938df576ad7"}},
                           {"old-label.mp3",
                            "",
                            {"title=Old Label", "artist=First Version", "albumName=Last 128 Bytes", "creationDate=1996",
                             "trkn=0000000500000000"}}};
    const TemporaryFolder folder;
    for (const auto& [name, options, lines] : kCases) {
        const std::string path = options.empty() ? sample(name) : makeWithFfmpeg(folder, name, options);
        EXPECT_EQ(linesOf(path), lines) << name;
        EXPECT_NEAR(secondsOf(path), secondsByFfprobe(path), 1e-5) << name;
    }
}

TEST(LibavMediaFramework, CountsTheFramesOfRawAac) {
    const TemporaryFolder folder;
    const std::string silenceThenNoise =
        "-f lavfi -i anullsrc=d=40:r=44100:cl=mono -f lavfi -i anoisesrc=d=4:r=44100 "
        "-filter_complex '[0][1]concat=v=0:a=1' -c:a aac -b:a 128k ";
    const std::string adts = makeWithFfmpeg(folder, "a.aac", silenceThenNoise);
    const std::string latm = makeWithFfmpeg(folder, "latm.aac", silenceThenNoise + "-f latm");
    const std::string packets =
        outputOf("ffprobe -v error -count_packets -show_entries stream=nb_read_packets -of csv=p=0 " + adts);
    const double seconds = std::stod(packets) * 1024 / 44100;
    EXPECT_GT(std::abs(secondsByFfprobe(adts) / seconds - 1), 0.5) << "the guess is good: this file proves nothing";
    EXPECT_NEAR(secondsOf(adts), seconds, 1e-6);
    EXPECT_NEAR(secondsOf(latm), seconds, 1e-6);
}

TEST(LibavMediaFramework, KnowsWhatIsNotAudioByItsContent) {
    const TemporaryFolder folder;
    const std::string video = "-f lavfi -i testsrc=d=1:r=10:s=64x64 -f lavfi -i sine=d=1 -update 1";
    const std::string playlist = "#EXTM3U\n#EXT-X-TARGETDURATION:3\n#EXTINF:3,\n" + sample("morning.m4a") + "\n";
    std::string text;
    while (text.size() < 100'000) text += "All work and no play. ";
    const std::pair<const char*, std::string> kContents[] = {
        {"text", text},
        {"one byte", "\xFF"},
        {"archive", std::string("PK\3\4\24\0\0\0\10\0", 10) + text},
        {"playlist", playlist},
        {"live playlist", playlist + "#EXT-X-ENDLIST\n"},
        {"list of parts", "ffconcat version 1.0\nfile '" + sample("morning.m4a") + "'\n"},
        {"cue sheet", "FILE \"a.wav\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"},
        {"program", contentOf("/proc/self/exe").substr(0, 1 << 20)},
        {"ones", std::string(65536, '\xFF')},
        {"tag alone", id3Tag({{"TIT2", std::string("\0A title", 8)}})},
        {"tag, then text", id3Tag({{"TIT2", std::string("\0A title", 8)}}) + text},
        {"call description", "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=audio 5004 RTP/AVP 0\n"},
        {"half an ADTS frame", adtsFrames().substr(0, 30)},
        {"two ADTS frames, then zeros", adtsFrames().substr(0, 300) + std::string(300, '\0')},
    };
    for (const auto& [what, content] : kContents) {
        EXPECT_EQ(reasonAgainst(folder.write("x.mp3", content)), "is not audio") << what;
    }
    for (const char* name : {"a.mp4", "a.mkv", "a.avi", "a.wmv", "a.ts", "a.ogv", "a.gif", "a.png", "a.jpg"}) {
        EXPECT_EQ(reasonAgainst(makeWithFfmpeg(folder, name, video)), "is not audio") << name;
    }
    for (std::uint64_t seed = 0; seed < 40; ++seed) {
        std::mt19937_64 random(seed);
        std::string noise(65536, '\0');
        for (char& byte : noise) byte = static_cast<char>(random());
        EXPECT_EQ(reasonAgainst(folder.write("x.mp3", noise)), "is not audio") << "seed " << seed;
    }
    // But what cannot be decoded for want of a key is.
    std::string file = contentOf(sample("evening.m4a"));
    file.replace(file.rfind("mp4a"), 4, "drms");
    EXPECT_EQ(linesOf(folder.write("a.m4p", file)), linesOf(sample("evening.m4a")));
}

TEST(LibavMediaFramework, SaysWhatStandsInTheWayAndNeverOpensWhatIsNoFile) {
    const TemporaryFolder folder;
    chmod(folder.path().c_str(), 0755);
    const std::string music = contentOf(sample("stream.aac"));
    mkfifo((folder / "fifo.mp3").c_str(), 0600);
    EXPECT_EQ(symlink("nowhere", (folder / "dangling.mp3").c_str()), 0);
    EXPECT_EQ(symlink("fifo.mp3", (folder / "toFifo.mp3").c_str()), 0);
    EXPECT_EQ(symlink("http:x.mp3", (folder / "link").c_str()), 0);
    chmod(folder.write("secret.mp3", music).c_str(), 0);
    folder.write("empty.mp3", "");
    for (const std::string& name :
         Lines{"http:x.mp3", "concat:a|b", "pipe:0", "two\nlines.aac", "\xFF\xFE.aac", std::string(255, 'n')}) {
        folder.write(name, music);
        EXPECT_EQ(reasonAgainst(folder / name), "") << name;
    }
    const std::pair<const char*, const char*> kCases[] = {{"link", ""},
                                                          {".", "is a folder"},
                                                          {"toFifo.mp3", "is not a regular file"},
                                                          {"../../dev/null", "is not a regular file"},
                                                          {"dangling.mp3", "no such file"},
                                                          {"empty.mp3", "is empty"},
                                                          {"secret.mp3", "cannot be read: Permission denied"},
                                                          {"link/x.mp3", "cannot be read: Not a directory"}};
    const uid_t user = geteuid();
    EXPECT_EQ(seteuid(user == 0 ? 65534 : user), 0);  // root may read everything
    for (const auto& [name, reason] : kCases) EXPECT_EQ(reasonAgainst(folder / name), reason) << name;
    EXPECT_EQ(seteuid(user), 0);
}

TEST(LibavMediaFramework, TakesNumbersThatFitAndTextOfAnyEncoding) {
    const TemporaryFolder folder;
    const std::pair<std::string, Lines> kNumbers[] = {{"00000003000c0000", {"3/12", "03 / 12"}},
                                                      {"0000000700000000", {"7"}},
                                                      {"0000000000000000", {"0/0"}},
                                                      {"00000000000c0000", {"/12"}},
                                                      {"0000000300000000", {"3/x"}},
                                                      {"00009c40ffff0000", {"40000/65535"}},
                                                      {"0000000000090000", {"65536/9"}},
                                                      {"", {"-1", "A1", "4294967297", ""}}};
    for (const auto& [binary, texts] : kNumbers) {
        for (const std::string& text : texts) {
            const auto lines = linesOf(folder.write("a.aac", id3Tag({{"TRCK", "\3" + text}}) + adtsFrames()));
            EXPECT_EQ(lines, binary.empty() ? Lines{} : Lines{"trkn=" + binary}) << text;
        }
    }
    const std::string illFormed = id3Tag({{"TIT2", "\3Caf\xE9"}}) + adtsFrames();
    EXPECT_THAT(linesOf(folder.write("b.aac", illFormed)), ElementsAre("title=Café"));
    std::string latin = contentOf(sample("old-label.mp3"));
    latin.replace(latin.size() - 125, 9, "Caf\xE9     ");
    EXPECT_EQ(linesOf(folder.write("latin.mp3", latin))[0], "title=Café");
}

TEST(LibavMediaFramework, HandsOverEveryPictureUnlessItIsTooLarge) {
    const TemporaryFolder folder;
    const std::string front(3 << 20, 'f');  // beyond the first mebibyte libavformat looks for no music
    const std::string back(100, 'b');
    const std::string tooLarge(65 << 20, 't');
    const auto line = [](const std::string& bytes) {
        return "artwork=" + util::Data::copyOf(util::bytesOf(bytes)).MD5();
    };
    const std::string tag = id3Tag({{"APIC", picture(front)}, {"APIC", picture(tooLarge)}, {"APIC", picture(back)}});
    for (const std::string& music : {adtsFrames(), contentOf(sample("old-label.mp3"))}) {
        auto lines = linesOf(folder.write("a", tag + music));
        std::erase_if(lines, [](const std::string& each) { return !each.starts_with("artwork"); });
        EXPECT_THAT(lines, ElementsAre(line(front), line(back)));
    }
}

TEST(LibavMediaFramework, BelievesNoSizeThatAFileClaims) {
    const TemporaryFolder folder;
    std::string samples = contentOf(sample("untagged.m4a"));
    const std::string eightyMillion("\x04\xC4\xB4\0", 4);
    samples.replace(samples.find("stsz") + 8, 8, std::string("\0\0\0\1", 4) + eightyMillion);
    for (const auto& [box, place] : {std::pair{"stsc", 16}, std::pair{"stts", 12}})
        samples.replace(samples.find(box) + static_cast<std::size_t>(place), 4, eightyMillion);
    folder.write("eightyMillionSamples.m4a", samples);
    folder.write("quarterGigabytePicture.aac", id3Tag({{"APIC", picture("x")}}, 250 << 20) + adtsFrames());
    rusage before{}, after{};
    getrusage(RUSAGE_SELF, &before);
    EXPECT_EQ(reasonAgainst(folder / "eightyMillionSamples.m4a"), "");
    EXPECT_EQ(reasonAgainst(folder / "quarterGigabytePicture.aac"), "");
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 64 << 10) << "KiB";
}

TEST(LibavMediaFramework, StandsEveryPrefixAndEveryDamage) {
    const TemporaryFolder folder;
    const auto check = [](const std::string& content, const std::string& what) {
        const util::FileDescriptor file(memfd_create("broken", MFD_CLOEXEC));
        ASSERT_TRUE(util::writeAll(file.number(), util::bytesOf(content)).ok());
        const LibavAsset read = readLibavAsset(file.number(), static_cast<std::int64_t>(content.size()));
        ASSERT_EQ(read.error, 0) << what;
        if (!read.asset) return;
        EXPECT_TRUE(read.asset->durationSeconds >= 0 && read.asset->durationSeconds < 4294968) << what;
        for (const MetadataItem& item : read.asset->formats.at(0).items) {
            EXPECT_TRUE(item.value->data() != nullptr || util::isUTF8(*item.value->text())) << what;
        }
    };
    Lines paths = {sample("morning.m4a"), sample("bars.mp3"), sample("old-label.mp3"), sample("stream.aac")};
    for (const char* name : {"a.flac", "a.ogg", "a.wma", "a.mka"}) {
        paths.push_back(makeWithFfmpeg(folder, name, "-f lavfi -i sine=d=1 -metadata title=x"));
    }
    for (const std::string& path : paths) {
        const std::string file = contentOf(path);
        for (std::size_t length = 0; length < file.size(); length += length < 300 ? 1 : file.size() / 300) {
            check(file.substr(0, length), path + ", " + std::to_string(length) + " bytes");
        }
        const std::size_t header = file.find("moov") == std::string::npos ? 0 : file.find("moov");
        std::mt19937 random(1);
        for (int round = 0; round < 1000; ++round) {
            std::string damaged = file;
            const std::size_t place = round % 4 == 0 ? random() : header + random() % 1500;
            damaged[place % file.size()] = static_cast<char>(round % 3 == 0 ? 0xFF : random());
            check(damaged,
                  path + ", byte " + std::to_string(place % file.size()) + " in round " + std::to_string(round));
        }
    }
}

TEST(LibavMediaFramework, ReadsAFileOnceUnlessItChanges) {
    const TemporaryFolder folder;
    LibavMediaFramework media;
    const auto artwork = [&media](const std::string& path) {
        return *media.assetAtPath(path).value().formats.at(0).items.back().value->data();
    };
    const std::string music = contentOf(sample("morning.m4a"));
    const auto write = [&folder](const char* name, const std::string& content, timespec time) {
        const timespec times[2] = {time, time};
        utimensat(AT_FDCWD, folder.write(name, content).c_str(), times, 0);
        return folder / name;
    };
    const std::string path = write("a.m4a", music, {1'000'000'000, 0});
    EXPECT_EQ(media.reasonAgainst(path), "");
    const util::Data first = artwork(path);
    ASSERT_EQ(rename(path.c_str(), (folder / "b.m4a").c_str()), 0);
    EXPECT_TRUE(artwork(folder / "b.m4a").isSameObject(first)) << "read again after a rename";
    EXPECT_FALSE(artwork(write("b.m4a", music, {1'000'000'000, 1})).isSameObject(first)) << "not read after a change";
    std::string other = music;
    other.replace(other.find("Rising"), 6, "Fallin");
    for (const std::string& content : {music, other}) {
        const std::string changing = write("c.m4a", content, {4'000'000'000, 0});
        const char* album = content == music ? "albumName=Rising Tones" : "albumName=Fallin Tones";
        EXPECT_THAT(linesOf(media.assetAtPath(changing)), Contains(album)) << "a time that may come again";
    }
}

}  // namespace
}  // namespace quillet
