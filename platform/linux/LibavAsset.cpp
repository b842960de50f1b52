#include "platform/linux/LibavAsset.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "platform/linux/LibavInput.hpp"
#include "platform/linux/LibavItems.hpp"
#include "util/ByteReader.hpp"

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
#include <libavutil/avstring.h>
#include <libavutil/mem.h>
}

namespace quillet {

namespace {

/// The formats that carry music in one file. Playlists, images, subtitles, devices and whatever else libavformat knows
/// are no audio whatever they contain.
constexpr const char* kAudioFormats =
    "aac,ac3,aiff,amr,ape,asf,au,caf,dsf,dts,eac3,flac,loas,matroska,mov,mp3,mpc,mpc8,ogg,oma,tak,tta,w64,wav,wv";

/// In seconds, 49 days: what a library can count in 32 bits of milliseconds. Beyond lies a broken header.
constexpr double kLongestDuration = 4'294'967;

struct Close {
    void operator()(AVFormatContext* file) const { avformat_close_input(&file); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using OpenFile = std::unique_ptr<AVFormatContext, Close>;

/// How long the ID3v2 tag is that begins with these bytes, its header included (ID3v2.4.0 structure 3.1); 0 for none.
std::int64_t tagLength(util::ByteReader header) {
    const auto identifier = header.take(3);
    if (!identifier || util::charactersOf(*identifier) != "ID3" || !header.skip(2)) return 0;
    const std::uint8_t flags = header.u8().value_or(0);
    const std::int64_t length = (flags & 0x10) != 0 ? 20 : 10;  // with a footer as long as the header
    std::int64_t size = 0;
    for (int i = 0; i < 4; ++i) {
        const std::uint8_t byte = header.u8().value_or(0xFF);
        if (byte > 0x7F) return 0;
        size = (size << 7) | byte;
    }
    return length + size;
}

/// Where the ID3v2 tags at the start of the file end. libavformat looks only a mebibyte far for what follows a tag, and
/// covers are larger than that.
std::int64_t endOfTags(LibavInput& input) {
    constexpr int kMostTags = 16;
    std::int64_t end = 0;
    for (int i = 0; i < kMostTags; ++i) {
        std::array<std::uint8_t, 10> header{};
        const std::size_t count = input.readAt(end, header);
        const std::int64_t length = tagLength(util::ByteReader(util::Bytes(header).first(count)));
        if (length == 0) break;
        end += length;
    }
    return end < input.size() ? end : 0;
}

/// The format by the file's content; null where it is none of music.
const AVInputFormat* recognise(LibavInput& input) {
    constexpr std::array<std::size_t, 3> kWindows = {4 << 10, 64 << 10, 1 << 20};
    const std::int64_t start = endOfTags(input);
    std::vector<std::uint8_t> window;
    for (const std::size_t size : kWindows) {
        window.assign(size + AVPROBE_PADDING_SIZE, 0);
        const std::size_t count = input.readAt(start, std::span(window).first(size));
        const AVProbeData data = {"", window.data(), static_cast<int>(count), nullptr};
        int score = 0;
        const AVInputFormat* format = av_probe_input_format3(&data, 1, &score);
        // Below the score that libavformat wants retried lies what it guesses from a header or two: random bytes have
        // them.
        const bool isLast = count < size || size == kWindows.back();
        if (format != nullptr && (score > AVPROBE_SCORE_RETRY || (isLast && score == AVPROBE_SCORE_RETRY))) {
            return av_match_list(format->name, kAudioFormats, ',') > 0 ? format : nullptr;
        }
        if (isLast) break;
    }
    return nullptr;
}

int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EPERM);
}

/// Null where the content is not what the format promised.
OpenFile open(LibavInput& input, const AVInputFormat* format) {
    AVFormatContext* file = avformat_alloc_context();
    if (file == nullptr) return nullptr;
    file->pb = input.context();
    file->io_open = refuseToOpen;  // an MPEG-4 file can name other files and addresses to go on reading
    if (avformat_open_input(&file, "", format, nullptr) < 0) return nullptr;  // which frees `file`
    return OpenFile(file);
}

std::span<AVStream* const> streamsOf(const AVFormatContext& file) {
    return {file.streams, file.nb_streams};
}

bool isMovingPicture(const AVStream* stream) {
    return stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
           (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
}

/// The first stream of sound with a codec that has a name; null where there is none.
const AVStream* musicOf(const AVFormatContext& file) {
    const auto isMusic = [](const AVStream* stream) {
        return stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO && stream->codecpar->codec_id != AV_CODEC_ID_NONE;
    };
    const auto found = std::ranges::find_if(streamsOf(file), isMusic);
    return found == streamsOf(file).end() ? nullptr : *found;
}

/// What the header says, in seconds; 0 for nothing.
double statedSeconds(const AVFormatContext& file, const AVStream& music) {
    if (file.duration > 0) return static_cast<double>(file.duration) / AV_TIME_BASE;
    if (music.duration > 0) return static_cast<double>(music.duration) * av_q2d(music.time_base);
    return 0;
}

double countedSeconds(AVFormatContext& file, const AVStream& music) {
    for (AVStream* stream : streamsOf(file)) {
        if (stream != &music) stream->discard = AVDISCARD_ALL;
    }
    const std::unique_ptr<AVPacket, Close> packet(av_packet_alloc());
    double ticks = 0;
    double ticksOfPacket = 0;
    double withoutDuration = 0;  // packets that were read before the codec was known
    while (packet && av_read_frame(&file, packet.get()) >= 0) {
        const bool isMusic = packet->stream_index == music.index;
        if (isMusic && packet->duration > 0) ticks += ticksOfPacket = static_cast<double>(packet->duration);
        if (isMusic && packet->duration <= 0) withoutDuration += 1;
        av_packet_unref(packet.get());
    }
    return (ticks + withoutDuration * ticksOfPacket) * av_q2d(music.time_base);
}

/// Reads on until sample rate and duration are known too. Pictures are declared to be plain data: to know their size in
/// pixels libavformat would decode them.
bool readOn(AVFormatContext& file) {
    for (AVStream* stream : streamsOf(file)) {
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO) continue;
        stream->codecpar->codec_type = AVMEDIA_TYPE_DATA;
        stream->codecpar->codec_id = AV_CODEC_ID_NONE;
    }
    return avformat_find_stream_info(&file, nullptr) >= 0;
}

std::optional<MediaAsset> read(LibavInput& input) {
    const AVInputFormat* format = recognise(input);
    if (format == nullptr || input.context() == nullptr) return std::nullopt;
    const OpenFile file = open(input, format);
    if (!file || std::ranges::any_of(streamsOf(*file), isMovingPicture)) return std::nullopt;
    const AVStream* music = musicOf(*file);
    if (music == nullptr) return std::nullopt;

    MediaAsset asset;
    asset.formats.push_back(itemsOf(*file, *music));
    double seconds = statedSeconds(*file, *music);
    if (music->codecpar->sample_rate <= 0) {
        if (!readOn(*file) || music->codecpar->sample_rate <= 0) return std::nullopt;
        const bool takesGuess = std::string_view(format->name) == "mp3";
        if (seconds <= 0 && takesGuess) seconds = statedSeconds(*file, *music);
    }
    if (seconds <= 0) seconds = countedSeconds(*file, *music);
    asset.durationSeconds = seconds > 0 && seconds < kLongestDuration ? seconds : 0;
    return asset;
}

}  // namespace

LibavAsset readLibavAsset(int descriptor, std::int64_t size) {
    // What a file claims to hold is not believed: no single block that libavformat takes may be far larger than the
    // file.
    constexpr std::int64_t kSmallestLimit = 16 << 20;
    constexpr std::int64_t kLargestLimit = 256 << 20;
    av_max_alloc(static_cast<std::size_t>(std::min(kLargestLimit, kSmallestLimit + 4 * std::min(size, kLargestLimit))));
    LibavInput input(descriptor, size);
    auto asset = read(input);
    if (input.error() != 0) return {std::nullopt, input.error()};
    return {std::move(asset), 0};
}

}  // namespace quillet
