#include <memory>
#include <utility>

#include <zlib.h>

#include "id3/ImageFormat.hpp"
#include "id3/Limits.hpp"
#include "id3/TextTerminator.hpp"
#include "id3/id3V2Frame.hpp"
#include "util/Narrow.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

/// Format flags that add a field before the frame's content (ID3v2.3.0 3.3.1, ID3v2.4.0 structure 4.1.2).
constexpr std::uint8_t kGrouped3 = 0x20;
constexpr std::uint8_t kGrouped4 = 0x40;
constexpr std::uint8_t kHasDataLength4 = 0x01;

/// A picture's type where none is given, and the length of a format in 2.2 (ID3v2.2.0 4.15).
constexpr std::int32_t kFrontCover = 3;
constexpr std::size_t kPictureFormatLength = 3;

util::Data dataOf(std::string bytes) {
    const auto owner = std::make_shared<const std::string>(std::move(bytes));
    return {owner, util::bytesOf(*owner)};
}

/// The low bits of `value` in `count` bytes of `bits` bits each, the highest first.
std::string bigEndian(std::uint32_t value, unsigned count, unsigned bits) {
    std::string bytes;
    for (unsigned i = count; i-- > 0;) bytes += static_cast<char>(value >> (i * bits) & ((1U << bits) - 1));
    return bytes;
}

/// zlib's one-shot compression; nullopt where it fails or is not shorter than what it is made of.
std::optional<std::string> compressed(util::Bytes bytes) {
    std::string stream(bytes.size(), '\0');
    uLongf length = util::lowBits<uLongf>(stream.size());
    const int result = ::compress(reinterpret_cast<Bytef*>(stream.data()), &length, bytes.data(), length);
    if (result != Z_OK) return std::nullopt;
    stream.resize(length);
    return stream;
}

/// With a zero behind each 0xFF, whatever follows it.
std::string unsynchronised(std::string_view bytes) {
    std::string escaped;
    escaped.reserve(bytes.size() + bytes.size() / 64);
    for (const char byte : bytes) {
        escaped += byte;
        if (byte == '\xff') escaped += '\0';
    }
    return escaped;
}

/// The first `length` characters, as many zeros as are missing put behind.
std::string identifierText(FrameID identifier, std::size_t length) {
    std::string text = identifier.text();
    text.resize(length);
    return text;
}

/// nullopt for what is no answer of decodeImageType; "Unknown" is 0, other.
std::optional<std::int32_t> pictureTypeNamed(std::string_view name) {
    for (std::int32_t type = 0; type < kPictureTypes; ++type) {
        if (decodeImageType(type) == name) return type;
    }
    if (name == decodeImageType(kPictureTypes)) return 0;
    return std::nullopt;
}

std::string_view untilNul(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

}  // namespace

std::shared_ptr<id3V2Frame> id3V2Frame::initTextFrame(FrameID frameID, std::uint8_t firstFlag, std::uint8_t secondFlag,
                                                      std::string_view text, std::int32_t coding, std::int32_t version,
                                                      const Dialect& dialect) {
    auto frame = std::make_shared<id3V2Frame>(util::Data(), frameID, firstFlag, secondFlag, version, dialect);
    const TextEncoding encoding = frame->convertTextCodingByte(frame->getTextCodingByte(coding));
    const bool wide = coding == 1 || encoding == TextEncoding::utf16BigEndian;
    frame->setBody(frame->encodedText(text, coding) + std::string(wide ? 2 : 1, '\0'));
    return frame;
}

bool id3V2Frame::writeTextFrame(std::string_view text, std::int32_t coding) {
    setBody(encodedText(text, coding) + std::string(zerosBehind(coding), '\0'));
    return true;
}

bool id3V2Frame::writeCommentToFrame(std::string_view text, std::string_view language, std::int32_t coding) {
    const std::uint8_t codingByte = getTextCodingByte(coding);
    std::string bytes(1, static_cast<char>(codingByte));
    const auto letters = util::encodeLatin1(language);
    if (!letters || letters->size() < 3) {
        setBody(std::move(bytes));
        length_ = 0;
        return false;
    }
    bytes += letters->substr(0, 3);
    const TextEncoding encoding = convertTextCodingByte(codingByte);
    if (!dialect_->endsTextWithTwoZeros) bytes += encode("", encoding);  // a mark, where it has one
    bytes.append(zerosBehind(coding), '\0');
    bytes += encode(text, encoding);
    setBody(std::move(bytes));
    return true;
}

bool id3V2Frame::appendDataToFrame(const util::Data& data, bool newFrame) {
    if (newFrame || !frame_) {
        stored_.reset();
        frame_ = data;
        length_ = util::lowBits<std::uint32_t>(data.size());
        return true;
    }
    std::string bytes(util::charactersOf(frame_->bytes()));
    bytes += util::charactersOf(data.bytes());
    setBody(std::move(bytes));
    return true;
}

std::optional<util::Data> id3V2Frame::getCompleteRawFrame() const {
    std::string raw;
    if (!appendCompleteRawFrame(raw, majorVersion_ == 3 || iTunesV24Compat_)) return std::nullopt;
    return dataOf(std::move(raw));
}

