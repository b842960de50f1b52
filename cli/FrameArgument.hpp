#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "id3/TagAPI.hpp"

namespace quillet::cli {

/// "ID=TEXT" of a command line, or "ID=DESCRIPTION=TEXT" for the frames that have a description. An empty text takes
/// the frame away.
struct FrameArgument {
    std::string identifier;                  ///< of any version
    std::optional<std::string> description;  ///< of the frames that have one, and may stand several times by that
    std::string text;

    /// Nullopt where it is not of that form.
    static std::optional<FrameArgument> parse(std::string_view argument);

    /// Puts the text in the place of the frames under the identifier, or of those with the description, in the v2 tag's
    /// own version; the v1 record is kept in step. Why it cannot be done, fit to stand behind the file's name; ""
    /// where it was.
    std::string apply(TagAPI& api) const;
    /// Whether the tag says now what this argument asks for.
    bool isHeldBy(const id3V2Tag& tag) const;

  private:
    std::string applyText(TagAPI& api, const std::string& own) const;
    std::string applyDescribed(TagAPI& api, FrameID own) const;
};

}  // namespace quillet::cli
