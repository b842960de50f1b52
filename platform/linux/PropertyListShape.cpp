#include "platform/linux/PropertyListShape.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>
#include <vector>

#include "util/ByteReader.hpp"

namespace quillet {

namespace {

/// The objects of a binary list, each looked at once however many places refer to it.
class BinaryShape {
  public:
    explicit BinaryShape(util::Bytes bytes) : bytes_(bytes) {}

    bool isSound() {
        constexpr std::size_t kMarkerSize = 8;
        constexpr std::size_t kTrailerSize = 32;
        if (bytes_.size() < kMarkerSize + kTrailerSize) return false;
        util::ByteReader trailer(bytes_.last(kTrailerSize));
        trailer.skip(6);
        offsetSize_ = trailer.u8().value_or(0);
        referenceSize_ = trailer.u8().value_or(0);
        objectCount_ = trailer.u64BigEndian().value_or(0);
        const std::uint64_t top = trailer.u64BigEndian().value_or(0);
        const std::uint64_t table = trailer.u64BigEndian().value_or(0);
        const std::uint64_t end = bytes_.size() - kTrailerSize;
        if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8) return false;
        if (table < kMarkerSize || table > end || objectCount_ > (end - table) / offsetSize_) return false;
        objects_ = bytes_.first(table);
        offsets_ = bytes_.subspan(table, end - table);
        known_.resize(objectCount_);
        const auto shape = shapeOf(top, 0);
        return shape.has_value();
    }

  private:
    struct Shape {
        std::uint64_t cost = 0;  ///< about the memory that a copy takes; 0 while it is not known
        int height = 0;
        bool isKey = false;  ///< text without NUL: libplist ends the process at a key with one in it
    };

    static std::optional<std::uint64_t> unsignedOf(util::ByteReader& reader, std::size_t size) {
        const auto bytes = reader.take(size);
        if (!bytes) return std::nullopt;
        std::uint64_t value = 0;
        for (const std::uint8_t byte : *bytes) value = (value << 8) | byte;
        return value;
    }

    /// The length behind a marker, which stands in its low half or in a whole number of its own.
    static std::optional<std::uint64_t> lengthOf(util::ByteReader& reader, std::uint8_t marker) {
        if ((marker & 0x0F) != 0x0F) return marker & 0x0F;
        const auto size = reader.u8();
        if (!size || (*size & 0xF0) != 0x10 || (*size & 0x0F) > 3) return std::nullopt;
        return unsignedOf(reader, std::size_t{1} << (*size & 0x0F));
    }

    static bool hasNul(util::ByteReader reader, std::uint64_t length, std::size_t unit) {
        for (std::uint64_t i = 0; i < length; ++i)
            if (unsignedOf(reader, unit) == std::uint64_t{0}) return true;
        return false;
    }

    std::optional<util::ByteReader> objectAt(std::uint64_t object) const {
        if (object >= objectCount_) return std::nullopt;
        util::ByteReader table(offsets_);
        util::ByteReader reader(objects_);
        table.skip(object * offsetSize_);
        const auto offset = unsignedOf(table, offsetSize_);
        if (!offset || *offset < 8 || *offset >= objects_.size() || !reader.skip(*offset)) return std::nullopt;
        return reader;
    }

    std::optional<Shape> shapeOf(std::uint64_t object, int depth) {
        auto reader = objectAt(object);
        if (!reader) return std::nullopt;
        Shape& known = known_[object];
        if (known.cost == 0) {
            const auto found = examine(*reader, depth);
            if (!found) return std::nullopt;
            known = *found;
        }
        const std::uint64_t limit = (std::uint64_t{16} << 20) + 64 * bytes_.size();
        if (depth + known.height > kDeepestPropertyList || known.cost > limit) return std::nullopt;
        return known;
    }

    std::optional<Shape> examine(util::ByteReader reader, int depth) {
        constexpr std::uint64_t kNodeCost = 64;
        const std::uint8_t marker = reader.u8().value_or(0);
        switch (marker & 0xF0) {
            case 0x00:  // false and true
                return marker == 0x08 || marker == 0x09 ? std::optional(Shape{kNodeCost, 0, false}) : std::nullopt;
            case 0x10: {  // whole number; one of 16 bytes holds an unsigned one of 8
                const std::size_t size = std::size_t{1} << (marker & 0x0F);
                if (size > 16 || (size == 16 && reader.u64BigEndian() != std::uint64_t{0})) return std::nullopt;
                return reader.skip(std::min<std::size_t>(size, 8)) ? std::optional(Shape{kNodeCost, 0, false})
                                                                   : std::nullopt;
            }
            case 0x20:  // real number
                if (marker != 0x22 && marker != 0x23) return std::nullopt;
                return reader.skip(marker == 0x22 ? 4 : 8) ? std::optional(Shape{kNodeCost, 0, false}) : std::nullopt;
            case 0x30:  // date
                return marker == 0x33 && reader.skip(8) ? std::optional(Shape{kNodeCost, 0, false}) : std::nullopt;
            case 0x40:
            case 0x50:
            case 0x60: {  // data, ASCII, UTF-16
                const auto length = lengthOf(reader, marker);
                const std::uint64_t unit = (marker & 0xF0) == 0x60 ? 2 : 1;
                if (!length || *length > reader.remaining() / unit) return std::nullopt;
                return Shape{kNodeCost + *length * unit, 0, (marker & 0xF0) != 0x40 && !hasNul(reader, *length, unit)};
            }
            case 0xA0:
            case 0xD0: {  // array, dictionary: all keys, then all values
                if (depth >= kDeepestPropertyList) return std::nullopt;
                const auto length = lengthOf(reader, marker);
                const bool dictionary = (marker & 0xF0) == 0xD0;
                if (!length || *length > reader.remaining() / referenceSize_ / (dictionary ? 2 : 1))
                    return std::nullopt;
                Shape shape{kNodeCost, 1, false};
                for (std::uint64_t i = 0; i < *length * (dictionary ? 2 : 1); ++i) {
                    const auto object = unsignedOf(reader, referenceSize_);
                    if (!object) return std::nullopt;
                    const auto child = shapeOf(*object, depth + 1);
                    if (!child || (dictionary && i < *length && !child->isKey)) return std::nullopt;
                    shape.cost += child->cost;  // of at most 2^31 children with at most 2^37 each
                    shape.height = std::max(shape.height, child->height + 1);
                }
                return shape;
            }
            default:
                return std::nullopt;
        }
    }

