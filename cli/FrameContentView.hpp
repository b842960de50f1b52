#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "id3/id3V2Frame.hpp"
#include "id3/id3V2Tag.hpp"

namespace quillet::cli {

/// What one frame holds, as a user reads it. A frame whose body does not hold what its identifier promises, or that is
/// encrypted, is shown as bytes.
struct FrameContentView {
    /// The keys of "tag frames" besides those of every frame: "text" (and "values" where there are several) of text
    /// frames, "description", "language", "url", a picture's keys, "owner", "email", "rating", "count", "fileName",
    /// "bytes".
    nlohmann::ordered_json fields = nlohmann::ordered_json::object();
    /// The same on one line; not yet fit for a terminal (see shown()).
    std::string text;

    /// `frame` is one of `tag`'s.
    static FrameContentView of(const id3V2Tag& tag, const id3V2Frame& frame);
};

}  // namespace quillet::cli
