#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "id3/MP3Header.hpp"
#include "util/Files.hpp"
#include "util/Log.hpp"

using namespace quillet;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

void requireAnswer(const std::string& path, std::size_t size, std::int32_t tagSize, const Dialect& dialect) {
    MP3Header header(dialect);
    AudioFile file;
    require(file.open(path).ok());
    const bool found = header.openFile(file, path, tagSize);
    require(!header.getEncodingString().empty() && !header.getSecondsString().empty());
    if (header.getHash()) require(header.getHash() == header.hash());
    if (!found) return;
    require(header.getStartFrame() >= tagSize && static_cast<std::size_t>(header.getStartFrame()) < size);
    if (dialect.estimatesDuration) return;
    // The shortest frame has 24 bytes and plays at most 72 milliseconds; what is longer was believed and not read.
    require(header.getMilliseconds() <= size * 3 + 72);
    require(header.getNumberOfFrames() >= 0 && static_cast<std::size_t>(header.getNumberOfFrames()) <= size / 24);
    require(header.getBitRate() > 0 && header.getFrequency() > 0);
}

}  // namespace

/// Whatever a file holds, its header is found inside it, and what it plays is not more than its bytes can hold.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (util::setLogSink([](std::string_view) {}), true);
    static_cast<void>(quiet);
    const util::FileDescriptor file(memfd_create("fuzz", MFD_CLOEXEC));
    if (size < 2 || !file.isOpen() || !util::writeAll(file.number(), {data, size}).ok()) return 0;
    const std::string path = "/proc/self/fd/" + std::to_string(file.number());
    Dialect mixed = kSystemDialect;
    mixed.refusesShortAudio = false;
    for (const std::int32_t tagSize : {0, static_cast<std::int32_t>(data[size - 1])}) {
        requireAnswer(path, size, tagSize, kStandardDialect);
        requireAnswer(path, size, tagSize, kSystemDialect);
        requireAnswer(path, size, tagSize, mixed);
    }
    return 0;
}
