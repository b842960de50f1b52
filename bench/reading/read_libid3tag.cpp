/// Through libid3tag, which reads tags alone: it finds no duration.

#include <id3tag.h>

#include <cstdlib>
#include <memory>

#include "bench/reading/ReaderProgram.hpp"

namespace {

using quillet::bench::Report;
using quillet::bench::Values;

std::string utf8(const id3_ucs4_t* text) {
    if (!text) return "";
    const std::unique_ptr<id3_utf8_t, decltype(&std::free)> copy(id3_ucs4_utf8duplicate(text), &std::free);
    return reinterpret_cast<const char*>(copy.get());
}

/// The first text of a text frame, or null.
const id3_ucs4_t* firstText(const id3_tag* tag, const char* identifier) {
    const id3_frame* frame = id3_tag_findframe(tag, identifier, 0);
    if (!frame || frame->nfields < 2) return nullptr;
    const id3_field* field = &frame->fields[1];
    return id3_field_getnstrings(field) == 0 ? nullptr : id3_field_getstrings(field, 0);
}

std::int64_t number(const id3_tag* tag, const char* identifier) {
    return std::strtoll(utf8(firstText(tag, identifier)).c_str(), nullptr, 10);
}

/// The comment without a description, else the first.
std::string comment(const id3_tag* tag) {
    const id3_frame* chosen = nullptr;
    for (unsigned index = 0; const id3_frame* frame = id3_tag_findframe(tag, ID3_FRAME_COMMENT, index); ++index) {
        const id3_ucs4_t* description = id3_field_getstring(&frame->fields[2]);
        const bool plain = description && *description == 0;
        if (!chosen || plain) chosen = frame;
        if (plain) break;
    }
    return chosen ? utf8(id3_field_getfullstring(&chosen->fields[3])) : "";
}

void readFile(const std::string& path, Report& report) {
    const std::unique_ptr<id3_file, decltype(&id3_file_close)> file(id3_file_open(path.c_str(), ID3_FILE_MODE_READONLY),
                                                                    &id3_file_close);
    if (!file) return report.take(path, {});
    const id3_tag* tag = id3_file_tag(file.get());
    Values values;
    values.title = utf8(firstText(tag, ID3_FRAME_TITLE));
    values.artist = utf8(firstText(tag, ID3_FRAME_ARTIST));
    values.album = utf8(firstText(tag, ID3_FRAME_ALBUM));
    values.albumArtist = utf8(firstText(tag, "TPE2"));
    if (const id3_ucs4_t* genre = firstText(tag, ID3_FRAME_GENRE)) values.genre = utf8(id3_genre_name(genre));
    values.comment = comment(tag);
    values.track = number(tag, ID3_FRAME_TRACK);
    values.disc = number(tag, "TPOS");
    values.year = number(tag, ID3_FRAME_YEAR);
    if (const id3_frame* picture = id3_tag_findframe(tag, "APIC", 0); picture && picture->nfields > 4) {
        id3_length_t length = 0;
        const id3_byte_t* bytes = id3_field_getbinarydata(&picture->fields[4], &length);
        if (bytes) values.picture = {bytes, length};
    }
    report.take(path, values);
}

}  // namespace

int main(int argc, char** argv) {
    return quillet::bench::runReader(argc, argv, readFile);
}
