#include <algorithm>
#include <utility>

#include "id3/TagAPI.hpp"
#include "util/Narrow.hpp"

namespace quillet {

namespace {

/// The last index that the system writes into a v1 record; above it stands this one.
constexpr std::int64_t kLastV1Genre = 125;
constexpr std::int32_t kGenreAboveLast = 0;
/// What a v1 record without a genre has, and so the first index that is none (ID3v1).
constexpr std::int32_t kNoV1Genre = 255;

}  // namespace

bool TagAPI::changeV2(const Change& change, bool agreement, bool notes) {
    if (!v2Tag_) return agreement;
    const bool changed = change();
    modify_ = modify_ || (changed && notes);
    return changed;
}

bool TagAPI::changesV1() {
    return dialect().addsV1Record || preferences_.writeV1Always || wantsV1_ || v1TagPresent();
}

bool TagAPI::changeBoth(const Change& inV2, const Change& inV1, bool notesV2) {
    const bool result = changeV2(inV2, dialect().agreesWithoutTag, notesV2);
    if (!v1Tag_ || !changesV1()) return result;
    if (!readV1() || !inV1()) return false;
    modify_ = true;
    return result;
}

bool TagAPI::setTitle(std::string_view title) {
    // Meant so in the system dialect: no where v1 took the title, and a change where it did not.
    const bool wanted = !dialect().reversesResultOfV1Title;
    return changeBoth([&] { return v2Tag_->setTitle(title); }, [&] { return v1Tag_->setTitle(title) == wanted; });
}

bool TagAPI::setArtist(std::string_view artist) {
    return changeBoth([&] { return v2Tag_->setArtist(artist); }, [&] { return v1Tag_->setArtist(artist); });
}

bool TagAPI::setAlbum(std::string_view album) {
    return changeBoth([&] { return v2Tag_->setAlbum(album); }, [&] { return v1Tag_->setAlbum(album); });
}

bool TagAPI::setComments(std::string_view comment) {
    return changeBoth([&] { return v2Tag_->setComments(comment); }, [&] { return v1Tag_->setComment(comment); });
}

bool TagAPI::setYear(std::int32_t year) {
    return changeBoth([&] { return v2Tag_->setYear(year); }, [&] { return v1Tag_->setYear(year); },
                      !dialect().overlooksSomeChanges);
}

bool TagAPI::setTrack(std::int32_t track, std::int32_t totalTracks) {
    return changeBoth([&] { return v2Tag_->setTrack(track, totalTracks); }, [&] { return v1Tag_->setTrack(track); });
}

bool TagAPI::setGenreName(const std::vector<std::string>& genres) {
    if (genres.empty() && dialect().writesEmptyValues) return false;
    for (const std::string& genre : genres) learnGenre(genre);
    const bool result = changeV2([&] { return v2Tag_->setGenreName(genres); }, dialect().agreesWithoutTag);
    if (!v1Tag_ || !changesV1()) return result;
    if (!readV1()) return false;
    const auto index = v1GenreOf(genres);
    if (!index) return result;
    const bool isAboveLast = dialect().limitsV1Genres && *index > kLastV1Genre;
    if (!v1Tag_->setGenre(isAboveLast ? kGenreAboveLast : *index)) return false;
    modify_ = modify_ || isAboveLast || !dialect().overlooksSomeChanges;
    return result;
}

std::optional<std::int32_t> TagAPI::v1GenreOf(const std::vector<std::string>& genres) {
    const bool limited = dialect().limitsV1Genres;
    std::optional<std::int64_t> index;
    // The standard dialect knows "17" too.
    if (!genres.empty()) index = genreNumberOf(limited ? genres.front() : genreOf(genres.front()));
    if (limited) return index ? util::narrow<std::int32_t>(*index) : std::nullopt;
    return index && *index >= 0 && *index < kNoV1Genre ? static_cast<std::int32_t>(*index) : kNoV1Genre;
}

bool TagAPI::setDisk(std::int32_t disk, std::int32_t totalDisks) {
    return changeV2([&] { return v2Tag_->setDisk(disk, totalDisks); }, dialect().agreesWithoutTag);
}

bool TagAPI::setEncodedBy(const std::optional<std::string>& encoder) {
    return encoder && changeV2([&] { return v2Tag_->setEncodedBy(encoder); }, dialect().agreesWithoutTag);
}

bool TagAPI::setComposer(const std::optional<std::string>& composer) {
    return composer && changeV2([&] { return v2Tag_->setComposer(composer); }, dialect().agreesWithoutTag);
}

bool TagAPI::setAlbumArtist(std::string_view artist) {
    return changeV2([&] { return v2Tag_->setAlbumArtist(artist); }, false);
}

bool TagAPI::setImages(const std::vector<Picture>& pictures) {
    return changeV2([&] { return v2Tag_->setImages(pictures); }, false);
}

bool TagAPI::setFrame(std::shared_ptr<id3V2Frame> frame, bool replace) {
    return changeFrames([&] { return v2Tag_->addUpdateFrame(std::move(frame), replace, 0); });
}

bool TagAPI::setFrames(FrameArray frames) {
    return changeFrames([&] { return v2Tag_->setFrames(std::move(frames)); });
}

bool TagAPI::setContent(const std::vector<FrameContent>& contents, std::string_view identifier) {
    return changeFrames([&] { return v2Tag_->setContent(contents, identifier, true); },
                        !dialect().overlooksSomeChanges);
}

bool TagAPI::dropFrame(FrameID identifier) {
    // A tag that is not in the file yet may have been filled already.
    const bool isFilled = !dialect().agreesWithoutTag && v2Tag_ && !v2Tag_->frames().empty();
    return (v2TagPresent() || isFilled) && changeFrames([&] { return v2Tag_->dropFrame(identifier, -1); });
}

bool TagAPI::changeFrames(const Change& change, bool notes) {
    if (dialect().overlooksSomeChanges || !v2TagPresent() || !v1TagPresent()) return changeV2(change, false, notes);
    const SharedValues before = valuesOf(2);
    if (!changeV2(change, false, notes)) return false;
    const SharedValues after = valuesOf(2);
    bool done = true;
    if (after.title != before.title) done = v1Tag_->setTitle(after.title) && done;
    if (after.artist != before.artist) done = v1Tag_->setArtist(after.artist) && done;
    if (after.album != before.album) done = v1Tag_->setAlbum(after.album) && done;
    if (after.comments != before.comments) done = v1Tag_->setComment(after.comments) && done;
    if (after.year != before.year) done = v1Tag_->setYear(after.year) && done;
    if (after.track != before.track) done = v1Tag_->setTrack(after.track) && done;
    if (after.genres != before.genres)
        done =
            v1Tag_->setGenre(v1GenreOf(after.genres.value_or(std::vector<std::string>())).value_or(kNoV1Genre)) && done;
    return done;
}

}  // namespace quillet
