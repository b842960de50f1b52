#include "util/FilePath.hpp"

namespace quillet::util {

namespace {

std::string_view withoutSlashesAtEnd(std::string_view path) {
    return path.substr(0, path.find_last_not_of('/') + 1);
}

}  // namespace

std::string_view lastPathComponent(std::string_view path) {
    const std::string_view trimmed = withoutSlashesAtEnd(path);
    if (trimmed.empty()) return path.substr(0, 1);
    return trimmed.substr(trimmed.rfind('/') + 1);
}

std::string_view pathExtension(std::string_view path) {
    const std::string_view name = lastPathComponent(path);
    const std::size_t dot = name.rfind('.');
    if (dot == 0 || dot == std::string_view::npos) return {};
    return name.substr(dot + 1);
}

std::string_view deletingPathExtension(std::string_view path) {
    const std::string_view extension = pathExtension(path);
    if (extension.empty()) return path;
    return path.substr(0, withoutSlashesAtEnd(path).size() - extension.size() - 1);
}

std::string_view deletingLastPathComponent(std::string_view path) {
    const std::string_view trimmed = withoutSlashesAtEnd(path);
    const std::string_view folder = withoutSlashesAtEnd(trimmed.substr(0, trimmed.rfind('/') + 1));
    return folder.empty() && path.starts_with('/') ? path.substr(0, 1) : folder;
}

bool isEntryName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find_first_of(std::string_view("/\0", 2)) == name.npos;
}

std::string pathIn(std::string_view folder, std::string_view name) {
    std::string path(withoutSlashesAtEnd(folder));
    path += '/';
    path += name;
    return path;
}

}  // namespace quillet::util
