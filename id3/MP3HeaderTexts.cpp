#include <array>
#include <cstdio>

#include "id3/MP3Header.hpp"

namespace quillet {

namespace {

constexpr std::array kVersionTexts = {"UNKNOWN", "MPEG 1", "MPEG 2", "MPEG 2.5"};
constexpr std::array kLayerTexts = {"UNKNOWN", "Layer 1", "Layer 2", "Layer 3"};
constexpr std::array kChannelTexts = {"Stereo", "Joined Stereo", "Dual Channel", "Single Channel"};

/// nullptr for an index that has no text.
template <std::size_t count>
const char* textAt(const std::array<const char*, count>& texts, std::int32_t index) {
    return index >= 0 && static_cast<std::size_t>(index) < count ? texts[static_cast<std::size_t>(index)] : nullptr;
}

std::string orUnknown(const char* text) {
    return text != nullptr ? text : "UNKNOWN";
}

/// "4:07", "-4:-7": every part has its own sign.
std::string paddedToTwo(std::int32_t number) {
    std::array<char, 16> text;
    std::snprintf(text.data(), text.size(), "%02d", static_cast<int>(number));
    return text.data();
}

}  // namespace

std::string MP3Header::getSecondsString() const {
    const std::int32_t days = seconds_ / 86400;
    const std::int32_t hours = seconds_ % 86400 / 3600;
    const std::int32_t minutes = seconds_ % 3600 / 60;
    const std::int32_t seconds = seconds_ % 60;
    std::string text;
    if (days != 0) text += std::to_string(days) + ":";
    if (days != 0 || hours != 0) text += std::to_string(hours) + ":";
    if (days == 0 && hours == 0 && minutes == 0) return std::to_string(seconds);
    return text + std::to_string(minutes) + ":" + paddedToTwo(seconds);
}

std::string MP3Header::getVersionString() const {
    return orUnknown(textAt(kVersionTexts, stream_.version));
}

std::string MP3Header::getLayerString() const {
    return orUnknown(textAt(kLayerTexts, stream_.layer));
}

std::string MP3Header::getBitRateString() const {
    return std::to_string(stream_.bitRate) + " kbps";
}

std::string MP3Header::getFrequencyString() const {
    return std::to_string(stream_.frequency / 1000) + "," + std::to_string(stream_.frequency % 1000) + " kHz";
}

std::string MP3Header::getChannelString() const {
    return orUnknown(textAt(kChannelTexts, stream_.channels));
}

// Meant so: the number is in kilobits, and the text says "bps".
std::string MP3Header::getEncodingString() const {
    std::string text = getVersionString() + ", " + getLayerString() + ", " + std::to_string(stream_.bitRate) + "bps, " +
                       std::to_string(stream_.frequency) + "Hz, ";
    if (const char* channels = textAt(kChannelTexts, stream_.channels)) text += std::string(channels) + ".";
    return text;
}

}  // namespace quillet
