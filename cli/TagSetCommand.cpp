#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "cli/TagReading.hpp"
#include "cli/TagSaving.hpp"
#include "id3/ImageFormat.hpp"
#include "id3/Limits.hpp"
#include "util/Text.hpp"

namespace quillet::cli {

namespace {

constexpr std::int32_t kFrontCover = 3;
constexpr std::int32_t kOtherPicture = 0;

std::string cleaned(const std::string& text) {
    return id3V2Frame::cleanString(text);
}

bool isCover(const id3V2Tag& tag, const id3V2Frame& frame) {
    const auto picture = frame.majorVersion() == 2 ? tag.getImageFrom2Frame(frame) : tag.getImageFrom3Frame(frame);
    // A single picture of no type is what many taggers write for a cover.
    return picture && (picture->pictureType == decodeImageType(kFrontCover) ||
                       picture->pictureType == decodeImageType(kOtherPicture));
}

class TagSetEdit : public TagEdit {
  public:
    /// `cover` is the image that the options name; null for none.
    TagSetEdit(const SetOptions& options, const util::Data* cover) : options_(options), cover_(cover) {}

    EditOutcome change(TagAPI& api, const TagState& before) const override {
        EditOutcome outcome;
        // Readers of v2 tags alone must not lose what only the v1 tag says.
        if (before.v2Major == 0 && before.hasV1 && !api.copyV1TagToV2Tag()) {
            outcome.failure = "its ID3v1 tag cannot be copied to an ID3v2 tag";
            return outcome;
        }
        if (!setFields(api, before)) {
            outcome.failure = api.getV2Tag()->getErrorDescription().value_or(
                fmt::format("a tag of version 2.{} cannot be changed", api.v2TagVersion()));
            return outcome;
        }
        if (outcome.failure = setCover(api); !outcome.failure.empty()) return outcome;
        for (const FrameArgument& frame : options_.frames)
            if (outcome.failure = frame.apply(api); !outcome.failure.empty()) return outcome;
        outcome.after = TagState::of(api, false);
        return outcome;
    }

    std::string missing(TagAPI& reread, const TagState& before, const TagState& found) const override {
        if (!saysText(options_.title, reread.getTitle())) return "title";
        if (!saysText(options_.artist, reread.getArtist())) return "artist";
        if (!saysText(options_.album, reread.getAlbum())) return "album";
        if (!saysText(options_.albumArtist, reread.getAlbumArtist())) return "album artist";
        if (!saysText(options_.composer, reread.getComposer())) return "composer";
        if (!saysText(options_.comment, reread.getComments())) return "comment";
        if (options_.year && reread.getYear() != *options_.year) return "year";
        if (!saysNumber(options_.track, reread.getTrack(), reread.getTotalNumberTracks())) return "track";
        if (!saysNumber(options_.disc, reread.getDisk(), reread.getTotalNumberDisks())) return "disc";
        if (!saysGenres(reread)) return "genre";
        if (options_.cover) {
            const auto pictures = reread.getImage();
            const bool isThere =
                cover_ == nullptr ? pictures.empty() : !pictures.empty() && pictures.front().image == *cover_;
            if (!isThere) return "cover";
        }
        if (reread.v2TagPresent())
            for (const FrameArgument& frame : options_.frames)
                if (!frame.isHeldBy(*reread.getV2Tag())) return "frame " + frame.identifier;
        return before.v2Major == found.v2Major ? strayIn(*reread.getV2Tag(), before, found) : "";
    }

  private:
    static bool saysText(const std::optional<std::string>& wanted, const std::string& found) {
        return !wanted || cleaned(*wanted) == cleaned(found);
    }
    static bool saysNumber(const std::optional<NumberOfTotal>& wanted, std::int32_t number, std::int32_t total) {
        return !wanted || (wanted->number == number && (!wanted->total || *wanted->total == total));
    }

    bool saysGenres(TagAPI& reread) const {
        if (!options_.genres) return true;
        const auto found = reread.getGenreNames().value_or(std::vector<std::string>());
        std::vector<std::string> said, wanted;
        for (const std::string& genre : found) said.emplace_back(util::trimmed(genre));
        for (const std::string& genre : *options_.genres) {
            // A number or an abbreviation is read as the name that it stands for.
            const bool isNumber = std::ranges::all_of(genre, [](char one) { return one >= '0' && one <= '9'; });
            if (isNumber || genre == "RX" || genre == "CR") return !found.empty();
            const std::string name(util::trimmed(genre));
            if (std::ranges::find(wanted, name) == wanted.end()) wanted.push_back(name);
        }
        return said == wanted;
    }

