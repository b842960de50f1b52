#include "id3/FrameFormat.hpp"

#include <string>
#include <utility>

#include "id3/FrameWalk.hpp"
#include "id3/Limits.hpp"
#include "id3/Unsynchronisation.hpp"
#include "util/ByteReader.hpp"

namespace quillet {

namespace {

using util::Data;

// The second flag byte of 2.3 and of 2.4 (ID3v2.3.0 3.3.1, ID3v2.4.0 structure 4.1.2).
constexpr std::uint8_t kCompressed3 = 0x80;
constexpr std::uint8_t kEncrypted3 = 0x40;
constexpr std::uint8_t kGrouped3 = 0x20;
constexpr std::uint8_t kGrouped4 = 0x40;
constexpr std::uint8_t kCompressed4 = 0x08;
constexpr std::uint8_t kEncrypted4 = 0x04;
constexpr std::uint8_t kUnsynchronised4 = 0x02;
constexpr std::uint8_t kStatesLength4 = 0x01;
// The first one's three flags, which stand one bit lower in 2.4.
constexpr unsigned kStatus3 = 0xE0;
constexpr unsigned kStatus4 = 0x70;

/// Whether the frame is kept when tag or file are changed, and may be written to; 2.2 has no flags.
std::uint8_t statusFlagsFor(std::int32_t version, const id3V2Frame& frame) {
    const unsigned flags = frame.flagByte1();
    if (version < 3 || frame.majorVersion() < 3) return 0;
    if (version == frame.majorVersion()) return frame.flagByte1();
    return static_cast<std::uint8_t>(version == 3 ? flags << 1 & kStatus3 : flags >> 1 & kStatus4);
}

/// What stands between a frame's header and its content, and the content.
struct Fields {
    std::optional<std::uint8_t> group;
    std::optional<std::uint8_t> method;   ///< of encryption
    std::optional<std::uint32_t> length;  ///< without compression
    bool compressed = false;
    Data content;
};

/// Of a frame as it stands in the tag; nullopt where it is too short for what its flags announce.
std::optional<Fields> fieldsOf(const id3V2Frame& frame) {
    std::string raw;
    const bool version3 = frame.majorVersion() == 3;
    if (!frame.appendCompleteRawFrame(raw, version3) || raw.size() < kFrameHeaderLength) return std::nullopt;
    const auto flags = static_cast<std::uint8_t>(raw[kFrameHeaderLength - 1]);
    const auto has = [&](std::uint8_t mask3, std::uint8_t mask4) { return (flags & (version3 ? mask3 : mask4)) != 0; };
    Data stored = Data::copyOf(util::bytesOf(raw).subspan(kFrameHeaderLength));
    if (!version3 && (flags & kUnsynchronised4) != 0) {
        auto reversed = withoutUnsynchronisation(stored);
        if (!reversed) return std::nullopt;
        stored = std::move(*reversed);
    }
    Fields fields;
    fields.compressed = has(kCompressed3, kCompressed4);
    const bool isGrouped = has(kGrouped3, kGrouped4);
    const bool isEncrypted = has(kEncrypted3, kEncrypted4);
    util::ByteReader reader(stored.bytes());
    bool complete = true;
    const auto takeByte = [&](std::optional<std::uint8_t>& field) {
        field = reader.u8();
        complete = complete && field;
    };
    const auto takeLength = [&] {
        fields.length = reader.u32BigEndian();
        complete = complete && fields.length;
    };
    if (version3 && fields.compressed) takeLength();
    if (!version3 && isGrouped) takeByte(fields.group);
    if (isEncrypted) takeByte(fields.method);
    if (version3 && isGrouped) takeByte(fields.group);
    if (!version3 && (flags & kStatesLength4) != 0) {
        takeLength();
        if (fields.length) fields.length = synchsafe(*fields.length);
    }
    if (!complete) return std::nullopt;
    fields.content = *stored.slice(stored.size() - reader.remaining(), reader.remaining());
    return fields;
}

/// The same as another version has it, in `made`, whose second flag byte says so.
std::shared_ptr<id3V2Frame> frameOf(const Fields& fields, std::int32_t version, const id3V2Frame& like) {
    if (fields.compressed && !fields.length) return nullptr;
    const bool version3 = version == 3;
    unsigned flags = 0;
    std::string stored;
    const auto put = [&](std::optional<std::uint8_t> field, std::uint8_t mask3, std::uint8_t mask4) {
        if (!field) return;
        stored += static_cast<char>(*field);
        flags |= version3 ? mask3 : mask4;
    };
    const auto length = fields.compressed ? id3V2Frame::write4FrameLength(*fields.length) : std::string();
    if (!length) return nullptr;
    if (fields.compressed) flags |= version3 ? kCompressed3 : kCompressed4 | kStatesLength4;
    if (version3 && fields.compressed) stored += id3V2Frame::write3FrameLength(*fields.length);
    if (!version3) put(fields.group, kGrouped3, kGrouped4);
    put(fields.method, kEncrypted3, kEncrypted4);
    if (version3) put(fields.group, kGrouped3, kGrouped4);
    if (!version3) stored += *length;
    stored += util::charactersOf(fields.content.bytes());
    auto made = std::make_shared<id3V2Frame>(like.getFrameID(), statusFlagsFor(version, like),
                                             static_cast<std::uint8_t>(flags), version, kStandardDialect);
    made->keepStored(Data::copyOf(util::bytesOf(stored)));
    return made;
}

}  // namespace

std::shared_ptr<id3V2Frame> encryptedFrameFor(std::int32_t version, const id3V2Frame& frame) {
    const auto fields = fieldsOf(frame);
    return fields ? frameOf(*fields, version, frame) : nullptr;
}

std::shared_ptr<id3V2Frame> frameLike(const id3V2Frame& old, FrameID identifier, Data body, std::int32_t version) {
    const std::uint8_t status = statusFlagsFor(version, old);
    const bool mayHaveFields = version >= 3 && old.majorVersion() >= 3 && old.flagByte2() != 0;
    const auto fields = mayHaveFields ? fieldsOf(old) : std::nullopt;
    if (fields && fields->group) {
        const std::uint8_t flag = version == 3 ? kGrouped3 : kGrouped4;
        auto made = std::make_shared<id3V2Frame>(body, identifier, status, flag, version, kStandardDialect);
        const std::string stored = static_cast<char>(*fields->group) + std::string(util::charactersOf(body.bytes()));
        made->keepStored(Data::copyOf(util::bytesOf(stored)));
        return made;
    }
    auto made = std::make_shared<id3V2Frame>(std::move(body), identifier, status, 0, version, kStandardDialect);
    if (fields && fields->compressed) {
        made->setCompress(true);
        std::string tried;
        // What is shorter as it stands cannot be compressed.
        if (!made->appendCompleteRawFrame(tried, version == 3)) made->setCompress(false);
    }
    return made;
}

}  // namespace quillet
