#include "id3/ImageFormat.hpp"

#include <algorithm>

namespace quillet {

namespace {

using namespace std::string_view_literals;

struct ImageFormat {
    std::string_view name;
    std::string_view mimeType;
    std::string_view mark;        ///< what its files begin with
    std::string_view markBehind;  ///< and have at kMarkBehind, "" for nothing
};
constexpr std::size_t kMarkBehind = 8;
constexpr std::size_t kNameLength = 3;

constexpr ImageFormat kFormats[] = {
    {"JPG", "image/jpeg", "\xff\xd8\xff", ""},
    {"PNG", "image/png", "\x89PNG\r\n\x1a\n", ""},
    {"GIF", "image/gif", "GIF8", ""},
    {"WEB", "image/webp", "RIFF", "WEBP"},
    {"BMP", "image/bmp", "BM", ""},
};

}  // namespace

std::string_view mimeTypeOfImage(util::Bytes image) {
    const std::string_view bytes = util::charactersOf(image);
    for (const ImageFormat& format : kFormats) {
        if (!bytes.starts_with(format.mark)) continue;
        if (format.markBehind.empty() ||
            (bytes.size() > kMarkBehind && bytes.substr(kMarkBehind).starts_with(format.markBehind)))
            return format.mimeType;
    }
    return "";
}

std::string formatOfMimeType(std::string_view mimeType) {
    const auto known = std::ranges::find(kFormats, mimeType, &ImageFormat::mimeType);
    if (known != std::end(kFormats)) return std::string(known->name);
    const std::size_t slash = mimeType.find('/');
    if (slash == std::string_view::npos) return std::string(mimeType.substr(0, kNameLength));
    std::string name(mimeType.substr(slash + 1, kNameLength));
    for (char& character : name) {
        if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 'a' + 'A');
    }
    return name;
}

std::string mimeTypeOfFormat(std::string_view format) {
    const auto known = std::ranges::find(kFormats, format, &ImageFormat::name);
    return std::string(known == std::end(kFormats) ? format : known->mimeType);
}

}  // namespace quillet
