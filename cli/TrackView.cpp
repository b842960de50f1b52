#include "cli/TrackView.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/Console.hpp"
#include "util/FilePath.hpp"
#include "util/Text.hpp"

namespace quillet::cli {

namespace {

using Json = nlohmann::ordered_json;

/// The number that a tag without a count comes to.
constexpr std::int64_t kAbsentCount = 4294967295;

constexpr std::string_view kTitle = "item_extra.title";

template <typename Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

bool isDigits(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char character) { return character >= '0' && character <= '9'; });
}

std::string percentEncoded(std::string_view bytes) {
    std::string text;
    for (const char character : bytes) {
        const auto value = static_cast<unsigned char>(character);
        const bool plain = value > 0x20 && value < 0x7F && character != '%';
        text += plain ? std::string(1, character) : fmt::format("%{:02X}", value);
    }
    return text;
}

}  // namespace

std::optional<std::string> TrackView::text(std::string_view property) const {
    const util::PropertyValue* value = util::find(track_.values, property);
    auto text = value == nullptr ? std::nullopt : value->stringValue();
    if (text && text->empty()) text.reset();
    return text;
}

std::optional<std::int64_t> TrackView::number(std::string_view property) const {
    const auto digits = text(property);
    if (!digits || !isDigits(*digits)) return std::nullopt;
    const std::int64_t number = util::integerValue(*digits);
    if (number == 0 || number == kAbsentCount) return std::nullopt;
    return number;
}

std::optional<std::string> TrackView::title() const {
    auto title = text(kTitle);
    if (title && *title == util::deletingPathExtension(util::lastPathComponent(track_.assetPath))) title.reset();
    return title;
}

std::string TrackView::displayTitle() const {
    if (const auto known = title()) return *known;
    return track_.origin ? track_.origin->fileName : std::string(util::lastPathComponent(track_.assetPath));
}

std::string TrackView::ofTotal(std::string_view numberProperty, std::string_view totalProperty) const {
    const auto one = number(numberProperty);
    const auto total = number(totalProperty);
    if (!total) return one ? std::to_string(*one) : "";
    return fmt::format("{}/{}", one.value_or(0), *total);
}

std::string TrackView::summary() const {
    const auto artist = text("item_artist.item_artist");
    return artist ? fmt::format("{} - {}", displayTitle(), *artist) : displayTitle();
}

std::string TrackView::duration() const {
    const auto milliseconds = number("item_extra.total_time_ms");
    if (!milliseconds) return "";
    const std::int64_t seconds = (*milliseconds + 500) / 1000;
    if (seconds >= 3600) return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
    return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
}

Json TrackView::year() const {
    if (const auto year = number("item_extra.year")) return *year;
    const auto year = text("item_extra.year");
    return year && !isDigits(*year) ? Json(*year) : Json(nullptr);
}

Json TrackView::json() const {
    Json object;
    if (track_.origin)
        addFileName(object, "file", track_.origin->fileName);
    else
        object["file"] = nullptr;
    object["persistentID"] = std::to_string(track_.persistentID);
    addFileName(object, "assetPath", track_.assetPath);
    object["title"] = orNull(title());
    object["artist"] = orNull(text("item_artist.item_artist"));
    object["album"] = orNull(text("album.album"));
    object["albumArtist"] = orNull(text("album_artist.album_artist"));
    object["track"] = orNull(number("track_number"));
    object["trackCount"] = orNull(number("item_extra.track_count"));
    object["disc"] = orNull(number("disc_number"));
    object["discCount"] = orNull(number("item_extra.disc_count"));
    object["year"] = year();
    object["durationMs"] = orNull(number("item_extra.total_time_ms"));
    object["artwork"] = orNull(track_.artwork);
    return object;
}

void addFileName(Json& object, const std::string& key, const std::string& name) {
    object[key] = util::decodeUTF8(util::bytesOf(name));
    if (!util::isUTF8(name)) object[key + "Raw"] = percentEncoded(name);
}

}  // namespace quillet::cli