bool id3V2Frame::appendCompleteRawFrame(std::string& tag, bool plainSize) const {
    if (majorVersion_ > 4) return true;
    if (stored_) return appendRawFrame(tag, util::charactersOf(stored_->bytes()), flagByte2_, plainSize);
    if (!frame_) return false;
    if (majorVersion_ <= 2) {
        tag += identifierText(frameID_, 3);
        tag += write2FrameLength(length_).value_or("");
        tag += util::charactersOf(body());
        return true;
    }
    std::uint8_t formatFlags = flagByte2_;
    if (!dialect_->readsFormatFieldsAtFixedPlaces) formatFlags = flagsWithoutFields();
    std::string working;  // where it is not the body itself
    if (compress()) {
        const auto stream = compressed(body());
        if (!stream) return false;
        const bool packed = majorVersion_ == 4 && !dialect_->readsFormatFieldsAtFixedPlaces;
        if (packed) formatFlags |= kHasDataLength4;
        working = (packed ? bigEndian(length_, 4, 7) : bigEndian(length_, 4, 8)) + *stream;
    }
    if (unsynch()) working = unsynchronised(working.empty() ? util::charactersOf(body()) : working);
    return appendRawFrame(tag, working.empty() ? util::charactersOf(body()) : working, formatFlags, plainSize);
}

bool id3V2Frame::appendRawFrame(std::string& tag, std::string_view content, std::uint8_t formatFlags,
                                bool plainSize) const {
    const auto size = util::lowBits<std::uint32_t>(content.size());
    tag += identifierText(frameID_, 4);
    tag += plainSize ? write3FrameLength(size) : write4FrameLength(size).value_or("");
    tag += static_cast<char>(flagByte1_);
    tag += static_cast<char>(formatFlags);
    tag += content;
    return true;
}

std::uint8_t id3V2Frame::flagsWithoutFields() const {
    const int fields = majorVersion_ == 3 ? kGrouped3 : kGrouped4 | kHasDataLength4;
    return util::lowBits<std::uint8_t>(flagByte2_ & ~fields);
}

bool id3V2Frame::writeImage(const Picture& picture) {
    const bool version2 = majorVersion_ < 3;
    // A picture of a 2.2 tag may have been read with type and format in each other's place.
    const bool swapped = pictureTypeNamed(picture.mimeType).has_value();
    const std::string& typeName = swapped ? picture.mimeType : picture.pictureType;
    std::string_view mimeType = untilNul(swapped ? picture.pictureType : picture.mimeType);
    if (mimeType.empty()) mimeType = mimeTypeOfImage(picture.image.bytes());
    if (mimeType.empty()) mimeType = "image/";  // as good as none (ID3v2.3.0 4.15)
    const std::int32_t type = typeName.empty() ? kFrontCover : pictureTypeNamed(typeName).value_or(0);
    const std::string_view description = untilNul(picture.description);
    // The reader of the system dialect finds the picture behind a Latin-1 description alone.
    const bool wide = !dialect_->findsTerminatorsByByte && !util::encodeLatin1(description);
    const TextEncoding encoding = wide ? TextEncoding::utf16WithMark : TextEncoding::latin1;

    std::string bytes(1, wide ? '\1' : '\0');
    if (version2) {
        std::string format = util::encodeLatin1Lossy(formatOfMimeType(mimeType));
        format.resize(kPictureFormatLength);
        bytes += format;
    } else {
        bytes += util::encodeLatin1Lossy(mimeTypeOfFormat(mimeType)) + '\0';
    }
    bytes += static_cast<char>(type);
    bytes += encode(description, encoding) + std::string(terminatorLength(encoding), '\0');
    bytes += util::charactersOf(picture.image.bytes());
    setBody(std::move(bytes));
    return true;
}

std::optional<std::string> id3V2Frame::write2FrameLength(std::uint32_t length) {
    if (length >> 24 != 0) return std::nullopt;
    return bigEndian(length, 3, 8);
}

std::string id3V2Frame::write3FrameLength(std::uint32_t length) {
    return bigEndian(length, 4, 8);
}

std::optional<std::string> id3V2Frame::write4FrameLength(std::uint32_t length) {
    if (length >> 29 != 0) return std::nullopt;
    return bigEndian(length, 4, 7);
}

std::string id3V2Frame::genreStringFromArray(const std::vector<std::string>& genres) {
    std::string text;
    for (const std::string& genre : genres) text += genre + '\0';
    return text;
}

std::string id3V2Frame::encodedText(std::string_view text, std::int32_t coding) const {
    const std::uint8_t codingByte = getTextCodingByte(coding);
    return static_cast<char>(codingByte) + encode(text, convertTextCodingByte(codingByte));
}

std::size_t id3V2Frame::zerosBehind(std::int32_t coding) const {
    if (dialect_->endsTextWithTwoZeros) return coding == 0 ? 1 : 2;
    return terminatorLength(convertTextCodingByte(getTextCodingByte(coding)));
}

void id3V2Frame::setBody(std::string bytes) {
    stored_.reset();
    frame_ = dataOf(std::move(bytes));
    length_ = util::lowBits<std::uint32_t>(frame_->size());
}

}  // namespace quillet
