#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/AudioView.hpp"
#include "cli/ThreadLog.hpp"
#include "id3/TagAPI.hpp"

namespace quillet::cli {

/// One examined file as a user reads it. What is absent is nullopt: an empty text, a number that is 0 or negative.
class TagView {
  public:
    /// All must outlive the view. `hasAudio` is what examineFile answered for the file at `path`.
    TagView(TagAPI& api, const std::string& path, bool hasAudio, const ThreadLog& log)
        : api_(api), path_(path), hasAudio_(hasAudio), log_(log) {}

    const std::string& path() const { return path_; }
    AudioView audio() const { return AudioView(hasAudio_ ? api_.getMP3Header() : nullptr); }
    /// The v2 tag, or null.
    const id3V2Tag* v2() const { return api_.v2TagPresent() ? api_.getV2Tag() : nullptr; }
    /// "2.4.0", or "" without a v2 tag.
    std::string v2Version() const;
    std::vector<Picture> pictures() const { return api_.getImage(); }
    /// What reading had to guess, cut, skip or leave unread, in plain words. Complete only when all else was asked.
    std::vector<std::string> warnings() const;

    /// The keys of "tag show" but `warnings`, in their order, `file` first.
    nlohmann::ordered_json json() const;
    /// A picture's keys.
    static nlohmann::ordered_json jsonOf(const Picture& picture);
    /// A frame's keys `id`, `size` and `flags`.
    static nlohmann::ordered_json jsonOf(const id3V2Frame& frame);
    /// The names of the flags that are set, such as "readOnly".
    static std::vector<std::string> flagsOf(const id3V2Frame& frame);

  private:
    nlohmann::ordered_json v1Json() const;
    nlohmann::ordered_json v2Json() const;

    TagAPI& api_;
    const std::string& path_;
    bool hasAudio_;
    const ThreadLog& log_;
};

}  // namespace quillet::cli