    util::Bytes bytes_, objects_, offsets_;
    std::size_t offsetSize_ = 0, referenceSize_ = 0;
    std::uint64_t objectCount_ = 0;
    std::vector<Shape> known_;
};

constexpr std::string_view kContainers[] = {"plist", "dict", "array"};
constexpr std::string_view kLeaves[] = {"key", "string", "integer", "real", "date", "data", "true", "false"};

bool isOneOf(std::string_view name, auto& names) {
    return std::ranges::find(names, name) != std::end(names);
}

/// Walks from tag to tag. Stricter than libplist, so that both see the same elements.
class XMLShape {
  public:
    explicit XMLShape(std::string_view text) : rest_(text) {}

    bool isSound() {
        while (true) {
            const std::size_t tag = rest_.find('<');
            if (!isSoundText(rest_.substr(0, tag))) return false;
            if (tag == std::string_view::npos) return open_.empty();
            rest_.remove_prefix(tag + 1);
            if (!(rest_.starts_with('!') || rest_.starts_with('?') ? passDeclaration() : passTag())) return false;
        }
    }

  private:
    /// What stands before `end`, which is passed too.
    std::optional<std::string_view> takeUntil(std::string_view end) {
        const std::size_t position = rest_.find(end);
        if (position == std::string_view::npos) return std::nullopt;
        const std::string_view taken = rest_.substr(0, position);
        rest_.remove_prefix(position + end.size());
        return taken;
    }

    bool skip(std::string_view start) {
        if (!rest_.starts_with(start)) return false;
        rest_.remove_prefix(start.size());
        return true;
    }

    /// No NUL, neither as it is nor as a character reference: libplist ends the process at a key with one in it.
    static bool isSoundText(std::string_view text) {
        if (text.find('\0') != std::string_view::npos) return false;
        for (std::size_t start = text.find("&#"); start != std::string_view::npos; start = text.find("&#", start + 2)) {
            const bool hexadecimal = text.substr(start + 2).starts_with('x');
            const std::string_view digits = text.substr(start + (hexadecimal ? 3 : 2));
            std::uint32_t character = 0;
            const char* end = digits.data() + digits.size();
            const auto [stop, error] = std::from_chars(digits.data(), end, character, hexadecimal ? 16 : 10);
            if (error != std::errc() || stop == end || *stop != ';' || character == 0 || character > 0x10FFFF)
                return false;
        }
        return true;
    }

    bool passDeclaration() {
        if (skip("!--")) {
            const auto comment = takeUntil("--");  // XML 1.0 section 2.5: "--" stands at the end alone
            // One that begins with ">" is where programs differ about its end.
            return comment && !comment->starts_with('>') && !comment->starts_with("->") && skip(">");
        }
        if (skip("![CDATA[")) {
            const auto text = takeUntil("]]>");
            return text && text->find('\0') == std::string_view::npos;
        }
        if (skip("?")) {
            const auto instruction = takeUntil("?>");
            return instruction && !instruction->empty();
        }
        const auto declaration = takeUntil(">");
        return declaration && declaration->find('[') == std::string_view::npos && quotesAreClosed(*declaration);
    }

    static bool quotesAreClosed(std::string_view text) {
        return std::ranges::count(text, '"') % 2 == 0 && std::ranges::count(text, '\'') % 2 == 0;
    }

    bool passTag() {
        auto tag = takeUntil(">");
        if (!tag || tag->find('<') != std::string_view::npos || !quotesAreClosed(*tag)) return false;
        if (tag->starts_with('/')) {
            if (open_.empty() || open_.back() != tag->substr(1)) return false;
            open_.pop_back();
            return true;
        }
        const bool empty = tag->ends_with('/');
        if (empty) tag->remove_suffix(1);
        const std::string_view name = tag->substr(0, tag->find_first_of(" \t\r\n"));
        const bool container = isOneOf(name, kContainers);
        if (!container && !isOneOf(name, kLeaves)) return false;
        if (container && open_.size() > kDeepestPropertyList) return false;  // <plist> counts as well
        if (name == "plist" && !open_.empty()) return false;
        if (!open_.empty() && isOneOf(open_.back(), kLeaves)) return false;
        if (!empty) open_.push_back(name);
        return true;
    }

    std::string_view rest_;
    std::vector<std::string_view> open_;
};

}  // namespace

bool isSoundBinaryPropertyList(util::Bytes bytes) {
    return BinaryShape(bytes).isSound();
}

bool isSoundXMLPropertyList(util::Bytes bytes) {
    return XMLShape(util::charactersOf(bytes)).isSound();
}

}  // namespace quillet
