#include "id3/id3V2Frame.hpp"

#include <utility>

#include "id3/Limits.hpp"
#include "id3/TextTerminator.hpp"
#include "util/Narrow.hpp"
#include "util/Text.hpp"

namespace quillet {

id3V2Frame::id3V2Frame(FrameID frameID, std::uint8_t firstFlag, std::uint8_t secondFlag, std::int32_t version,
                       const Dialect& dialect)
    : frameID_(frameID), majorVersion_(version), flagByte1_(firstFlag), flagByte2_(secondFlag), dialect_(&dialect) {}

std::uint32_t id3V2Frame::length() const {
    return (stored_ ? static_cast<std::uint32_t>(stored_->size()) : length_) +
           (majorVersion_ < 3 ? kFrameHeaderLength20 : kFrameHeaderLength);
}

bool id3V2Frame::isEqual(const id3V2Frame& other) const {
    return frameID_ == other.frameID_ && frame_ == other.frame_ && length() == other.length();
}

bool id3V2Frame::isWrittenLike(const id3V2Frame& other) const {
    if (frameID_ != other.frameID_ || flagByte1_ != other.flagByte1_) return false;
    if (stored_ && other.stored_) return flagByte2_ == other.flagByte2_ && *stored_ == *other.stored_;
    return frame_ && frame_ == other.frame_;
}

bool id3V2Frame::isFlagSet(std::uint8_t byte, std::uint8_t mask3, std::uint8_t mask4) const {
    if (majorVersion_ != 3 && majorVersion_ != 4) return false;
    return (byte & (majorVersion_ == 3 ? mask3 : mask4)) != 0;
}

bool id3V2Frame::setFlag(std::uint8_t& byte, std::uint8_t clearedFrom, std::uint8_t mask3, std::uint8_t mask4,
                         bool value) {
    if (majorVersion_ != 3 && majorVersion_ != 4) return false;
    const int mask = majorVersion_ == 3 ? mask3 : mask4;
    byte = util::lowBits<std::uint8_t>(value ? byte | mask : clearedFrom & ~mask);
    return true;
}

bool id3V2Frame::compress() const {
    return isFlagSet(flagByte2_, 0x80, 0x08);
}
bool id3V2Frame::encrypted() const {
    return isFlagSet(flagByte2_, 0x40, 0x04);
}
bool id3V2Frame::unsynch() const {
    return isFlagSet(flagByte2_, 0, dialect_->asksOtherUnsynchronisationBit ? 0x80 : 0x02);
}
bool id3V2Frame::readOnly() const {
    return isFlagSet(flagByte1_, 0x20, 0x10);
}
bool id3V2Frame::dropIfTagChange() const {
    return isFlagSet(flagByte1_, 0x80, 0x40);
}
bool id3V2Frame::dropIfFileChange() const {
    return isFlagSet(flagByte1_, 0x40, 0x20);
}

bool id3V2Frame::setCompress(bool value) {
    return setFlag(flagByte2_, flagByte2_, 0x80, 0x08, value);
}
bool id3V2Frame::setEncrypted(bool value) {
    return setFlag(flagByte2_, flagByte2_, 0x40, 0x04, value);
}
bool id3V2Frame::setUnsynch(bool value) {
    return majorVersion_ == 4 && setFlag(flagByte2_, flagByte2_, 0, 0x02, value);
}
bool id3V2Frame::setDropIfTagChange(bool value) {
    return setFlag(flagByte1_, flagByte1_, 0x80, 0x40, value);
}
bool id3V2Frame::setDropIfFileChange(bool value) {
    return setFlag(flagByte1_, flagByteToClearFrom(), 0x40, 0x20, value);
}
bool id3V2Frame::setReadOnly(bool value) {
    return setFlag(flagByte1_, flagByteToClearFrom(), 0x20, 0x10, value);
}

// Meant so in the system dialect: in 2.4 the first byte becomes the second without the flag.
std::uint8_t id3V2Frame::flagByteToClearFrom() const {
    return majorVersion_ == 4 && dialect_->clearsFlagsFromSecondByte ? flagByte2_ : flagByte1_;
}

TextEncoding id3V2Frame::convertTextCodingByte(std::uint8_t coding) const {
    if (majorVersion_ < 2 && coding > 2) return TextEncoding::utf16WithMark;
    switch (coding) {
        case 1:
            return TextEncoding::utf16WithMark;
        case 2:
            return dialect_->readsEncodingTwoAsUTF8 ? TextEncoding::utf8 : TextEncoding::utf16BigEndian;
        case 3:
            return TextEncoding::utf8;
        default:
            return TextEncoding::latin1;
    }
}

std::uint8_t id3V2Frame::getTextCodingByte(std::int32_t coding) const {
    return util::lowBits<std::uint8_t>(majorVersion_ < 2 && coding >= 2 ? 1 : coding);
}

std::string id3V2Frame::decode(util::Bytes bytes, TextEncoding encoding) {
    // Half a terminator: some taggers end UTF-16 with one zero byte.
    if (isWide(encoding) && bytes.size() % 2 != 0 && bytes.back() == 0) bytes = bytes.first(bytes.size() - 1);
    switch (encoding) {
        case TextEncoding::utf16WithMark:
            return util::decodeUTF16(bytes, util::ByteOrder::littleEndian);
        case TextEncoding::utf16BigEndian:
            return util::decodeUTF16(bytes, util::ByteOrder::bigEndian);
        case TextEncoding::utf8:
            return util::decodeUTF8(bytes);
        default:
            return util::decodeLatin1(bytes);
    }
}

std::string id3V2Frame::encode(std::string_view utf8, TextEncoding encoding) {
    switch (encoding) {
        case TextEncoding::utf16WithMark:
            return "\xff\xfe" + util::encodeUTF16(utf8, util::ByteOrder::littleEndian);
        case TextEncoding::utf16BigEndian:
            return util::encodeUTF16(utf8, util::ByteOrder::bigEndian);
        case TextEncoding::utf8:
            return util::decodeUTF8(util::bytesOf(utf8));
        default:
            return util::encodeLatin1Lossy(utf8);
    }
}

}  // namespace quillet
