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

  private:
    bool holdsMpegAudio(const std::string& path);
    /// Behind the v2 tag of the open file; 0 without one.
    std::uint64_t audioStart();

    LibavMediaFramework& media_;
    AudioFile file_;
};

}  // namespace quillet::cli
