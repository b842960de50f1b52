#include <algorithm>
#include <string>
#include <utility>

#include "id3/FieldIdentifiers.hpp"
#include "id3/Limits.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/Log.hpp"

namespace quillet {

namespace {

// Text encodings as a frame's coding byte has them (ID3v2.4.0 structure 4).
constexpr std::int32_t kLatin1 = 0;
constexpr std::int32_t kUTF16 = 1;
constexpr std::string_view kLanguage = "eng";

/// What every version and reader knows: ASCII as it is, all else in UTF-16.
std::int32_t automaticCoding(std::string_view text) {
    const bool isASCII = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    return isASCII ? kLatin1 : kUTF16;
}

/// 10000000 as "10,000,000".
std::string grouped(std::size_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t place = digits.size(); place > 3; place -= 3) digits.insert(place - 3, ",");
    return digits;
}

bool isEmpty(const FrameContent& content) {
    const auto* text = std::get_if<std::string>(&content);
    return text != nullptr ? text->empty() : std::get_if<util::Data>(&content)->empty();
}

}  // namespace

bool id3V2Tag::isTakenByReaders(const id3V2Frame& frame, std::string_view what) {
    const std::size_t size = frame.getRawFrameData() ? frame.getRawFrameData()->size() : 0;
    if (size <= kLargestFrame) return true;
    return refuse("a " + std::string(what) + " of " + grouped(size) + " bytes is larger than the " +
                  grouped(kLargestFrame) + " that readers take");
}

bool id3V2Tag::setField(std::shared_ptr<id3V2Frame> frame) {
    if (!isTakenByReaders(*frame, "text")) return false;
    return dialect_->replacesFirstFrameAlone ? addUpdateFrame(std::move(frame), true, 0) : setFrames({frame});
}

bool id3V2Tag::setText(const FieldIdentifiers& field, std::string_view text, std::int32_t coding) {
    const FrameID identifier = identifierIn(field, majorVersion_);
    if (identifier.empty()) return false;
    if (text.empty() && !dialect_->writesEmptyValues) return dropFrame(identifier, -1);
    return setField(id3V2Frame::initTextFrame(identifier, 0, 0, text, coding, frameVersion(), *dialect_));
}

bool id3V2Tag::setText(const FieldIdentifiers& field, std::string_view text) {
    return setText(field, text, automaticCoding(text));
}

bool id3V2Tag::setTitle(std::string_view title) {
    return setText(field::kTitle, title);
}
bool id3V2Tag::setArtist(std::string_view artist) {
    return setText(field::kArtist, artist);
}
bool id3V2Tag::setAlbumArtist(std::string_view artist) {
    return setText(field::kAlbumArtist, artist);
}
bool id3V2Tag::setAlbum(std::string_view album) {
    return setText(field::kAlbum, album);
}
bool id3V2Tag::setComposer(const std::optional<std::string>& composer) {
    return composer && setText(field::kComposer, *composer);
}
bool id3V2Tag::setEncodedBy(const std::optional<std::string>& encoder) {
    return encoder && setText(field::kEncodedBy, *encoder);
}

bool id3V2Tag::setYear(std::int32_t year) {
    // A year of the other version would answer where this one is missing, and readers differ in which they believe.
    if (const FrameID other = identifierIn(field::kOtherYear, majorVersion_);
        !dialect_->readsYearFromOneFrame && !other.empty()) {
        dropFrame(other, -1);
    }
    // Day and time of another year say nothing of this one.
    if (!dialect_->readsYearFromOneFrame && majorVersion_ < 4 && year != getYear()) {
        for (const char* identifier : {"TDAT", "TIME", "TDA", "TIM"}) dropFrame(identifier, -1);
    }
    return setText(field::kYear, year < 1 && !dialect_->writesEmptyValues ? "" : std::to_string(year), kLatin1);
}

bool id3V2Tag::setTrack(std::int32_t track, std::int32_t totalTracks) {
    return setNumberOf(field::kTrack, track, totalTracks);
}
bool id3V2Tag::setDisk(std::int32_t disk, std::int32_t totalDisks) {
    return setNumberOf(field::kDisk, disk, totalDisks);
}

bool id3V2Tag::setNumberOf(const FieldIdentifiers& field, std::int32_t number, std::int32_t total) {
    std::string text;
    if (number >= 1 || dialect_->writesEmptyValues) text = std::to_string(number);
    if (!text.empty() && (total >= 1 || dialect_->writesEmptyValues)) text += "/" + std::to_string(total);
    return setText(field, text, kLatin1);
}

