#pragma once

#include "platform/MusicLibrary.hpp"

namespace quillet {

/// The device's music library by its private classes (ML3MusicLibrary, MLTrackImport, ML3TrackImporter), which are
/// looked up once, and MPMediaQuery. Without them nothing is imported: the completion hears a status that is not 0.
class MediaLibraryMusicLibrary : public MusicLibrary {
  public:
    void setImportationEnabled(bool enabled) override;
    void importTrack(std::shared_ptr<TrackImport> track, Completion completion) override;
    std::optional<std::vector<std::uint64_t>> persistentIdentifiers() override;
};

}  // namespace quillet
