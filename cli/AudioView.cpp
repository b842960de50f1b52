#include "cli/AudioView.hpp"

#include <fmt/format.h>

#include <array>
#include <nlohmann/json.hpp>

#include "util/Text.hpp"

namespace quillet::cli {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::array<const char*, 4> kVersions = {"", "1", "2", "2.5"};
constexpr std::array<const char*, 4> kChannels = {"stereo", "joint stereo", "dual channel", "single channel"};

std::string entryAt(const std::array<const char*, 4>& table, std::int32_t index) {
    return index >= 0 && index < 4 ? table[static_cast<std::size_t>(index)] : "";
}

Json positiveOrNull(std::int64_t number) {
    return number > 0 ? Json(number) : Json(nullptr);
}

std::string positiveOrNothing(std::int64_t number) {
    return number > 0 ? std::to_string(number) : "";
}

Json textOrNull(const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

std::string clockText(std::int64_t seconds) {
    if (seconds >= 3600) return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
    return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
}

}  // namespace

std::optional<std::int64_t> AudioView::durationMs() const {
    const std::uint64_t milliseconds = header_ == nullptr ? 0 : header_->getMilliseconds();
    if (milliseconds == 0) return std::nullopt;
    return static_cast<std::int64_t>(milliseconds);
}

std::string AudioView::durationFrom() const {
    return durationMs() ? nameOf(header_->getDurationSource()) : "";
}

std::string AudioView::durationFromText() const {
    if (!durationMs()) return "";
    switch (header_->getDurationSource()) {
        case DurationSource::none:
            return "";
        case DurationSource::bitRate:
            return "bit rate and size";
        case DurationSource::xing:
            return "Xing header";
        case DurationSource::info:
            return "Info header";
        case DurationSource::vbri:
            return "VBRI header";
        case DurationSource::frameCount:
            return "count of frames";
    }
    return "";
}

std::optional<std::int64_t> AudioView::frameCount() const {
    if (header_ == nullptr || header_->getNumberOfFrames() <= 0) return std::nullopt;
    return header_->getNumberOfFrames();
}

std::string AudioView::hash() const {
    const auto hash = header_ == nullptr ? std::nullopt : header_->getHash();
    return hash ? util::hexadecimal(*hash) : "";
}

std::string AudioView::versionText() const {
    return header_ == nullptr ? "" : entryAt(kVersions, header_->getVersion());
}

std::string AudioView::layerText() const {
    return header_ == nullptr ? "" : positiveOrNothing(header_->getLayer());
}

std::string AudioView::bitRateText() const {
    return header_ == nullptr ? "" : positiveOrNothing(header_->getBitRate());
}

std::string AudioView::frequencyText() const {
    return header_ == nullptr ? "" : positiveOrNothing(header_->getFrequency());
}

std::string AudioView::channelText() const {
    return header_ == nullptr ? "" : entryAt(kChannels, header_->getChannels());
}

std::string AudioView::timeText() const {
    const auto milliseconds = durationMs();
    return milliseconds ? clockText((*milliseconds + 500) / 1000) : "";
}

std::string AudioView::exactTimeText() const {
    const auto milliseconds = durationMs();
    return milliseconds ? fmt::format("{}.{:03}", clockText(*milliseconds / 1000), *milliseconds % 1000) : "";
}

std::string AudioView::secondsText() const {
    const auto milliseconds = durationMs();
    return milliseconds ? fmt::format("{}.{:03}", *milliseconds / 1000, *milliseconds % 1000) : "";
}

void AudioView::addTo(Json& object) const {
    constexpr std::int32_t kMpeg25 = 3;
    constexpr std::int32_t kSingleChannel = 3;
    const auto duration = durationMs();
    Json version, channels;
    if (header_ != nullptr && !versionText().empty())
        version = header_->getVersion() == kMpeg25 ? Json(2.5) : Json(header_->getVersion());
    if (!channelText().empty()) channels = header_->getChannels() == kSingleChannel ? 1 : 2;
    object["mpegVersion"] = version;
    object["layer"] = positiveOrNull(header_ == nullptr ? 0 : header_->getLayer());
    object["bitRate"] = positiveOrNull(header_ == nullptr ? 0 : header_->getBitRate());
    object["frequency"] = positiveOrNull(header_ == nullptr ? 0 : header_->getFrequency());
    object["channels"] = channels;
    object["channelMode"] = textOrNull(channelText());
    object["seconds"] = duration ? Json(header_->getSeconds()) : Json(nullptr);
    object["durationMs"] = duration ? Json(*duration) : Json(nullptr);
    object["durationFrom"] = textOrNull(durationFrom());
    object["frameCount"] = frameCount() ? Json(*frameCount()) : Json(nullptr);
    object["hash"] = textOrNull(hash());
}

}  // namespace quillet::cli
