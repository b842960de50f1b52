/// Through this project's own engine, with the command's resource dictionary.

#include <fmt/format.h>

#include "bench/reading/ReaderProgram.hpp"
#include "cli/ResourceDictionary.hpp"
#include "id3/TagAPI.hpp"

namespace {

using quillet::bench::Report;
using quillet::bench::Values;

void readFile(quillet::TagAPI& tags, const std::string& path, Report& report) {
    tags.examineFile(path);
    Values values;
    values.title = tags.getTitle();
    values.artist = tags.getArtist();
    values.album = tags.getAlbum();
    values.albumArtist = tags.getAlbumArtist();
    values.comment = tags.getComments();
    values.track = tags.getTrack();
    values.disc = tags.getDisk();
    values.year = tags.getYear();
    values.durationMs = tags.getDurationMilliseconds();
    if (auto genres = tags.getGenreNames(); genres && !genres->empty()) values.genre = std::move(genres->front());
    const std::vector<quillet::Picture> pictures = tags.getImage();
    if (!pictures.empty()) values.picture = pictures.front().image.bytes();
    report.take(path, values);
}

}  // namespace

int main(int argc, char** argv) {
    const std::unique_ptr<quillet::TagAPI> tags =
        quillet::TagAPI::initWithGenreList(quillet::cli::resourceDictionary());
    if (!tags) {
        fmt::print(stderr, "read_quillet: no resource dictionary\n");
        return 1;
    }
    return quillet::bench::runReader(argc, argv,
                                     [&](const std::string& path, Report& report) { readFile(*tags, path, report); });
}
