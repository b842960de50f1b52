#include "cli/PictureFile.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "util/FilePath.hpp"

namespace quillet::cli {

namespace fs = std::filesystem;

namespace {

struct PictureFormat {
    std::string_view beginning;  ///< of the bytes; "" where they do not tell
    std::string_view mimeType;
    std::string_view oldName;  ///< in ID3v2.2
    const char* extension;
};

using namespace std::string_view_literals;
constexpr PictureFormat kFormats[] = {
    {"\xFF\xD8\xFF"sv, "image/jpeg", "JPG", ".jpg"},
    {"\x89PNG\r\n\x1A\n"sv, "image/png", "PNG", ".png"},
    {"GIF8"sv, "image/gif", "GIF", ".gif"},
    {"BM"sv, "image/bmp", "BMP", ".bmp"},
    {"II*\0"sv, "image/tiff", "TIF", ".tiff"},
    {"MM\0*"sv, "image/tiff", "TIF", ".tiff"},
    {""sv, "image/jpg", "", ".jpg"},
    {""sv, "image/webp", "", ".webp"},
};

}  // namespace

std::string pictureExtension(util::Bytes picture, std::string_view mimeType) {
    const std::string_view bytes = util::charactersOf(picture);
    for (const PictureFormat& format : kFormats)
        if (!format.beginning.empty() && bytes.starts_with(format.beginning)) return format.extension;
    if (bytes.starts_with("RIFF") && bytes.size() > 12 && bytes.substr(8, 4) == "WEBP") return ".webp";
    for (const PictureFormat& format : kFormats)
        if (mimeType == format.mimeType || (!mimeType.empty() && mimeType == format.oldName)) return format.extension;
    return ".bin";
}

util::Status putFile(const std::string& path, util::Bytes content, bool replace) {
    // A cover can be taken out again, so it need not wait for the disk.
    constexpr auto kDurability = util::Durability::unsynced;
    std::error_code error;
    const fs::file_status there = fs::status(path, error);
    if (replace && fs::exists(there)) {
        if (fs::is_directory(there)) return util::Status::failure(EISDIR);
        if (!fs::is_regular_file(there)) return util::Status::failure(ENOTSUP);
        const fs::path target = fs::canonical(path, error);
        return error ? util::Status::failure(error.value())
                     : util::writeFileAtomically(target.string(), content, kDurability);
    }
    if (fs::exists(there)) return util::Status::failure(EEXIST);
    // Written under a name of its own and then moved, since only a move refuses what came to the name meanwhile.
    const std::string folder(util::deletingLastPathComponent(path));
    const std::string working = util::pathIn(folder.empty() ? "." : folder, fmt::format(".quillet-cover-{}", getpid()));
    if (const util::Status written = util::writeFileAtomically(working, content, kDurability); !written.ok())
        return written;
    const util::Status moved = util::moveItem(working, path);
    if (!moved.ok()) (void)unlink(working.c_str());
    return moved;
}

}  // namespace quillet::cli
