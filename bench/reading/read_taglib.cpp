/// Through TagLib, with audio properties of its default accuracy.

#include <attachedpictureframe.h>
#include <id3v2tag.h>
#include <mpegfile.h>
#include <mpegproperties.h>

#include "bench/reading/ReaderProgram.hpp"

namespace {

using quillet::bench::Report;
using quillet::bench::Values;

TagLib::ByteVector firstPicture(const TagLib::ID3v2::Tag& tag) {
    const TagLib::ID3v2::FrameList& frames = tag.frameList("APIC");
    if (frames.isEmpty()) return {};
    const auto* picture = dynamic_cast<const TagLib::ID3v2::AttachedPictureFrame*>(frames.front());
    return picture ? picture->picture() : TagLib::ByteVector();
}

void readFile(const std::string& path, Report& report) {
    TagLib::MPEG::File file(path.c_str());
    if (!file.isValid()) return report.take(path, {});
    Values values;
    if (const TagLib::Tag* tag = file.tag()) {
        values.title = tag->title().to8Bit(true);
        values.artist = tag->artist().to8Bit(true);
        values.album = tag->album().to8Bit(true);
        values.genre = tag->genre().to8Bit(true);
        values.comment = tag->comment().to8Bit(true);
        values.track = tag->track();
        values.year = tag->year();
    }
    TagLib::ByteVector picture;
    if (const TagLib::ID3v2::Tag* tag = file.ID3v2Tag()) {
        const TagLib::ID3v2::FrameList& albumArtists = tag->frameList("TPE2");
        if (!albumArtists.isEmpty()) values.albumArtist = albumArtists.front()->toString().to8Bit(true);
        const TagLib::ID3v2::FrameList& discs = tag->frameList("TPOS");
        if (!discs.isEmpty()) values.disc = discs.front()->toString().toInt();
        picture = firstPicture(*tag);
        if (!picture.isEmpty())
            values.picture = {reinterpret_cast<const std::uint8_t*>(picture.data()), picture.size()};
    }
    if (const auto* audio = file.audioProperties()) values.durationMs = audio->lengthInMilliseconds();
    report.take(path, values);
}

}  // namespace

int main(int argc, char** argv) {
    return quillet::bench::runReader(argc, argv, readFile);
}
