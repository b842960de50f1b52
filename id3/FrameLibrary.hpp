#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "util/PropertyValue.hpp"

namespace quillet {

/// What is known of every frame identifier, by version: the "frames" section of the resource dictionary, shared and
/// never changed. "2.0", "2.3" and "2.4" map an identifier to its record: "multi" (may occur more than once), "text"
/// (content is text), and under the version keys the identifier of the same frame in the other versions.
/// "iTunes_comment" lists the prefixes of descriptions that mark comments written by machines. data.plist tells what
/// its records were decided by.
class FrameLibrary {
  public:
    FrameLibrary() = default;
    /// `dictionary` is the resource dictionary; its "frames" section is used, empty where it has none.
    explicit FrameLibrary(std::shared_ptr<const util::PropertyDictionary> dictionary);

    /// "2.0" below major version 3, "2.3" for 3, "2.4" for 4; "" above.
    static std::string_view versionKey(std::uint32_t majorVersion);

    /// The record of an identifier, or null.
    const util::PropertyDictionary* record(std::string_view versionKey, std::string_view identifier) const;
    /// "iTunes_comment"; null where it is not there.
    const util::PropertyArray* commentPrefixes() const { return commentPrefixes_; }

    /// "multi" and "text" of a record, and any other flag of the resource dictionary: a boolean, or a whole number
    /// other than 0.
    static bool flagOf(const util::PropertyDictionary& record, std::string_view key);
    /// The dictionary under `key`, or null.
    static const util::PropertyDictionary* dictionaryAt(const util::PropertyDictionary& dictionary,
                                                        std::string_view key);

  private:
    std::shared_ptr<const util::PropertyDictionary> owner_;
    const util::PropertyDictionary* frames_ = nullptr;
    const util::PropertyArray* commentPrefixes_ = nullptr;
};

}  // namespace quillet