bool id3V2Tag::setGenreName(const std::vector<std::string>& genres) {
    const FrameID identifier = identifierIn(field::kGenre, majorVersion_);
    if (identifier.empty()) return false;
    if (dialect_->writesSomeTextsInUTF16) {
        auto frame = std::make_shared<id3V2Frame>(identifier, 0, 0, frameVersion(), *dialect_);
        frame->writeTextFrame(id3V2Frame::genreStringFromArray(genres), kUTF16);
        return setField(std::move(frame));
    }
    std::string text;
    for (const std::string& genre : genres) {
        if (genre.empty()) continue;
        if (!text.empty()) text += '\0';
        // A name that would be taken for a reference has its parenthesis doubled (ID3v2.3.0 4.2.1, TCON).
        const auto alone = id3V2Frame::initTextFrame(identifier, 0, 0, genre, kUTF16, frameVersion(), kStandardDialect);
        if (genre.starts_with('(') && alone->genreArrayFromFrame() != std::vector{genre}) text += '(';
        text += genre;
    }
    return setText(field::kGenre, text);
}

bool id3V2Tag::setComments(std::string_view comment) {
    const FrameID identifier = identifierIn(field::kComment, majorVersion_);
    if (identifier.empty()) return false;
    FrameArray frames;
    for (auto& frame : frameSet_.titled(identifier)) {
        // One without a body cannot be told; it is encrypted, or in a form that was not understood.
        const bool stays = !frame->getRawFrameData() || isMachineComment(frame->getShortCommentFromFrame());
        if (stays) frames.push_back(std::move(frame));
    }
    if (!comment.empty() || dialect_->writesEmptyValues) {
        auto frame = std::make_shared<id3V2Frame>(identifier, 0, 0, frameVersion(), *dialect_);
        frame->writeCommentToFrame(comment, kLanguage, automaticCoding(comment));
        if (!isTakenByReaders(*frame, "comment")) return false;
        frames.push_back(std::move(frame));
    }
    return frames.empty() ? dropFrame(identifier, -1) : setFrames(std::move(frames));
}

bool id3V2Tag::setImages(const std::vector<Picture>& pictures) {
    const FrameID identifier = identifierIn(field::kPicture, majorVersion_);
    if (identifier.empty()) return false;
    FrameArray frames;
    for (const Picture& picture : pictures) {
        if (picture.image.empty() && !dialect_->writesEmptyValues) continue;
        auto frame = std::make_shared<id3V2Frame>(identifier, 0, 0, frameVersion(), *dialect_);
        frame->writeImage(picture);
        if (!isTakenByReaders(*frame, "picture")) return false;
        frames.push_back(std::move(frame));
    }
    return frames.empty() ? dropFrame(identifier, -1) : setFrames(std::move(frames));
}

bool id3V2Tag::setContent(const std::vector<FrameContent>& contents, std::string_view identifier, bool replace) {
    const ResolvedFrame resolved = getActualFrameID(identifier);
    if (!resolved.identifier) {
        util::log("Method setContent: forFrame replace: Could not resolve correct frame ID for :" +
                  std::string(identifier));
        return false;
    }
    if (resolved.record == nullptr) {
        util::log("Method setContent: forFrame replace: Could not resolve correct frame ID library record for :" +
                  *resolved.identifier);
        return false;
    }
    const FrameID own(*resolved.identifier);
    const bool multi = FrameLibrary::flagOf(*resolved.record, "multi");
    const bool isText = FrameLibrary::flagOf(*resolved.record, "text");
    FrameArray frames;
    for (const FrameContent& content : contents) {
        if (!isEmpty(content) || dialect_->writesEmptyValues) {
            frames.push_back(frameOf(content, own, isText));
            if (!isTakenByReaders(*frames.back(), "value")) return false;
        }
        if (!multi) break;
    }
    // Meant so: "replace" keeps what is there, behind the new ones.
    if (replace && multi) std::ranges::move(frameSet_.titled(own), std::back_inserter(frames));
    return frames.empty() && !contents.empty() ? dropFrame(own, -1) : setFrames(std::move(frames));
}

std::shared_ptr<id3V2Frame> id3V2Tag::frameOf(const FrameContent& content, FrameID identifier, bool isText) const {
    auto frame = std::make_shared<id3V2Frame>(identifier, 0, 0, frameVersion(), *dialect_);
    const auto* text = std::get_if<std::string>(&content);
    if (text == nullptr) {
        frame->appendDataToFrame(*std::get_if<util::Data>(&content), true);
    } else if (isText) {
        frame->writeTextFrame(*text, dialect_->writesSomeTextsInUTF16 ? kUTF16 : automaticCoding(*text));
    } else {
        frame->appendDataToFrame(util::Data::copyOf(util::bytesOf(*text)), true);
    }
    return frame;
}

}  // namespace quillet
