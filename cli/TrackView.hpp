#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/SqliteMusicLibrary.hpp"

namespace quillet::cli {

/// One track as a user reads it. What is absent is nullopt: an empty text, a number that is 0, negative or 4294967295
/// (the -1 of a tag without a count) are absent.
class TrackView {
  public:
    /// `track` must outlive the view.
    explicit TrackView(const LibraryTrack& track) : track_(track) {}

    /// The title; nullopt too where it is only the random name of the file in the media folder.
    std::optional<std::string> title() const;
    /// The title or, without one, the file's original name.
    std::string displayTitle() const;
    /// A property as text, such as "item_artist.item_artist".
    std::optional<std::string> text(std::string_view property) const;
    /// A property as a whole number; text that is a whole number counts as one.
    std::optional<std::int64_t> number(std::string_view property) const;
    /// "3/12", "3", "" .
    std::string ofTotal(std::string_view numberProperty, std::string_view totalProperty) const;
    /// "title - artist", or the title alone.
    std::string summary() const;
    /// "3:07" or "1:02:45"; "" where unknown.
    std::string duration() const;

    /// The year as a JSON number, as text where it is no whole number, or null.
    nlohmann::ordered_json year() const;
    /// The keys of the command's JSON, in their order.
    nlohmann::ordered_json json() const;

  private:
    const LibraryTrack& track_;
};

/// `name` under `key` for JSON: text with replacement characters and, where it is not UTF-8, its percent-encoded bytes
/// under `key` + "Raw".
void addFileName(nlohmann::ordered_json& object, const std::string& key, const std::string& name);

}  // namespace quillet::cli
