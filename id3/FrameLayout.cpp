#include "id3/FrameLayout.hpp"

#include <algorithm>

#include "id3/ImageFormat.hpp"
#include "id3/TextTerminator.hpp"
#include "util/ByteReader.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

using util::ByteReader;
using util::Bytes;

struct KnownLayout {
    FrameID identifier;
    FrameID identifier2;  ///< in 2.2
    std::string_view layout;
};
constexpr KnownLayout kLayouts[] = {
    {"COMM", "COM", "3tT"},   {"USLT", "ULT", "3tT"},  {"USER", "", "3T"},      {"TXXX", "TXX", "tV"},
    {"WXXX", "WXX", "tb"},    {"APIC", "PIC", "m1tb"}, {"GEOB", "GEO", "zttb"}, {"SYLT", "SLT", "5tL"},
    {"COMR", "", "z8z1ttzb"}, {"OWNE", "", "z8T"},
};

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
/// Bytes of a picture's format in 2.2.
constexpr std::size_t kFormatLength = 3;
/// Bytes behind each line of a synchronised text.
constexpr std::size_t kLineTimeLength = 4;

/// A part of a body: bytes that stay, or a text that is encoded anew.
struct Piece {
    std::string content;
    bool isText = false;
    bool isTerminated = false;
};

class BodyReader {
  public:
    BodyReader(Bytes body, TextEncoding encoding, std::int32_t from, std::int32_t to)
        : reader_(body), encoding_(encoding), from_(from), to_(to) {}

    void take(char kind) {
        switch (kind) {
            case 'z':
                return takeBytes(util::charactersOf(upToTerminator(TextEncoding::latin1)), true);
            case 't':
                return takeText(true);
            case 'm':
                return takeFormat();
            case 'T':
                return takeText(false);
            case 'V':
                return takeValues();
            case 'L':
                while (!reader_.atEnd()) {
                    takeText(true);
                    takeCount(kLineTimeLength);
                }
                return;
            case 'b':
                return takeCount(reader_.remaining());
            default:
                return takeCount(static_cast<std::size_t>(kind - '0'));
        }
    }
    const std::vector<Piece>& pieces() const { return pieces_; }
    /// Whether the other version has a part in another form.
    bool hasChanged() const { return hasChanged_; }

  private:
    Bytes upToTerminator(TextEncoding encoding) {
        const auto end = terminatorIn(reader_.rest(), encoding);
        const Bytes text = *reader_.take(end.value_or(reader_.remaining()));
        if (end) reader_.skip(terminatorLength(encoding));
        return text;
    }
    void takeBytes(std::string_view bytes, bool isTerminated = false) {
        pieces_.push_back({std::string(bytes) + std::string(isTerminated ? 1 : 0, '\0'), false, false});
    }
    void takeCount(std::size_t count) {
        takeBytes(util::charactersOf(*reader_.take(std::min(count, reader_.remaining()))));
    }
    void takeText(bool isTerminated) {
        const Bytes text = isTerminated ? upToTerminator(encoding_) : *reader_.take(reader_.remaining());
        pieces_.push_back({id3V2Frame::decode(text, encoding_), true, isTerminated});
    }
    void takeValues() {
        takeText(false);
        const auto values = valuesOf(pieces_.back().content);
        if (values.size() < 2 || to_ >= 4) return;
        pieces_.back().content = joined(values, kBetweenOldValues);
        hasChanged_ = true;
    }
    void takeFormat() {
        const bool fromFormat = from_ < 3;
        const bool toFormat = to_ < 3;
        const Bytes stated = fromFormat ? *reader_.take(std::min(kFormatLength, reader_.remaining()))
                                        : upToTerminator(TextEncoding::latin1);
        if (fromFormat == toFormat) return takeBytes(util::charactersOf(stated), !toFormat);
        hasChanged_ = true;
        const std::string text = util::decodeLatin1(stated);
        if (!toFormat) return takeBytes(util::encodeLatin1Lossy(mimeTypeOfFormat(text)), true);
        std::string format = util::encodeLatin1Lossy(formatOfMimeType(text));
        format.resize(kFormatLength, ' ');
        takeBytes(format);
    }

    ByteReader reader_;
    TextEncoding encoding_;
    std::int32_t from_;
    std::int32_t to_;
    std::vector<Piece> pieces_;
    bool hasChanged_ = false;
};

}  // namespace

std::string_view layoutOf(FrameID identifier) {
    for (const KnownLayout& known : kLayouts) {
        if (identifier == known.identifier || (!identifier.empty() && identifier == known.identifier2))
            return known.layout;
    }
    return "";
}

std::uint8_t encodingFor(std::string_view text, std::uint8_t coding, std::int32_t version) {
    if (hasEncoding(version, coding)) return coding;
    return util::encodeLatin1(text) ? 0 : 1;
}

std::vector<std::string> valuesOf(std::string_view text) {
    std::vector<std::string> values;
    for (std::string_view value : util::split(text, '\0')) {
        if (value.starts_with(kByteOrderMark)) value.remove_prefix(kByteOrderMark.size());
        values.emplace_back(value);
    }
    while (!values.empty() && values.back().empty()) values.pop_back();
    return values;
}

std::string joined(const std::vector<std::string>& values, std::string_view between) {
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) text.append(i == 0 ? "" : between).append(values[i]);
    return text;
}

util::Data bodyForVersion(const id3V2Frame& frame, std::string_view layout, std::int32_t version) {
    const util::Data& body = *frame.getRawFrameData();
    ByteReader reader(body.bytes());
    const auto coding = reader.u8();
    if (layout.empty() || !coding) return body;
    BodyReader parts(reader.rest(), frame.convertTextCodingByte(*coding), frame.majorVersion(), version);
    for (const char kind : layout) parts.take(kind);
    if (hasEncoding(version, *coding) && !parts.hasChanged()) return body;

    std::string text;
    for (const Piece& piece : parts.pieces()) {
        if (piece.isText) text += piece.content;
    }
    const std::uint8_t newCoding = encodingFor(text, *coding, version);
    const TextEncoding encoding = frame.convertTextCodingByte(newCoding);
    std::string bytes(1, static_cast<char>(newCoding));
    for (const Piece& piece : parts.pieces()) {
        bytes += piece.isText ? id3V2Frame::encode(piece.content, encoding) : piece.content;
        if (piece.isTerminated) bytes.append(terminatorLength(encoding), '\0');
    }
    return util::Data::copyOf(util::bytesOf(bytes));
}

}  // namespace quillet
