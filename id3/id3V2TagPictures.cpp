#include <algorithm>
#include <array>
#include <utility>

#include "id3/CStringEncoding.hpp"
#include "id3/FieldIdentifiers.hpp"
#include "id3/ImageFormat.hpp"
#include "id3/TextTerminator.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/ByteReader.hpp"
#include "util/Log.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

using util::ByteReader;
using util::Bytes;

constexpr std::array<std::string_view, kPictureTypes> kPictureTypeNames = {
    "Other",
    "32x32 pixels 'file icon'",
    "Other file icon",
    "Cover (front)",
    "Cover (back)",
    "Leaflet page",
    "Media (e.g. label side of CD)",
    "Lead artist/lead performer/soloist",
    "Artist/performer",
    "Conductor",
    "Band/Orchestra",
    "Composer",
    "Lyricist/text writer",
    "Recording Location",
    "During recording",
    "During performance",
    "Movie/video screen capture",
    "A bright coloured fish",
    "Illustration",
    "Band/artist logotype",
    "Publisher/Studio logotype",
};

/// A picture type is read as signed; what is negative has no name.
std::string pictureTypeOfByte(std::uint8_t byte) {
    return std::string(decodeImageType(static_cast<std::int8_t>(byte)));
}

/// Where a description ends and the picture begins, as indexes into the body.
struct DescriptionEnd {
    std::size_t end;
    std::size_t imageStart;
};

/// By the character. nullopt where the description has no end.
std::optional<DescriptionEnd> endByCharacter(Bytes body, std::size_t start, TextEncoding encoding) {
    const auto length = terminatorIn(body.subspan(start), encoding);
    if (!length) return std::nullopt;
    return DescriptionEnd{start + *length, start + *length + terminatorLength(encoding)};
}

/// By the rules for runs of zeros: with a positive coding byte the last zero of a run ends the description, and every
/// coding byte but 0 counts two bytes for the terminator. nullopt without a byte of a description.
std::optional<DescriptionEnd> endByRunOfZeros(Bytes body, std::size_t start, std::uint8_t coding) {
    if (body.size() <= start) return std::nullopt;
    // One byte more than the last index that is looked at, for the byte behind a zero.
    const Bytes searched = body.subspan(start, body.size() - 1 - start);
    const bool positive = static_cast<std::int8_t>(coding) > 0;
    const auto ends = [positive](std::uint8_t a, std::uint8_t b) { return a == 0 && (!positive || b != 0); };
    const auto found = std::ranges::adjacent_find(searched, ends);
    const auto last = found == searched.end() && !searched.empty() ? found - 1 : found;
    const std::size_t end = start + static_cast<std::size_t>(last - searched.begin());
    return DescriptionEnd{end, end + (coding == 0 ? 1 : 2)};
}

/// What the system takes for the description of coding bytes other than 0: with what follows its end.
Bytes descriptionAndBehind(Bytes body, std::size_t start, DescriptionEnd at) {
    return body.subspan(start, std::min(at.end + 2, body.size()) - start);
}

std::string cString(Bytes bytes) {
    return defaultCStringEncoding().decode(bytes);
}

}  // namespace

std::string_view decodeImageType(std::int32_t type) {
    if (type < 0 || type >= kPictureTypes) return "Unknown";
    return kPictureTypeNames[static_cast<std::size_t>(type)];
}

std::vector<Picture> id3V2Tag::getImage() const {
    std::vector<Picture> pictures;
    if (!present_ || majorVersion_ > 4) return pictures;
    const bool version2 = majorVersion_ < 3;
    for (const auto& frame : frameSet_.all()) {
        if (frame->getFrameID() != identifierIn(field::kPicture, majorVersion_)) continue;
        auto picture = version2 ? getImageFrom2Frame(*frame) : getImageFrom3Frame(*frame);
        if (picture) {
            pictures.push_back(std::move(*picture));
        } else {
            util::log("Failed to find a valid image in APIC frame");
        }
    }
    return pictures;
}

