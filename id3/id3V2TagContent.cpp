#include <algorithm>
#include <limits>
#include <utility>

#include "id3/FieldIdentifiers.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/Log.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

std::int32_t integerOf(std::string_view text) {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(util::integerValue(text), Limits::min(), Limits::max()));
}

bool isFilled(const std::optional<std::string>& text) {
    return text && !text->empty();
}

}  // namespace

ResolvedFrame id3V2Tag::getActualFrameID(std::string_view identifier) const {
    const std::string_view own = FrameLibrary::versionKey(majorVersion_);
    if (const auto* record = library_.record(own, identifier)) return {std::string(identifier), record};

    const std::string_view others[] = {own == "2.4" ? "2.3" : "2.4", own == "2.0" ? "2.3" : "2.0"};
    ResolvedFrame resolved;
    for (const std::string_view other : others) {
        const auto* foreign = library_.record(other, identifier);
        const auto* translated = foreign == nullptr ? nullptr : util::find(*foreign, own);
        const std::string* translation = translated == nullptr ? nullptr : translated->text();
        if (translation == nullptr) continue;
        resolved = {*translation, library_.record(own, *translation)};
        if (resolved.record != nullptr) break;
    }
    return resolved;
}

std::optional<std::vector<FrameContent>> id3V2Tag::getContentForFrameID(std::string_view identifier) const {
    const ResolvedFrame resolved = getActualFrameID(identifier);
    if (!resolved.identifier) {
        util::log("Method getContentForFrameID: Could not resolve correct frame ID for :" + std::string(identifier));
        return std::nullopt;
    }
    if (resolved.record == nullptr) {
        util::log("Method getContentForFrameID: Could not resolve correct frame ID library record for :" +
                  *resolved.identifier);
        return std::nullopt;
    }
    const FrameArray frames = frameSet_.titled(FrameID(*resolved.identifier));
    if (frames.empty()) {
        util::log("no objectsFound");
        return std::nullopt;
    }
    const bool isText = FrameLibrary::flagOf(*resolved.record, "text");
    std::vector<FrameContent> contents;
    for (const auto& frame : frames) {
        if (!frame->getRawFrameData()) continue;
        if (isText) {
            contents.emplace_back(frame->getTextFromFrame().value_or(""));
        } else {
            contents.emplace_back(*frame->getRawFrameData());
        }
    }
    return contents;
}

const id3V2Frame* id3V2Tag::fieldFrame(const FieldIdentifiers& identifiers) const {
    if (!present_ || majorVersion_ > 4) return nullptr;
    return frameSet_.first(identifierIn(identifiers, majorVersion_));
}

std::optional<std::string> id3V2Tag::fieldText(const FieldIdentifiers& identifiers) const {
    const id3V2Frame* frame = fieldFrame(identifiers);
    return frame == nullptr ? std::nullopt : frame->getTextFromFrame();
}

std::optional<std::string> id3V2Tag::getTitle() const {
    return fieldText(field::kTitle);
}
std::optional<std::string> id3V2Tag::getArtist() const {
    return fieldText(field::kArtist);
}
std::optional<std::string> id3V2Tag::getAlbumArtist() const {
    return fieldText(field::kAlbumArtist);
}
std::optional<std::string> id3V2Tag::getAlbum() const {
    return fieldText(field::kAlbum);
}
std::string id3V2Tag::getEncodedBy() const {
    return fieldText(field::kEncodedBy).value_or("");
}
std::string id3V2Tag::getComposer() const {
    return fieldText(field::kComposer).value_or("");
}

std::int32_t id3V2Tag::absentNumber() const {
    return dialect_->answersMinusOneForAbsent ? -1 : 0;
}

