#pragma once

#include <string>
#include <string_view>

/// Paths as the platform's strings take them apart. Bytes are not interpreted beyond '/' and '.'.
namespace quillet::util {

/// What stands behind the last '/', slashes at the end left out; "" for "" and "/" for slashes alone.
std::string_view lastPathComponent(std::string_view path);
/// What stands behind the last '.' of the last component, without the dot. "" where there is no dot, where nothing
/// follows it, or where it is the component's first character (".hidden").
std::string_view pathExtension(std::string_view path);
/// The path without its extension and the dot before it; a path without an extension as it is.
std::string_view deletingPathExtension(std::string_view path);
/// The path without its last component and the slashes before that; "/" for "/name", "" for "name".
std::string_view deletingLastPathComponent(std::string_view path);
/// Whether `name` names an entry of a folder and nothing outside it: not "", ".", "..", and no '/' or NUL in it.
bool isEntryName(std::string_view name);
/// `folder`, one '/', `name`.
std::string pathIn(std::string_view folder, std::string_view name);

}  // namespace quillet::util
