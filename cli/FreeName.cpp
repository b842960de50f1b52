#include "cli/FreeName.hpp"

#include <fmt/format.h>

#include <cerrno>

#include "util/FilePath.hpp"
#include "util/Limits.hpp"

namespace quillet::cli {

namespace {

/// No folder has more files of one name than anybody could want.
constexpr int kMostChoices = 100000;

/// `text` cut to `bytes` bytes, not inside a UTF-8 character.
std::string_view cut(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes) return text;
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) --bytes;
    return text.substr(0, bytes);
}

}  // namespace

std::string numberedName(std::string_view name, int number) {
    if (number <= 1) return std::string(name);
    const std::string_view stem = util::deletingPathExtension(name);
    const std::string ending = fmt::format(" ({}){}", number, name.substr(stem.size()));
    // An ending that fills the name by itself is no extension worth keeping.
    if (ending.size() >= util::kLongestFileName) {
        const std::string suffix = fmt::format(" ({})", number);
        return std::string(cut(name, util::kLongestFileName - suffix.size())) + suffix;
    }
    return std::string(cut(stem, util::kLongestFileName - ending.size())) + ending;
}

util::Status underFreeName(std::string_view name, const std::function<util::Status(const std::string&)>& put,
                           std::string& chosen) {
    for (int number = 1; number <= kMostChoices; ++number) {
        chosen = numberedName(name, number);
        const util::Status status = put(chosen);
        if (status.error() != EEXIST) return status;
    }
    return util::Status::failure(EEXIST);
}

}  // namespace quillet::cli
