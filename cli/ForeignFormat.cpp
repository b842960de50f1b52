#include "cli/ForeignFormat.hpp"

namespace quillet::cli {

namespace {

using namespace std::string_view_literals;

struct Format {
    std::size_t offset;
    std::string_view mark;
    std::string_view name;
};

constexpr Format kFormats[] = {
    {0, "fLaC"sv, "a FLAC file"},
    {0, "OggS"sv, "an Ogg file"},
    {0, "RIFF"sv, "a RIFF file (WAV, AVI ...)"},
    {0, "RF64"sv, "a WAV file"},
    {0, "FORM"sv, "an AIFF file"},
    {0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"sv, "an ASF file (WMA)"},
    {0, "\x1A\x45\xDF\xA3"sv, "a Matroska file"},
    {4, "ftyp"sv, "an MP4 file"},
    {4, "moov"sv, "an MP4 file"},
    {4, "mdat"sv, "an MP4 file"},
    {4, "wide"sv, "an MP4 file"},
    {4, "free"sv, "an MP4 file"},
    {0, "MAC "sv, "a Monkey's Audio file"},
    {0, "wvpk"sv, "a WavPack file"},
    {0, "MPCK"sv, "a Musepack file"},
    {0, "MP+"sv, "a Musepack file"},
    {0, "TTA1"sv, "a TTA file"},
    {0, "TTA2"sv, "a TTA file"},
    {0, "tBaK"sv, "a TAK file"},
    {0, "OFR "sv, "an OptimFROG file"},
    {0, "DSD "sv, "a DSD file"},
    {0, "FRM8"sv, "a DSD file"},
    {0, "caff"sv, "a CAF file"},
    {0, ".snd"sv, "an AU file"},
    {0, "#!AMR"sv, "an AMR file"},
    {0, "ADIF"sv, "an AAC file"},
    {0, "FLV\x01"sv, "a Flash video"},
    {0, "\x00\x00\x01\xBA"sv, "an MPEG program stream"},
    {0, "MThd"sv, "a MIDI file"},
    {0, "\xFF\xD8\xFF"sv, "a JPEG picture"},
    {0, "\x89PNG\r\n\x1A\n"sv, "a PNG picture"},
    {0, "GIF8"sv, "a GIF picture"},
    {0, "%PDF-"sv, "a PDF document"},
    {0, "PK\x03\x04"sv, "a ZIP archive"},
    {0, "\x1F\x8B\x08"sv, "a gzip archive"},
    {0, "7z\xBC\xAF\x27\x1C"sv, "a 7-Zip archive"},
    {0, "Rar!\x1A\x07"sv, "a RAR archive"},
    {0,
     "\x7F"
     "ELF"sv,
     "a program"},
    {0, "SQLite format 3\0"sv, "a database"},
};

}  // namespace

std::string_view foreignFormat(util::Bytes beginning) {
    const std::string_view bytes = util::charactersOf(beginning);
    for (const Format& format : kFormats) {
        // What stands further in could be the content of an audio frame.
        if (bytes.size() <= format.offset || (format.offset > 0 && bytes.starts_with('\xFF'))) continue;
        if (bytes.substr(format.offset).starts_with(format.mark)) return format.name;
    }
    return "";
}

bool beginsAdts(util::Bytes beginning) {
    // The sync of MPEG audio, and the layer that MPEG audio has not.
    return beginning.size() > 1 && beginning[0] == 0xFF && (beginning[1] & 0xF6) == 0xF0;
}

}  // namespace quillet::cli
