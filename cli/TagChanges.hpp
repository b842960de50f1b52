#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "id3/TagAPI.hpp"

namespace quillet::cli {

/// What the tags of a file hold at one moment; later changes do not reach it.
struct TagState {
    std::string v2Version;           ///< "2.4.0"; "" without a v2 tag
    std::uint32_t v2Major = 0;       ///< 0 without a v2 tag
    std::vector<id3V2Frame> frames;  ///< in tag order; bodies are shared with the tag they were read from
    bool hasV1 = false;
    std::map<std::string, std::string> v1Fields;  ///< those of the v1 record that are not empty, by name

    /// As they stand in memory. A v2 tag that is not in the file yet counts when it has a frame. `withNewV1` says
    /// whether a v1 record counts that is not in the file yet.
    static TagState of(TagAPI& api, bool withNewV1);
};

/// One frame of the v2 tag, one field of the v1 tag, or a tag as a whole.
struct TagChange {
    std::string tag;                    ///< "v1" or "v2"
    std::string id;                     ///< a frame's identifier, a field's name, or kWholeTag
    std::optional<std::string> before;  ///< its content in short, not yet fit for a terminal; nullopt where absent
    std::optional<std::string> after;
    std::string formerId;  ///< the frame's identifier in the version it had before; "" where it is the same

    static constexpr const char* kWholeTag = "tag";  ///< its contents are "ID3v2.4.0", "ID3v1"
    /// What it is, in a word or two: "title", or the identifier of a frame without a name.
    std::string name() const;
    nlohmann::ordered_json json() const;
    /// "v2 TIT2 title: Old -> New", "v2 TT2 title (was TIT2): Same"
    std::string line() const;
};
using TagChanges = std::vector<TagChange>;

/// When two frames count as the same.
enum class Likeness {
    content,  ///< identifier and what they say are the same, in whatever encoding
    bytes,    ///< each byte is
};
/// What has to change in `before` to get `after`. Frames are compared with those of the same identifier, or of its
/// equivalent in another version. Their order does not count, but among those of one identifier.
TagChanges changesBetween(const TagState& before, const TagState& after, Likeness likeness);

}  // namespace quillet::cli
