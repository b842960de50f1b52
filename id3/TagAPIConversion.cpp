#include <utility>

#include "id3/TagAPI.hpp"
#include "util/Log.hpp"

namespace quillet {

SharedValues TagAPI::valuesOf(std::int32_t tag) {
    const std::int32_t before = std::exchange(parse_, tag);
    SharedValues values{.title = getTitle(),
                        .artist = getArtist(),
                        .album = getAlbum(),
                        .comments = getComments(),
                        .year = getYear(),
                        .track = getTrack(),
                        .genres = getGenreNames()};
    parse_ = before;
    return values;
}

bool TagAPI::setValues(const SharedValues& values) {
    const bool all = dialect().copiesAbsentValues;
    const auto genres = values.genres.value_or(std::vector<std::string>());
    // What a v1 tag does not know of a track, the v2 tag keeps.
    const std::int32_t totalTracks = all || !v2Tag_ ? 0 : v2Tag_->getTotalNumberTracks();
    bool done = true;  // one that fails does not keep the others from being tried
    if (all || !values.title.empty()) done = setTitle(values.title) && done;
    if (all || !values.artist.empty()) done = setArtist(values.artist) && done;
    if (all || !values.album.empty()) done = setAlbum(values.album) && done;
    if (all || values.year > 0) done = setYear(values.year) && done;
    if (all || values.track > 0) done = setTrack(values.track, totalTracks) && done;
    if (all || !genres.empty()) done = setGenreName(genres) && done;
    if (all || !values.comments.empty()) done = setComments(values.comments) && done;
    return done;
}

void TagAPI::leaveOutCuts(SharedValues& values) {
    if (!v2TagPresent()) return;
    const SharedValues whole = valuesOf(2);
    id3V1Tag record(dialect());
    record.newTag();
    record.setTitle(whole.title);
    record.setArtist(whole.artist);
    record.setAlbum(whole.album);
    record.setTrack(whole.track);  // beside a track the comment is shorter
    record.setComment(whole.comments);
    const id3V1Tag cut = record.asWritten();
    if (cut.getTitle() == values.title) values.title.clear();
    if (cut.getArtist() == values.artist) values.artist.clear();
    if (cut.getAlbum() == values.album) values.album.clear();
    if (cut.getComment() == values.comments) values.comments.clear();
    if (whole.year == values.year) values.year = 0;  // it may have month and day
}

std::unique_ptr<id3V2Tag> TagAPI::newV2Tag(std::uint32_t major, std::uint32_t minor) const {
    auto made = std::make_unique<id3V2Tag>(frameLibrary_, dialect());
    made->newTag(major, minor);
    made->setPath(path_);
    return made;
}

bool TagAPI::copyV1TagToV2Tag() {
    if (!readV1()) return false;
    if (!v1TagPresent()) {
        util::log("copyV1TagToV2Tag: No v1 tag present to copy");
        return false;
    }
    if (!v2Tag_) {
        v2Tag_ = std::make_unique<id3V2Tag>(frameLibrary_, dialect());
        v2Tag_->openPath(path_);
    }
    const bool all = dialect().copiesAbsentValues;
    if (!v2TagPresent() && (all || v2Tag_->tagVersion() == 0))
        v2Tag_->newTag(preferences_.defaultMajor, preferences_.defaultMinor);

    parse_ = 1;
    // All are read before the first is set, since setting one in the v1 record can change another.
    SharedValues values = valuesOf(1);
    if (all) return setValues(values);
    leaveOutCuts(values);
    const id3V1Tag before = *v1Tag_;
    const bool done = setValues(values);
    *v1Tag_ = before;
    return done;
}

bool TagAPI::copyV2TagToV1Tag() {
    if (!v2TagPresent()) {
        util::log("copyV2TagToV1Tag: No v2 tag present to copy");
        return false;
    }
    if (!v1Tag_) {
        v1Tag_ = std::make_unique<id3V1Tag>(dialect());
        parsedV1_ = false;
    }
    if (!readV1()) {
        util::log("Failed open file: " + path_ + " when parsing for V1.1 tag object");
        return false;
    }
    if (!v1Tag_->tagPresent()) v1Tag_->newTag();
    wantsV1_ = true;
    // The setters change both tags; this copy is to change one.
    const id3V2Tag before = *v2Tag_;
    const bool done = setValues(valuesOf(2));
    *v2Tag_ = before;
    return done;
}

bool TagAPI::convertTagToV2(std::uint32_t minor) {
    if (dialect().convertsToVersion2ByMeaning) return convertByMeaning(minor);
    const auto losses = convertInMemory(minor);
    return losses && updateFile() == 0 && losses->empty();
}

bool TagAPI::convertByMeaning(std::uint32_t minor) {
    auto made = newV2Tag(2, minor);
    bool done = true;
    // Meant so: frame by frame only where the file has no v2 tag, and what has a getter always.
    if (!v2TagPresent()) {
        for (const std::string& identifier : getFrameList()) {
            const auto contents = getContentForFrameID(identifier).value_or(std::vector<FrameContent>());
            done = made->setContent(contents, identifier, true) && done;
        }
        done = made->setDisk(getDisk(), getTotalNumberDisks()) && done;
    }
    done = made->setTitle(getTitle()) && done;
    done = made->setArtist(getArtist()) && done;
    done = made->setAlbum(getAlbum()) && done;
    done = made->setYear(getYear()) && done;
    done = made->setTrack(getTrack(), getTotalNumberTracks()) && done;
    done = made->setGenreName(getGenreNames().value_or(std::vector<std::string>())) && done;
    done = made->setComments(getComments()) && done;

    saveProblem_.clear();
    dropV2Tag();
    v2Tag_ = std::move(made);
    updateV2();
    return done;
}

std::optional<std::vector<FrameLoss>> TagAPI::convertInMemory(std::uint32_t minor) {
    if (minor < 2 || minor > 4 || !v2Tag_) return std::nullopt;
    std::vector<FrameLoss> losses;
    if (!v2TagPresent() && v2Tag_->frames().empty()) {
        v2Tag_->newTag(minor, 0);
        if (v1TagPresent()) copyV1TagToV2Tag();
        return losses;
    }
    if (v2TagVersion() == minor) return losses;
    auto made = newV2Tag(minor, 0);
    ConvertedFrames converted =
        convertFrames(v2Tag_->frames().all(), *made, [this](std::string_view genre) { return genreNumberOf(genre); });
    made->setFrames(std::move(converted.frames));
    made->takePlaceOf(*v2Tag_);
    v2Tag_ = std::move(made);
    modify_ = true;
    return std::move(converted.losses);
}

}  // namespace quillet
