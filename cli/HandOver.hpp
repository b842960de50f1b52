#pragma once

#include <optional>
#include <string>

#include "cli/CopyNaming.hpp"
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
    std::string unnamed;   ///< why the copy could not be named from its file name; "" where it could, or needed not
};

/// Copies a user's file through the downloads folder of the root into its drop folder, or moves it there, under a free
/// name. A file bears its name there only when it is whole.
class HandOver {
  public:
    /// `naming` names copies of MP3 files; a moved file stays as it is.
    HandOver(const DevicePaths& paths, bool move, bool naming);

    /// On failure the user's file is where and as it was, and nothing of it is left under the root.
    util::Status put(const ImportFile& file, HandedOver& handed);
    /// Takes back what still lies in the drop folder: a copy is deleted, a moved file goes back where it was. False
    /// where it does not lie there any more, or cannot be taken back.
    bool withdraw(const ImportFile& file, const HandedOver& handed) const;
    /// The same for a file that was given another name, `path`, on its way into the library.
    bool takeBack(const ImportFile& file, const std::string& path) const;

  private:
    util::Status download(const std::string& path, const std::string& name, std::string& downloaded,
                          HandedOver& handed);
    void removeWhatKilledOnesLeft() const;

    const DevicePaths& paths_;
    bool move_;
    std::optional<CopyNaming> naming_;
};

}  // namespace quillet::cli