std::int32_t id3V2Tag::getYear() const {
    if (!dialect_->readsYearFromOneFrame) {
        for (const FieldIdentifiers& years : {field::kYear, field::kOtherYear}) {
            const std::string text = fieldText(years).value_or("");
            const std::int32_t year = integerOf(util::trimmed(text).substr(0, 4));
            if (year > 0) return year;
        }
        return absentNumber();
    }
    const id3V2Frame* frame = fieldFrame(field::kYear);
    if (frame == nullptr) return absentNumber();
    std::string text = frame->getTextFromFrame().value_or("");
    if (majorVersion_ == 4) text.resize(std::min(text.find('-'), text.size()));
    return integerOf(text);
}

std::int32_t id3V2Tag::getTrack() const {
    return fieldNumber(field::kTrack, numberInSetString);
}
std::int32_t id3V2Tag::getTotalNumberTracks() const {
    return fieldNumber(field::kTrack, setSizeInSetString);
}
std::int32_t id3V2Tag::getDisk() const {
    return fieldNumber(field::kDisk, numberInSetString);
}
std::int32_t id3V2Tag::getTotalNumberDisks() const {
    return fieldNumber(field::kDisk, setSizeInSetString);
}

std::int32_t id3V2Tag::fieldNumber(const FieldIdentifiers& identifiers, std::int32_t (*part)(std::string_view)) const {
    const id3V2Frame* frame = fieldFrame(identifiers);
    if (frame == nullptr) return absentNumber();
    const std::int32_t number = part(frame->getTextFromFrame().value_or(""));
    const bool isNone = number < 0 || number == std::numeric_limits<std::int32_t>::max();
    return isNone && !dialect_->clampsNumbers ? 0 : number;
}

std::int32_t id3V2Tag::numberInSetString(std::string_view text) {
    return integerOf(text.substr(0, text.find('/')));
}

std::int32_t id3V2Tag::setSizeInSetString(std::string_view text) {
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos) return 0;
    return numberInSetString(text.substr(slash + 1));
}

std::optional<std::vector<std::string>> id3V2Tag::getGenreNames() const {
    const id3V2Frame* frame = fieldFrame(field::kGenre);
    if (frame == nullptr) return std::nullopt;
    auto genres = frame->genreArrayFromFrame();
    if (genres.empty()) return std::nullopt;
    return genres;
}

std::optional<std::string> id3V2Tag::getComments() const {
    const id3V2Frame* first = fieldFrame(field::kComment);
    if (first == nullptr) return "";
    return dialect_->joinsDescriptionAndComment ? lastComment(first->getFrameID()) : firstComment(first->getFrameID());
}

std::optional<std::string> id3V2Tag::lastComment(FrameID identifier) const {
    std::optional<std::string> plain;
    std::optional<std::string> described;
    bool describedIsLast = false;
    for (const auto& frame : frameSet_.all()) {
        if (frame->getFrameID() != identifier) continue;
        const auto description = frame->getShortCommentFromFrame();
        if (isMachineComment(description)) continue;
        auto text = frame->getCommentFromFrame();
        if (!isFilled(text)) continue;
        describedIsLast = isFilled(description);
        if (describedIsLast) {
            described = *description + " " + *text;
        } else {
            plain = std::move(text);
        }
    }
    return describedIsLast ? described : plain;
}

std::optional<std::string> id3V2Tag::firstComment(FrameID identifier) const {
    std::optional<std::string> described;
    for (const auto& frame : frameSet_.all()) {
        if (frame->getFrameID() != identifier) continue;
        const auto description = frame->getShortCommentFromFrame();
        if (isMachineComment(description)) continue;
        auto text = frame->getCommentFromFrame();
        if (!isFilled(text)) continue;
        if (!isFilled(description)) return text;
        if (!described) described = std::move(text);
    }
    return described;
}

bool id3V2Tag::isMachineComment(const std::optional<std::string>& description) const {
    const util::PropertyArray* prefixes = library_.commentPrefixes();
    if (prefixes == nullptr || !description) return false;  // without room for a description there is no text either
    return std::ranges::any_of(*prefixes, [&](const util::PropertyValue& prefix) {
        const std::string* text = prefix.text();
        return text != nullptr && !text->empty() && description->starts_with(*text);
    });
}

}  // namespace quillet
