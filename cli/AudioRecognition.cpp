#include "cli/AudioRecognition.hpp"

#include "id3/Limits.hpp"
#include "id3/MpegFrameHeader.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/FilePath.hpp"

namespace quillet::cli {

std::string AudioRecognition::reasonAgainst(const std::string& path) {
    // The extension by which the import knows them.
    if (util::pathExtension(path) == "mp3" && holdsMpegAudio(path)) return "";
    return media_.reasonAgainst(path);
}

bool AudioRecognition::holdsMpegAudio(const std::string& path) {
    if (!file_.open(path).ok()) return false;
    // The tag's header alone: what the tag holds is read when the file is imported.
    id3V2Tag tag(FrameLibrary(), kStandardDialect);
    std::uint64_t start = 0;
    const std::int32_t position = tag.scanForHeader(file_.read(0, kSearchBlock).bytes());
    if (position >= 0) start = static_cast<std::uint64_t>(position) + kTagHeaderLength + tag.tagLength();
    if (position >= 0 && tag.footer()) start += kTagHeaderLength;
    const util::Data audio = file_.read(start, kAudioBlock);
    const bool atEnd = start + audio.size() >= file_.size();
    const bool found = findConfirmedFrame(audio.bytes(), atEnd).has_value();
    file_.close();
    return found;
}

}  // namespace quillet::cli
