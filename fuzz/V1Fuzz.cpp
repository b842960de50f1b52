#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "id3/id3V1Tag.hpp"
#include "util/Files.hpp"
#include "util/Log.hpp"
#include "util/Text.hpp"

using namespace quillet;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

/// Whatever the record holds, its texts are UTF-8, and what is read back of a field is read so again.
void requireAnswer(const std::string& path, const Dialect& dialect) {
    AudioFile file;
    require(file.open(path).ok());
    id3V1Tag tag(dialect);
    require(tag.openPath(path, file) == (file.size() >= kV1Length));
    require(tag.tagPresent() != tag.tagChanged());
    require(tag.getTrack() >= 0 && tag.getTrack() <= 255 && tag.getGenre() >= 0 && tag.getGenre() <= 255);
    require(tag.getYear() >= -999 && tag.getYear() <= 9999);
    const auto title = tag.getTitle();
    const auto comment = tag.getComment();
    require(title.has_value() == tag.tagPresent() && comment.has_value() == tag.tagPresent());
    if (!title || !comment) return;
    require(util::isUTF8(*title) && util::isUTF8(*comment));
    require(tag.setTitle(*title) && tag.setComment(*comment));
    require(tag.getTitle() == title && tag.getComment() == comment);
    require(tag.getErrorCode() == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (util::setLogSink([](std::string_view) {}), true);
    static_cast<void>(quiet);
    const util::FileDescriptor file(memfd_create("fuzz", MFD_CLOEXEC));
    if (!file.isOpen() || !util::writeAll(file.number(), {data, size}).ok()) return 0;
    const std::string path = "/proc/self/fd/" + std::to_string(file.number());
    requireAnswer(path, kSystemDialect);
    requireAnswer(path, kStandardDialect);
    return 0;
}
