#include "bench/reading/ReaderProgram.hpp"

#include <fmt/format.h>

#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "bench/ListProgram.hpp"
#include "util/md5.hpp"

namespace quillet::bench {
namespace {

std::string hexadecimalMD5(std::span<const std::uint8_t> bytes) {
    md5_state_t state;
    std::uint8_t digest[16];
    md5_init(&state);
    md5_append(&state, bytes.data(), static_cast<std::int32_t>(bytes.size()));
    md5_finish(&state, digest);
    std::string text;
    for (const std::uint8_t byte : digest) text += fmt::format("{:02x}", byte);
    return text;
}

constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;

/// Every text has a part in the sum, at little cost: eight bytes at a time.
std::uint64_t mixed(std::uint64_t sum, std::string_view text) {
    for (; text.size() >= 8; text.remove_prefix(8)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data(), sizeof word);
        sum = (sum ^ word) * kFactor;
    }
    for (const char rest : text) sum = sum << 5 ^ sum ^ static_cast<unsigned char>(rest);
    return sum * kFactor;
}

std::string jsonLine(std::string_view path, const Values& values) {
    using Json = nlohmann::json;
    const auto text = [](const std::string& value) { return value.empty() ? Json() : Json(value); };
    const auto number = [](std::int64_t value) { return value == 0 ? Json() : Json(value); };
    const bool picture = !values.picture.empty();
    const Json line = {{"file", path},
                       {"title", text(values.title)},
                       {"artist", text(values.artist)},
                       {"album", text(values.album)},
                       {"albumArtist", text(values.albumArtist)},
                       {"track", number(values.track)},
                       {"disc", number(values.disc)},
                       {"year", number(values.year)},
                       {"genre", text(values.genre)},
                       {"comment", text(values.comment)},
                       {"pictureBytes", picture ? Json(values.picture.size()) : Json()},
                       {"pictureMd5", picture ? Json(hexadecimalMD5(values.picture)) : Json()},
                       {"durationMs", number(values.durationMs)}};
    return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

void Report::take(std::string_view path, const Values& values) {
    if (print_) return fmt::print("{}\n", jsonLine(path, values));
    std::uint64_t sum = checksum_;
    for (const std::string* text :
         {&values.title, &values.artist, &values.album, &values.albumArtist, &values.genre, &values.comment})
        sum = mixed(sum, *text);
    for (const std::int64_t value : {values.track, values.disc, values.year, values.durationMs})
        sum = (sum ^ static_cast<std::uint64_t>(value)) * kFactor;
    if (!values.picture.empty()) sum += values.picture.size() + values.picture.front() + values.picture.back();
    checksum_ = sum;
}

int runReader(int argc, char** argv, const ReadFile& readFile) {
    const bool print = argc == 3 && std::string_view(argv[1]) == "--print";
    if (argc != 2 && !print) {
        fmt::print(stderr, "usage: {} [--print] LIST\n", argv[0]);
        return 2;
    }
    Report report(print);
    const auto cost = workThrough(argv[argc - 1], [&](const std::string& path) { readFile(path, report); });
    if (!cost) return 1;
    if (!print) {
        fmt::print(R"({{"files": {}, "checksum": {}, "wallNs": {}, "processorNs": {}, "peakKiB": {}}})"
                   "\n",
                   cost->files, report.checksum(), cost->wallNs, cost->processorNs, cost->peakKiB);
    }
    return 0;
}

}  // namespace quillet::bench
