#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "id3/AudioFile.hpp"
#include "id3/TagAPI.hpp"

namespace quillet::cli {

/// Names copies of MP3 files as finished downloads are named: title and artist, where the tag has none, come from the
/// file's name. One thread at a time.
class CopyNaming {
  public:
    /// Throws UserError where the program's own resource dictionary cannot be read.
    CopyNaming();

    /// The copy at `path` of a file called `fileName`. What is no MP3 file by that name, or by what is in it, stays as
    /// it is, as does a tag that has both. Answers why a name could not be written, and then the copy is as it was; ""
    /// otherwise.
    std::string name(const std::string& path, std::string_view fileName);

  private:
    std::unique_ptr<TagAPI> tags_;
    AudioFile file_;
};

}  // namespace quillet::cli
