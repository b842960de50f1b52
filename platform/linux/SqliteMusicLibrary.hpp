#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_set>

#include "platform/DevicePaths.hpp"
#include "platform/MusicLibrary.hpp"

namespace quillet {

/// The library cannot be opened, read or written; what() is one clear sentence for the user.
class LibraryError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What a file was before it came into the media folder.
struct TrackOrigin {
    std::string fileName;      ///< the name that the user gave it; any bytes
    std::uint64_t device = 0;  ///< device and inode number of the file as it lay in the drop folder
    std::uint64_t inode = 0;
};

/// One track as the library holds it.
struct LibraryTrack {
    std::uint64_t persistentID = 0;
    std::string assetPath;               ///< full path on this machine, the root included
    util::PropertyDictionary values;     ///< every entity property that was imported, types kept
    std::optional<std::string> artwork;  ///< the MD5 name of its cover
    std::optional<TrackOrigin> origin;
};

/// The music library in one SQLite file under the root. A property name is an address in it: "item_extra.title" is
/// column `title` of table `item_extra`, "track_number" a column of `item`. Identifiers count up from 1 and are never
/// given twice. WAL, so that readers and the one writer do not wait for each other. Used from one thread.
class SqliteMusicLibrary : public MusicLibrary {
  public:
    enum class Mode { readOnly, readWrite };
    static constexpr std::string_view kDatabase =
        "/private/var/mobile/Media/iTunes_Control/iTunes/MediaLibrary.sqlitedb";

    /// Opens the library of the root; readWrite makes it and its folder where there is none. Throws LibraryError where
    /// that fails, where the file is no such library, or where a newer Quillet wrote it. While another program has the
    /// library locked, this and every call below waits up to `busyLimit` before it fails.
    SqliteMusicLibrary(const DevicePaths& paths, Mode mode,
                       std::chrono::milliseconds busyLimit = std::chrono::seconds(60));
    ~SqliteMusicLibrary() override;
    /// Whether the root has a library yet. Throws LibraryError where that may not be looked at.
    static bool exists(const DevicePaths& paths);

    // MusicLibrary. These never throw: a failure is a status, nullopt and one log line.
    void setImportationEnabled(bool enabled) override;
    void importTrack(std::shared_ptr<TrackImport> track, Completion completion) override;
    std::optional<std::vector<std::uint64_t>> persistentIdentifiers() override;

    /// Until endGroup, imported tracks share transactions (some hundred tracks or a fraction of a second each). What is
    /// in an open transaction is lost when the process dies; the files then lie in the media folder unknown to the
    /// library, for the next start to find. No groups within groups.
    void beginGroup();
    /// Commits. False (and a log line) where any track of the group did not get into the library after all, though its
    /// completion had said so.
    bool endGroup();
    /// Whether another program had the library locked for the whole waiting time since the group began. Nothing more is
    /// waited for then: whatever else the group is given fails at once.
    bool isLockedOut() const;

    /// Remembers where the file named `assetName` in the media folder came from; kept until the track is removed with
    /// its file, so a track that is added again has it still. Part of the group's transaction; never throws.
    void noteOrigin(const std::string& assetName, const TrackOrigin& origin);

    // For the commands. Throw LibraryError.
    /// All tracks by ascending identifier, one at a time.
    void forEachTrack(const std::function<void(const LibraryTrack&)>& visit);
    std::optional<LibraryTrack> track(std::uint64_t persistentID);
    /// The identifier of the track above `after` that was the file `origin`; nullopt while it is not there.
    std::optional<std::uint64_t> trackOfOrigin(const TrackOrigin& origin, std::uint64_t after);
    /// The highest identifier ever given; 0 in a new library.
    std::uint64_t lastIdentifier();
    /// Never gives an identifier up to `highest`, which an earlier library of the root gave. No group may be open.
    void passOverIdentifiers(std::uint64_t highest);
    /// The names of all tracks' files in the media folder.
    std::unordered_set<std::string> assetNames();
    /// Takes the track out, with the artist, album and image rows that no other track uses; its origin too unless
    /// `keepOrigin`. False where there is no such track.
    bool remove(std::uint64_t persistentID, bool keepOrigin);
    /// The image's bytes by its MD5 name.
    std::optional<util::Data> artworkData(const std::string& md5);

  private:
    struct Body;
    std::unique_ptr<Body> body_;
};

}  // namespace quillet
