#include "cli/Root.hpp"

#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace quillet::cli {

namespace {

std::string fromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

std::string chosenRoot(const std::string& given) {
    if (!given.empty()) return given;
    if (const std::string root = fromEnvironment("QUILLET_ROOT"); !root.empty()) return root;
    // A relative $XDG_DATA_HOME is to be ignored.
    if (const std::string data = fromEnvironment("XDG_DATA_HOME"); data.starts_with('/')) return data + "/quillet";
    if (const std::string home = fromEnvironment("HOME"); !home.empty()) return home + "/.local/share/quillet";
    throw UserError("no root folder: give --root DIR, or set QUILLET_ROOT or HOME");
}

}  // namespace

DevicePaths rootPaths(const std::string& given) {
    std::error_code error;
    const std::filesystem::path chosen = std::filesystem::absolute(chosenRoot(given), error);
    if (error) throw UserError("the root folder cannot be found: " + error.message());
    // One spelling for one folder, so that the lock and the sockets of two commands meet.
    std::filesystem::path canonical = std::filesystem::weakly_canonical(chosen, error);
    std::string root = (error ? chosen : canonical).lexically_normal().string();
    while (root.ends_with('/')) root.pop_back();
    return DevicePaths(root);
}

}  // namespace quillet::cli
