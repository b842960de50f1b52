#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "id3/TagAPI.hpp"

namespace quillet {

/// What a file name such as "Artist - Title.mp3" says of a song.
struct DownloadNames {
    std::string title;
    std::string artist;
};

/// From the last component of `fileName` without its extension: the part before the first "-" is the artist, the part
/// behind it, up to the next "-", the title, each without white space at its ends. A name without "-" is both.
DownloadNames namesFromFileName(std::string_view fileName);

/// Sets title and artist of the file that `tags` examined last where they are empty. Nothing is written.
void setMissingNames(TagAPI& tags, const DownloadNames& names);

/// Names a finished download: examines the file at `path`, sets what its tag lacks from `fileName`, and writes. Answers
/// what -updateFile answers, 0 where all was written or nothing was to be.
std::int32_t nameDownload(TagAPI& tags, const std::string& path, std::string_view fileName);

}  // namespace quillet
