#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "id3/MP3Header.hpp"

namespace quillet::cli {

/// The audio facts of one file as a user reads them. What is not known is nullopt, "" in texts and null in JSON.
class AudioView {
  public:
    /// `header` must outlive the view; null for a file in which no audio was found.
    explicit AudioView(MP3Header* header) : header_(header) {}

    std::optional<std::int64_t> durationMs() const;
    /// "xing", "info", "vbri", "frames" or "bitRate": what the duration was taken from.
    std::string durationFrom() const;
    /// The same in words: "Xing header", "count of frames" ...
    std::string durationFromText() const;
    std::optional<std::int64_t> frameCount() const;
    /// The fingerprint in hexadecimal.
    std::string hash() const;

    std::string versionText() const;    ///< "1", "2" or "2.5"
    std::string layerText() const;      ///< "1", "2" or "3"
    std::string bitRateText() const;    ///< kilobits per second
    std::string frequencyText() const;  ///< Hz
    std::string channelText() const;    ///< "stereo", "joint stereo", "dual channel" or "single channel"
    std::string timeText() const;       ///< "3:07" or "1:02:45"; rounded
    std::string exactTimeText() const;  ///< "3:07.123"
    std::string secondsText() const;    ///< "187.123"

    /// Adds the command's keys, in their order.
    void addTo(nlohmann::ordered_json& object) const;

  private:
    MP3Header* header_;
};

}  // namespace quillet::cli
