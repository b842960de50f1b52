#pragma once

#include <cstdint>
#include <string>

#include "id3/AudioFile.hpp"
#include "platform/linux/LibavMediaFramework.hpp"

namespace quillet::cli {

/// Whether a file is audio, as cheaply as it can be told. The tag engine answers for MP3 files with an MPEG frame where
/// audio begins, confirmed by the frame behind it; the media framework answers for everything else, and knows the words
/// for what is no audio. One thread at a time.
class AudioRecognition {
  public:
    /// `media` must outlive this.
    explicit AudioRecognition(LibavMediaFramework& media) : media_(media) {}

    /// As LibavMediaFramework::reasonAgainst.
    std::string reasonAgainst(const std::string& path);

    /// Whether MPEG audio begins behind the file's v2 tag, where it has one. `file` is opened for it, and closed.
    static bool holdsMpegAudio(const std::string& path, AudioFile& file);

  private:
    LibavMediaFramework& media_;
    AudioFile file_;
};

}  // namespace quillet::cli
