/// Through libavformat, opened and probed with its default sizes.

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

#include <cstdlib>

#include "bench/reading/ReaderProgram.hpp"

namespace {

using quillet::bench::Report;
using quillet::bench::Values;

const char* text(const AVFormatContext* context, const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(context->metadata, key, nullptr, 0);
    return entry ? entry->value : "";
}

void readFile(const std::string& path, Report& report) {
    AVFormatContext* context = nullptr;
    if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) != 0) return report.take(path, {});
    Values values;
    avformat_find_stream_info(context, nullptr);
    values.title = text(context, "title");
    values.artist = text(context, "artist");
    values.album = text(context, "album");
    values.albumArtist = text(context, "album_artist");
    values.genre = text(context, "genre");
    values.comment = text(context, "comment");
    values.track = std::atoi(text(context, "track"));
    values.disc = std::atoi(text(context, "disc"));
    values.year = std::atoi(text(context, "date"));
    if (context->duration != AV_NOPTS_VALUE) values.durationMs = context->duration / (AV_TIME_BASE / 1000);
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVStream* stream = context->streams[i];
        if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0) continue;
        values.picture = {stream->attached_pic.data, static_cast<std::size_t>(stream->attached_pic.size)};
        break;
    }
    report.take(path, values);
    avformat_close_input(&context);
}

}  // namespace

int main(int argc, char** argv) {
    av_log_set_level(AV_LOG_QUIET);
    return quillet::bench::runReader(argc, argv, readFile);
}