std::optional<Picture> id3V2Tag::getImageFrom2Frame(const id3V2Frame& frame) const {
    if (!frame.getRawFrameData()) return std::nullopt;
    ByteReader reader(frame.getRawFrameData()->bytes());
    const auto coding = reader.u8();
    const auto format = reader.take(3);
    const auto type = reader.u8();
    if (!coding || !format || !type) return std::nullopt;

    auto picture = pictureBehindHeader(frame, frame.getRawFrameData()->size() - reader.remaining(), true);
    if (!picture) return std::nullopt;
    if (dialect_->swapsPictureKeys) {
        picture->pictureType = cString(*format);
        picture->mimeType = pictureTypeOfByte(*type);
    } else {
        picture->pictureType = pictureTypeOfByte(*type);
        picture->mimeType = mimeTypeOfFormat(cString(*format));
    }
    return picture;
}

std::optional<Picture> id3V2Tag::getImageFrom3Frame(const id3V2Frame& frame) const {
    if (!frame.getRawFrameData()) return std::nullopt;
    ByteReader reader(frame.getRawFrameData()->bytes());
    reader.skip(1);  // the coding byte
    const auto mimeLength = terminatorIn(reader.rest(), TextEncoding::latin1);
    if (!mimeLength) return std::nullopt;
    const auto mimeType = reader.take(*mimeLength + 1);
    const auto type = reader.u8();
    if (!mimeType || !type) return std::nullopt;

    auto picture = pictureBehindHeader(frame, frame.getRawFrameData()->size() - reader.remaining(), false);
    if (!picture) return std::nullopt;
    picture->mimeType =
        dialect_->keepsNulOfMimeType ? cString(*mimeType) : mimeTypeOfFormat(cString(mimeType->first(*mimeLength)));
    picture->pictureType = pictureTypeOfByte(*type);
    return picture;
}

std::optional<Picture> id3V2Tag::pictureBehindHeader(const id3V2Frame& frame, std::size_t start, bool version2) const {
    const util::Data& data = *frame.getRawFrameData();
    const Bytes body = data.bytes();
    const std::uint8_t coding = ByteReader(body).u8().value_or(0);
    const TextEncoding encoding = frame.convertTextCodingByte(coding);
    const auto at =
        dialect_->findsTerminatorsByByte ? endByRunOfZeros(body, start, coding) : endByCharacter(body, start, encoding);
    if (!at) return std::nullopt;
    const Bytes withBehind = descriptionAndBehind(body, start, *at);
    const bool isText = util::isUTF8(util::charactersOf(withBehind));

    std::size_t imageStart = at->imageStart;
    if (dialect_->findsTerminatorsByByte) {
        // Meant so: a picture's first byte is usually no UTF-8, which is how a wide terminator's last byte is told from
        // it, but not in 2.2, where pictures behind such descriptions lack their first byte.
        if (coding != 0 && !isText && !version2) --imageStart;
        const auto behind = body.subspan(std::min(imageStart, body.size()));
        if (!behind.empty() && behind.front() == 0) ++imageStart;
    }
    // Meant so: in 2.2 a picture may be empty.
    const bool mayBeEmpty = version2 && dialect_->findsTerminatorsByByte;
    if (imageStart > body.size() || (imageStart == body.size() && !mayBeEmpty)) return std::nullopt;

    Picture picture;
    const std::size_t length = at->end - start;
    if (!dialect_->misplacesPictureDescription) {
        picture.description = id3V2Frame::decode(body.subspan(start, length), encoding);
    } else if (coding == 0) {
        picture.description = cString(body.subspan(version2 ? start : 0, length + 1));
    } else if (isText) {
        picture.description = util::charactersOf(withBehind);
    }
    if (auto image = data.slice(imageStart, body.size() - imageStart)) picture.image = std::move(*image);
    return picture;
}

}  // namespace quillet
