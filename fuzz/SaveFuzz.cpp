#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <source_location>

#include "id3/Limits.hpp"
#include "id3/id3V1Tag.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/Log.hpp"
#include "util/Text.hpp"

using namespace quillet;

namespace {

void require(bool holds, std::source_location at = std::source_location::current()) {
    if (holds) return;
    std::fprintf(stderr, "line %u does not hold\n", at.line());
    std::abort();
}

/// A file of this process's own, in memory where the machine has a place for that.
const std::string& workingFile() {
    static const std::string* path = [] {  // outlives what removes the file
        const std::string folder = std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp";
        std::atexit([] { std::filesystem::remove(workingFile()); });
        return new std::string(folder + "/quillet-save-" + std::to_string(::getpid()));
    }();
    return *path;
}

void put(std::string_view content) {
    std::ofstream(workingFile(), std::ios::binary) << content;
}

std::string content() {
    std::ifstream file(workingFile(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Where the tag at `begin` ends, by its header alone: signed bytes and no footer in the system dialect.
std::size_t declaredEnd(std::string_view bytes, std::size_t begin, const Dialect& dialect) {
    if (dialect.system)
        return begin + kTagHeaderLength + id3V2Tag::readPackedLengthFrom(util::bytesOf(bytes.substr(begin + 6, 4)));
    const bool footed = bytes[begin + 3] == 4 && (bytes[begin + 5] & 0x10) != 0;
    return begin + (footed ? 2 : 1) * kTagHeaderLength + synchsafe(util::bytesOf(bytes.substr(begin + 6, 4)));
}

/// What must be behind a new tag of the file that held `before`.
std::string expectedRest(std::string_view before, const id3V2Tag& tag, const Dialect& dialect) {
    if (!tag.tagPresent()) return std::string(before);
    const std::size_t begin = tag.tagPositionInFile();
    if (dialect.system && begin > 0) return std::string(before);
    const std::size_t end = declaredEnd(before, begin, dialect);
    require(end <= before.size());
    return std::string(before.substr(0, begin)).append(before.substr(end));
}

FrameArray withoutTitle(const FrameArray& frames) {
    FrameArray others;
    std::ranges::copy_if(frames, std::back_inserter(others), [](const auto& frame) {
        return frame->getFrameID() != FrameID("TIT2") && frame->getFrameID() != FrameID("TT2");
    });
    return others;
}

void saveTitle(std::string_view before, const Dialect& dialect, std::size_t length) {
    put(before);
    id3V2Tag tag(FrameLibrary(), dialect);
    tag.openPath(workingFile());
    const std::string rest = content();
    if (!tag.tagPresent()) tag.newTag(2 + static_cast<std::uint32_t>(length % 3), 0);
    FrameArray others = withoutTitle(tag.frames().all());
    const std::string title(length, 't');
    id3V2Tag asRead(FrameLibrary(), dialect);
    asRead.openPath(workingFile());
    if (!tag.setTitle(title)) return require(tag.tagVersion() > 4);
    std::string last(before);
    for (int time = 0; time < 2; ++time) {  // what a first save left in memory must do for a second
        if (!tag.writeTag()) {
            require(content() == last && tag.getErrorDescription() && !tag.getErrorDescription()->empty());
            return;
        }
        last = content();
        const std::size_t end = declaredEnd(last, 0, dialect);
        require(end <= last.size() && last.substr(end) == expectedRest(before, asRead, dialect));
        id3V2Tag found(FrameLibrary(), dialect);
        found.openPath(workingFile());
        // The system's setter leaves other titles, which may come to stand in front.
        require(std::ranges::any_of(found.frames().all(), [&](const auto& frame) {
            return frame->getTextFromFrame() == title && (dialect.system || found.getTitle() == title);
        }));
        if (!dialect.system) {
            FrameArray kept = withoutTitle(found.frames().all());
            require(kept.size() == others.size() && found.remarks().faithful());
            for (const auto& frame : others)
                require(std::ranges::any_of(kept, [&](const auto& one) { return one->isWrittenLike(*frame); }));
        }
        require(tag.setTitle(title));
    }
}

void dropTag(std::string_view before, const Dialect& dialect) {
    put(before);
    id3V2Tag tag(FrameLibrary(), dialect);
    tag.openPath(workingFile());
    const bool kept = dialect.system || !tag.tagPresent();
    const std::string rest =
        kept || !tag.remarks().faithful() ? std::string(before) : expectedRest(before, tag, dialect);
    require(tag.dropTag(false) ? content() == rest : content() == before);
}

void saveRecord(std::string_view before, const Dialect& dialect) {
    put(before);
    const bool had = before.size() >= kV1Length && before.substr(before.size() - kV1Length, 3) == "TAG";
    const std::string_view audio = had ? before.substr(0, before.size() - kV1Length) : before;
    id3V1Tag tag(dialect);
    tag.openPath(workingFile());
    for (const char* title : {"first", "second"}) {
        require(tag.setTitle(title));
        require(tag.writeTag());
        const std::string now = content();
        require(now.size() == audio.size() + kV1Length && now.starts_with(audio) && tag.getTitle() == title);
    }
    require(tag.dropTag() && content() == audio);
}

}  // namespace

/// Whatever a file holds, a save leaves every byte that is not of the tag, and answers no where it would not.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    util::setLogSink([](std::string_view) {});
    const std::string_view before = util::charactersOf({data + 1, size - 1});
    const std::size_t length = std::size_t{data[0]} * 8 + 1;
    for (const Dialect& dialect : {kSystemDialect, kStandardDialect}) {
        saveTitle(before, dialect, length);
        dropTag(before, dialect);
        saveRecord(before, dialect);
    }
    return 0;
}
