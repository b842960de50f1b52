#include "cli/AudioRecognition.hpp"

#include "id3/Limits.hpp"
#include "id3/MpegFrameHeader.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/ByteReader.hpp"
#include "util/FilePath.hpp"

namespace quillet::cli {

namespace {

/// Behind the v2 tag of the open file; 0 without one.
std::uint64_t audioStart(AudioFile& file) {
    // The tag's header alone: what the tag holds is read when the file is imported.
    const util::Data head = file.read(0, kSearchBlock);
    id3V2Tag tag(FrameLibrary(), kStandardDialect);
    const std::int32_t position = tag.scanForHeader(head.bytes());
    if (position < 0) return 0;
    util::ByteReader header(head.bytes());
    header.skip(static_cast<std::size_t>(position) + kTagHeaderLength - 4);
    const std::uint32_t length = id3V2Tag::readPackedLengthFrom(header.take(4).value_or(util::Bytes()));
    const std::uint32_t footer = tag.footer() ? kTagHeaderLength : 0;
    return static_cast<std::uint64_t>(position) + kTagHeaderLength + length + footer;
}

}  // namespace

std::string AudioRecognition::reasonAgainst(const std::string& path) {
    // The extension by which the import knows them.
    if (util::pathExtension(path) == "mp3" && holdsMpegAudio(path, file_)) return "";
    return media_.reasonAgainst(path);
}

bool AudioRecognition::holdsMpegAudio(const std::string& path, AudioFile& file) {
    if (!file.open(path).ok()) return false;
    const std::uint64_t start = audioStart(file);
    const util::Data audio = file.read(start, kAudioBlock);
    const bool atEnd = start + audio.size() >= file.size();
    const bool found = findConfirmedFrame(audio.bytes(), atEnd).has_value();
    file.close();
    return found;
}

}  // namespace quillet::cli