    bool setFields(TagAPI& api, const TagState& before) const {
        bool done = true;
        const auto set = [&](const auto& wanted, auto setter) {
            if (wanted) done = (api.*setter)(*wanted) && done;
        };
        set(options_.title, &TagAPI::setTitle);
        set(options_.artist, &TagAPI::setArtist);
        set(options_.album, &TagAPI::setAlbum);
        set(options_.albumArtist, &TagAPI::setAlbumArtist);
        if (options_.composer) done = api.setComposer(options_.composer) && done;
        set(options_.comment, &TagAPI::setComments);
        set(options_.genres, &TagAPI::setGenreName);
        // A full date stays where its year is the one that is wanted.
        if (options_.year && !saysYear(api, before)) set(options_.year, &TagAPI::setYear);
        const auto totalOf = [](const NumberOfTotal& wanted, std::int32_t present) {
            return wanted.number == 0 ? 0 : wanted.total.value_or(present);
        };
        if (const auto& track = options_.track)
            done = api.setTrack(track->number, totalOf(*track, api.getTotalNumberTracks())) && done;
        if (const auto& disc = options_.disc)
            done = api.setDisk(disc->number, totalOf(*disc, api.getTotalNumberDisks())) && done;
        return done;
    }

    bool saysYear(TagAPI& api, const TagState& before) const {
        const bool inV2 = before.v2Major != 0 && api.getV2Tag()->getYear() == *options_.year;
        return inV2 && (!before.hasV1 || api.getV1Tag()->getYear() == *options_.year);
    }

    /// Why it cannot be done; "" where it was.
    std::string setCover(TagAPI& api) const {
        if (!options_.cover) return "";
        const id3V2Tag& tag = *api.getV2Tag();
        const FrameID identifier = tag.tagVersion() == 2 ? "PIC" : "APIC";
        if (cover_ == nullptr) {
            api.dropFrame(identifier);  // false where there is no tag to drop it from
            return "";
        }
        const auto version = static_cast<std::int32_t>(tag.tagVersion());
        auto cover = std::make_shared<id3V2Frame>(identifier, 0, 0, version, kStandardDialect);
        cover->writeImage(
            {*cover_, std::string(decodeImageType(kFrontCover)), std::string(mimeTypeOfImage(cover_->bytes())), ""});
        if (cover->getFrameLength() > kLargestFrame)
            return fmt::format("with this picture a frame would be larger than the {} bytes that readers take",
                               kLargestFrame);
        // Other pictures stay as they are, behind it.
        FrameArray frames = {cover};
        for (const auto& frame : tag.frames().titled(identifier))
            if (!isCover(tag, *frame)) frames.push_back(frame);
        return api.setFrames(std::move(frames)) ? "" : "its cover cannot be set";
    }

    /// A frame that nobody wished to change, and that is not what it was.
    std::string strayIn(const id3V2Tag& tag, const TagState& before, const TagState& found) const {
        std::set<std::string> wished = {TagChange::kWholeTag};
        const auto wish = [&](bool isWished, std::initializer_list<const char*> identifiers) {
            if (!isWished) return;
            for (const char* identifier : identifiers)
                wished.insert(tag.getActualFrameID(identifier).identifier.value_or(identifier));
        };
        wish(options_.title.has_value(), {"TIT2"});
        wish(options_.artist.has_value(), {"TPE1"});
        wish(options_.album.has_value(), {"TALB"});
        wish(options_.albumArtist.has_value(), {"TPE2"});
        wish(options_.composer.has_value(), {"TCOM"});
        wish(options_.comment.has_value(), {"COMM"});
        wish(options_.genres.has_value(), {"TCON"});
        wish(options_.year.has_value(), {"TYER", "TDRC", "TYE"});
        wish(options_.track.has_value(), {"TRCK"});
        wish(options_.disc.has_value(), {"TPOS"});
        wish(options_.cover.has_value(), {"APIC"});
        for (const FrameArgument& frame : options_.frames) wish(true, {frame.identifier.c_str()});
        for (const TagChange& change : changesBetween(before, found, Likeness::bytes))
            if (change.tag == "v2" && !wished.contains(change.id)) return change.name();
        return "";
    }

    const SetOptions& options_;
    const util::Data* cover_;
};

/// Why the image cannot be a cover; "" with its bytes in `cover`.
std::string readCover(const std::string& path, util::Data& cover) {
    AudioFile file;
    if (const util::Status opened = file.open(path); !opened.ok()) return reasonAgainstReading(opened, path);
    if (file.size() == 0) return "is empty";
    if (file.size() > kLargestFrame)
        return fmt::format("is larger than the {} bytes that readers take of a picture", kLargestFrame);
    cover = file.read(0, static_cast<std::size_t>(file.size()));
    if (cover.size() != file.size()) return "cannot be read to its end";
    return mimeTypeOfImage(cover.bytes()).empty() ? "is no image that is known (JPEG, PNG, GIF, WebP, BMP)" : "";
}

}  // namespace

int runTagSet(Console& console, const SetOptions& options) {
    util::Data cover;
    const bool hasCover = options.cover && !options.cover->empty();
    if (hasCover) {
        if (const std::string reason = readCover(*options.cover, cover); !reason.empty()) {
            console.error(fmt::format("{}: {}", shown(*options.cover), reason));
            return kSomeFailed;
        }
    }
    return saveTags(console, options.files, TagSetEdit(options, hasCover ? &cover : nullptr));
}

}  // namespace quillet::cli
