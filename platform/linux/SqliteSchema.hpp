#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/linux/SqliteDatabase.hpp"

namespace quillet {

/// The version of the tables that this program reads and writes, kept as the file's user_version.
inline constexpr std::int64_t kLibrarySchemaVersion = 1;
/// "Qllt", kept as the file's application_id.
inline constexpr std::int64_t kLibraryApplicationID = 0x516C6C74;

/// Opens the library at `path`; readWrite makes it, but not its folder, where there is none. Throws LibraryError where
/// the file is no such library or a newer program wrote it: it is not touched then, and no file is made beside it.
std::unique_ptr<SqliteDatabase> openLibraryDatabase(const std::string& path, SqliteMusicLibrary::Mode mode,
                                                    std::chrono::milliseconds busyLimit);

}  // namespace quillet
