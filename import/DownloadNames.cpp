#include "import/DownloadNames.hpp"

#include <vector>

#include "util/FilePath.hpp"
#include "util/Text.hpp"

namespace quillet {

DownloadNames namesFromFileName(std::string_view fileName) {
    const auto parts = util::split(util::deletingPathExtension(util::lastPathComponent(fileName)), '-');
    const std::string_view artist = parts.front();
    const std::string_view title = parts.size() == 1 ? artist : parts[1];  // what is behind a second "-" counts nowhere
    return {std::string(util::trimmed(title)), std::string(util::trimmed(artist))};
}

void setMissingNames(TagAPI& tags, const DownloadNames& names) {
    // An empty name in the place of an empty text is a change where empty texts are written.
    const bool setsEmpty = tags.dialect().writesEmptyValues;
    if ((setsEmpty || !names.title.empty()) && tags.getTitle().empty()) tags.setTitle(names.title);
    if ((setsEmpty || !names.artist.empty()) && tags.getArtist().empty()) tags.setArtist(names.artist);
}

std::int32_t nameDownload(TagAPI& tags, const std::string& path, std::string_view fileName) {
    (void)tags.examineFile(path);
    setMissingNames(tags, namesFromFileName(fileName));
    return tags.updateFile();
}

}  // namespace quillet
