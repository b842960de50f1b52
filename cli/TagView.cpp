#include "cli/TagView.hpp"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/TrackView.hpp"

namespace quillet::cli {

namespace {

using Json = nlohmann::ordered_json;

Json textOrNull(const std::optional<std::string>& text) {
    return text && !text->empty() ? Json(*text) : Json(nullptr);
}

Json numberOrNull(std::int64_t number) {
    return number > 0 ? Json(number) : Json(nullptr);
}

}  // namespace

std::string TagView::v2Version() const {
    const id3V2Tag* tag = v2();
    return tag == nullptr ? "" : fmt::format("2.{}.{}", tag->tagVersion(), tag->minorVersion());
}

std::vector<std::string> TagView::warnings() const {
    std::vector<std::string> warnings = api_.remarks();
    if (warnings.empty() && !log_.firstLine().empty()) warnings.push_back(log_.firstLine());
    return warnings;
}

std::vector<std::string> TagView::flagsOf(const id3V2Frame& frame) {
    const std::pair<bool, const char*> kFlags[] = {{frame.dropIfTagChange(), "dropIfTagChange"},
                                                   {frame.dropIfFileChange(), "dropIfFileChange"},
                                                   {frame.readOnly(), "readOnly"},
                                                   {frame.compress(), "compressed"},
                                                   {frame.encrypted(), "encrypted"},
                                                   {frame.unsynch(), "unsynchronised"}};
    std::vector<std::string> names;
    for (const auto& [isSet, name] : kFlags)
        if (isSet) names.emplace_back(name);
    return names;
}

Json TagView::jsonOf(const id3V2Frame& frame) {
    return {{"id", frame.getFrameID().text()}, {"size", frame.getFrameLength()}, {"flags", flagsOf(frame)}};
}

Json TagView::jsonOf(const Picture& picture) {
    return {{"type", textOrNull(picture.pictureType)},
            {"mime", textOrNull(picture.mimeType)},
            {"description", textOrNull(picture.description)},
            {"bytes", picture.image.size()},
            {"md5", picture.image.MD5()}};
}

Json TagView::v1Json() const {
    if (!api_.v1TagPresent()) return nullptr;
    const id3V1Tag& tag = *api_.getV1Tag();
    // The name of a genre's number is the facade's to find.
    api_.selectTag(1);
    const auto genres = api_.getGenreNames();
    api_.selectTag(0);
    return {{"title", textOrNull(tag.getTitle())},
            {"artist", textOrNull(tag.getArtist())},
            {"album", textOrNull(tag.getAlbum())},
            {"year", numberOrNull(tag.getYear())},
            {"comment", textOrNull(tag.getComment())},
            {"track", numberOrNull(tag.getTrack())},
            {"genre", genres && !genres->empty() ? textOrNull(genres->front()) : Json(nullptr)}};
}

Json TagView::v2Json() const {
    const id3V2Tag* tag = v2();
    if (tag == nullptr) return nullptr;
    Json frames = Json::array();
    for (const auto& frame : tag->frames().all()) frames.push_back(jsonOf(*frame));
    return {{"version", v2Version()},
            {"tagLength", tag->tagLength()},
            {"padding", tag->getPaddingLength()},
            {"frames", std::move(frames)}};
}

Json TagView::json() const {
    Json object;
    addFileName(object, "file", path_);
    object["title"] = textOrNull(api_.getTitle());
    object["artist"] = textOrNull(api_.getArtist());
    object["album"] = textOrNull(api_.getAlbum());
    object["albumArtist"] = textOrNull(api_.getAlbumArtist());
    object["track"] = numberOrNull(api_.getTrack());
    object["trackCount"] = numberOrNull(api_.getTotalNumberTracks());
    object["disc"] = numberOrNull(api_.getDisk());
    object["discCount"] = numberOrNull(api_.getTotalNumberDisks());
    object["year"] = numberOrNull(api_.getYear());
    object["genres"] = api_.getGenreNames().value_or(std::vector<std::string>());
    object["comment"] = textOrNull(api_.getComments());
    object["composer"] = textOrNull(api_.getComposer());
    object["encodedBy"] = textOrNull(api_.getEncodedBy());
    Json& pictures = object["pictures"] = Json::array();
    for (const Picture& picture : api_.getImage()) pictures.push_back(jsonOf(picture));
    audio().addTo(object);
    object["v1"] = v1Json();
    object["v2"] = v2Json();
    return object;
}

}  // namespace quillet::cli
