#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "util/PropertyValue.hpp"

namespace quillet {

/// One metadata item of an asset (AVMetadataItem).
struct MetadataItem {
    std::string commonKey;             ///< "title", "artist", "albumName", "artwork", "creationDate" ...; "" for none
    std::string keySpace;              ///< such as "itsk"
    std::optional<std::uint32_t> key;  ///< the numeric key, a four-character code with its first character on top
    std::optional<util::PropertyValue> value;

    std::optional<std::string> text = std::nullopt;  ///< the framework's own text for the value, where it has one

    /// -stringValue  The framework's text; else the value as text: text itself, a whole number in decimal; else
    /// nullopt.
    std::optional<std::string> stringValue() const { return text || !value ? text : value->stringValue(); }
};

/// The items that an asset carries in one format, in the file's order.
struct MetadataFormat {
    std::string name;  ///< such as "com.apple.itunes"
    std::vector<MetadataItem> items;
};

/// What the framework says of one file (AVURLAsset).
struct MediaAsset {
    std::vector<MetadataFormat> formats;  ///< in the order of -availableMetadataFormats
    double durationSeconds = 0;           ///< 0 where unknown
};

class MediaFramework {
  public:
    virtual ~MediaFramework() = default;

    /// +URLAssetWithURL:options:  Opens and reads `path`; nullopt where no reader knows it. Waits for nothing but the
    /// disk: something that is no regular file is not opened.
    virtual std::optional<MediaAsset> assetAtPath(const std::string& path) = 0;
};

}  // namespace quillet
