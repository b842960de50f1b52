#pragma once

#include <string>

#include "cli/ImportSelection.hpp"
#include "platform/DevicePaths.hpp"
#include "platform/linux/SqliteMusicLibrary.hpp"
#include "util/Files.hpp"

namespace quillet::cli {

/// A file in the drop folder, and how it came there.
struct HandedOver {
    std::string entry;     ///< its name in the drop folder
    TrackOrigin origin;    ///< by which the library knows it afterwards
    std::string fileName;  ///< the name that the user knows it by
};

/// Copies a user's file, or moves it, through the downloads folder of the root into its drop folder, under a free name.
class HandOver {
  public:
    HandOver(const DevicePaths& paths, bool move) : paths_(paths), move_(move) {}

    /// On failure the user's file is where and as it was, and nothing of it is left under the root.
    util::Status put(const ImportFile& file, HandedOver& handed) const;
    /// Takes back what still lies in the drop folder: a copy is deleted, a moved file goes back where it was.
    void withdraw(const ImportFile& file, const HandedOver& handed) const;

  private:
    const DevicePaths& paths_;
    bool move_;
};

}  // namespace quillet::cli
