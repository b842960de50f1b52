#include "platform/linux/BinaryPropertyList.hpp"

#include <bit>
#include <deque>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>

#include "util/Text.hpp"

namespace quillet {

namespace {

/// How many bytes `value` takes: 1, 2, 4 or 8.
std::size_t widthOf(std::uint64_t value) {
    if (value <= 0xFF) return 1;
    if (value <= 0xFFFF) return 2;
    return value <= 0xFFFFFFFF ? 4 : 8;
}

class BinaryWriter {
  public:
    std::size_t add(const util::PropertyValue& value) {
        if (const auto* text = value.text()) return addText(*text);
        if (const auto* dictionary = value.dictionary()) return add(*dictionary);
        const std::size_t index = objects_.size();
        objects_.push_back({.value = &value, .firstChild = references_.size(), .children = 0});
        if (const auto* array = value.array()) {
            const std::size_t first = reserveChildren(index, array->size());
            for (std::size_t i = 0; i < array->size(); ++i) {
                const std::size_t child = add((*array)[i]);
                references_[first + i] = child;
            }
        }
        return index;
    }

    std::size_t add(const util::PropertyDictionary& dictionary) {
        const std::size_t index = objects_.size();
        objects_.push_back({.dictionary = true});
        std::size_t key = reserveChildren(index, 2 * dictionary.size());
        for (const auto& [name, value] : dictionary) {
            const std::size_t nameIndex =
                addText(name.find('\0') == name.npos ? std::string_view(name) : withoutNul(name));
            const std::size_t valueIndex = add(value);
            references_[key] = nameIndex;
            references_[key + dictionary.size()] = valueIndex;
            ++key;
        }
        return index;
    }

    std::vector<std::uint8_t> written() {
        const std::size_t referenceWidth = widthOf(objects_.size());
        out_ = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
        std::vector<std::size_t> offsets;
        offsets.reserve(objects_.size());
        for (const Object& object : objects_) {
            offsets.push_back(out_.size());
            write(object, referenceWidth);
        }
        const std::size_t table = out_.size();
        const std::size_t offsetWidth = widthOf(table);
        for (const std::size_t offset : offsets) put(offset, offsetWidth);
        put(0, 6);
        put(offsetWidth, 1);
        put(referenceWidth, 1);
        put(offsets.size(), 8);
        put(0, 8);  // the top object is the first
        put(table, 8);
        return std::move(out_);
    }

  private:
    struct Object {
        const util::PropertyValue* value = nullptr;  ///< null for a dictionary and for a text
        const std::string_view* text = nullptr;      ///< a key of texts_, or null
        bool dictionary = false;
        std::size_t firstChild = 0;  ///< in references_; a dictionary has all keys, then all values
        std::size_t children = 0;
    };

    std::size_t reserveChildren(std::size_t index, std::size_t count) {
        objects_[index].firstChild = references_.size();
        objects_[index].children = count;
        references_.resize(references_.size() + count);
        return objects_[index].firstChild;
    }

    /// Kept for as long as the writer.
    std::string_view withoutNul(std::string_view text) {
        std::string& replaced = replaced_.emplace_back();
        for (const char character : text) {
            if (character == '\0')
                replaced += "\xEF\xBF\xBD";
            else
                replaced += character;
        }
        return replaced;
    }

    std::size_t addText(std::string_view text) {
        const auto [entry, added] = texts_.try_emplace(text, objects_.size());
        if (added) objects_.push_back({.text = &entry->first});
        return entry->second;
    }

    void write(const Object& object, std::size_t referenceWidth) {
        if (object.text != nullptr) {
            writeText(*object.text);
        } else if (object.dictionary || object.value->array() != nullptr) {
            writeLength(object.dictionary ? 0xD0 : 0xA0, object.dictionary ? object.children / 2 : object.children);
            for (std::size_t i = 0; i < object.children; ++i) put(references_[object.firstChild + i], referenceWidth);
        } else {
            writeScalar(*object.value);
        }
    }

    void writeScalar(const util::PropertyValue& value) {
        if (const auto* truth = value.boolean()) put(*truth ? 0x09 : 0x08, 1);
        if (const auto* number = value.signedInteger()) {
            if (*number >= 0)
                writeWholeNumber(static_cast<std::uint64_t>(*number));
            else
                writeMarked(0x13, static_cast<std::uint64_t>(*number));
        }
        if (const auto* number = value.unsignedInteger()) writeWholeNumber(*number);
        if (const auto* number = value.real()) writeMarked(0x23, std::bit_cast<std::uint64_t>(*number));
        if (const auto* date = value.date()) writeMarked(0x33, std::bit_cast<std::uint64_t>(date->seconds));
        if (const auto* data = value.data()) {
            writeLength(0x40, data->size());
            append(data->bytes());
        }
    }

    void writeMarked(std::uint8_t marker, std::uint64_t bits) {
        put(marker, 1);
        put(bits, 8);
    }

    /// Those of 1, 2 and 4 bytes have no sign, those of 8 have one, and above them 16 bytes are needed.
    void writeWholeNumber(std::uint64_t value) {
        const bool wide = value > std::uint64_t{std::numeric_limits<std::int64_t>::max()};
        const std::size_t width = widthOf(value);
        put(wide ? 0x14U : 0x10U | static_cast<unsigned>(std::countr_zero(width)), 1);
        if (wide) put(0, 8);
        put(value, width);
    }

    void writeLength(unsigned marker, std::size_t length) {
        put(marker | (length < 15 ? length : 15), 1);
        if (length >= 15) writeWholeNumber(length);
    }

    void writeText(std::string_view text) {
        bool ascii = true;
        for (const char character : text)  // libplist reads ASCII no further than to a NUL
            ascii = ascii && character != '\0' && static_cast<unsigned char>(character) < 0x80;
        const std::string wide = ascii ? std::string() : util::encodeUTF16(text, util::ByteOrder::bigEndian);
        writeLength(ascii ? 0x50 : 0x60, ascii ? text.size() : wide.size() / 2);
        append(util::bytesOf(ascii ? text : std::string_view(wide)));
    }

    void put(std::uint64_t value, std::size_t width) {
        for (std::size_t shift = 8 * width; shift > 0; shift -= 8)
            out_.push_back(static_cast<std::uint8_t>(value >> (shift - 8)));
    }

    void append(util::Bytes bytes) { out_.insert(out_.end(), bytes.begin(), bytes.end()); }

    std::vector<Object> objects_;
    std::vector<std::size_t> references_;
    std::unordered_map<std::string_view, std::size_t> texts_;  ///< borrowed from the value and from replaced_
    std::deque<std::string> replaced_;
    std::vector<std::uint8_t> out_;
};

}  // namespace

std::vector<std::uint8_t> binaryPropertyList(const util::PropertyDictionary& dictionary) {
    BinaryWriter writer;
    writer.add(dictionary);
    return writer.written();
}

std::vector<std::uint8_t> binaryPropertyList(const util::PropertyValue& value) {
    BinaryWriter writer;
    writer.add(value);
    return writer.written();
}

}  // namespace quillet
