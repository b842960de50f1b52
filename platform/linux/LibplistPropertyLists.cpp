#include "platform/linux/LibplistPropertyLists.hpp"

#include <plist/plist.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>

#include "platform/linux/PropertyListShape.hpp"
#include "util/Files.hpp"
#include "util/Limits.hpp"
#include "util/Narrow.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

struct NodeFreer {
    void operator()(void* node) const noexcept { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeFreer>;

struct MemoryFreer {
    void operator()(char* memory) const noexcept { std::free(memory); }
};
using Memory = std::unique_ptr<char, MemoryFreer>;

constexpr std::string_view kBinaryHead = "bplist00";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct Form {
    Memory memory;
    std::uint32_t size = 0;
    std::string_view text() const { return memory ? std::string_view(memory.get(), size) : std::string_view(); }
};

Form formOf(plist_t node, void (*write)(plist_t, char**, std::uint32_t*)) {
    char* memory = nullptr;
    Form form;
    write(node, &memory, &form.size);
    form.memory.reset(memory);
    return form;
}

Node nodeOf(std::string_view bytes, void (*read)(const char*, std::uint32_t, plist_t*)) {
    plist_t node = nullptr;
    if (const auto size = util::narrow<std::uint32_t>(bytes.size())) read(bytes.data(), *size, &node);
    return Node(node);
}

// libplist's calls cut a date to microseconds within 68 years and take a whole number above those with a sign for a
// negative one; its binary and its XML form know better. Both values are rare, so they take the long way.

Node dateNode(double seconds) {
    std::string bytes(kBinaryHead);
    bytes += '\x33';
    const auto bits = std::bit_cast<std::uint64_t>(seconds);
    for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(bits >> shift & 0xFF);
    bytes += '\x08';                                  // the offset of the one object
    bytes += std::string("\0\0\0\0\0\0\x01\x01", 8);  // sizes of offsets and references
    bytes += std::string("\0\0\0\0\0\0\0\x01", 8);    // one object
    bytes += std::string("\0\0\0\0\0\0\0\0", 8);      // it is the top one
    bytes += std::string("\0\0\0\0\0\0\0\x11", 8);    // where its offset stands
    return nodeOf(bytes, plist_from_bin);
}

std::optional<double> secondsOf(plist_t date) {
    const Form form = formOf(date, plist_to_bin);
    if (form.text().size() < kBinaryHead.size() + 9) return std::nullopt;
    std::uint64_t bits = 0;
    for (const char byte : form.text().substr(kBinaryHead.size() + 1, 8))
        bits = bits << 8 | static_cast<unsigned char>(byte);
    return std::bit_cast<double>(bits);
}

Node unsignedNode(std::uint64_t value) {
    if (value <= std::uint64_t{std::numeric_limits<std::int64_t>::max()}) return Node(plist_new_uint(value));
    return nodeOf("<plist version=\"1.0\"><integer>" + std::to_string(value) + "</integer></plist>", plist_from_xml);
}

util::PropertyValue wholeNumberOf(plist_t node) {
    std::uint64_t value = 0;
    plist_get_uint_val(node, &value);
    const auto asSigned = static_cast<std::int64_t>(value);
    if (asSigned >= 0) return asSigned;
    if (formOf(node, plist_to_xml).text().find("<integer>-") != std::string_view::npos) return asSigned;
    return value;
}

/// Makes libplist's nodes, and notes whether the XML form can keep what is in them.
class Builder {
  public:
    bool xmlKeepsAll() const noexcept { return xmlKeepsAll_; }
    bool tooLarge() const noexcept { return total_ > util::kLargestWholeFile; }

    /// Null where it is nested too deeply.
    Node nodeFor(const util::PropertyValue& value, int depth) {
        if (const auto* text = value.text()) return Node(plist_new_string(textFor(*text).c_str()));
        if (const auto* truth = value.boolean()) return Node(plist_new_bool(*truth ? 1 : 0));
        if (const auto* number = value.signedInteger())
            return Node(plist_new_uint(static_cast<std::uint64_t>(*number)));
        if (const auto* number = value.unsignedInteger()) return unsignedNode(*number);
        if (const auto* number = value.real()) {
            if (*number == 0 && std::signbit(*number)) xmlKeepsAll_ = false;
            return Node(plist_new_real(*number));
        }
        if (const auto* date = value.date()) {
            // Whole seconds of the years 1 to 9999 have an XML form.
            if (!(date->seconds >= -63114076800.0 && date->seconds < 252423993600.0) ||
                date->seconds != std::floor(date->seconds) || std::signbit(date->seconds) != (date->seconds < 0))
                xmlKeepsAll_ = false;
            return dateNode(date->seconds);
        }
        if (const auto* data = value.data()) {
            total_ += data->size();
            if (tooLarge()) return nullptr;  // before it is copied
            return Node(plist_new_data(util::charactersOf(data->bytes()).data(), data->size()));
        }
        if (depth >= kDeepestPropertyList) return nullptr;
        if (const auto* array = value.array()) return arrayFor(*array, depth);
        return dictionaryFor(*value.dictionary(), depth);
    }

    Node dictionaryFor(const util::PropertyDictionary& dictionary, int depth) {
        Node node(plist_new_dict());
        for (const auto& [key, value] : dictionary) {
            Node child = nodeFor(value, depth + 1);
            if (!child) return nullptr;
            plist_dict_set_item(node.get(), textFor(key).c_str(), child.release());
        }
        return node;
    }

  private:
    Node arrayFor(const util::PropertyArray& array, int depth) {
        Node node(plist_new_array());
        for (const util::PropertyValue& value : array) {
            Node child = nodeFor(value, depth + 1);
            if (!child) return nullptr;
            plist_array_append_item(node.get(), child.release());
        }
        return node;
    }

    const std::string& textFor(const std::string& text) {
        total_ += text.size();
        bool plain = true;
        for (const char character : text) {
            const auto byte = static_cast<unsigned char>(character);
            // A NUL is replaced below. A reader of XML makes a carriage return a line feed.
            if (byte < 0x20 && byte != '\0' && byte != '\t' && byte != '\n') xmlKeepsAll_ = false;
            if (byte == 0 || byte >= 0x80) plain = false;
        }
        if (plain) return text;
        if (text.find("\xEF\xBF\xBE") != text.npos || text.find("\xEF\xBF\xBF") != text.npos)
            xmlKeepsAll_ = false;  // U+FFFE and U+FFFF
        written_.clear();
        for (const char character : util::isUTF8(text) ? text : util::decodeUTF8(util::bytesOf(text))) {
            if (character == '\0')
                written_ += "\xEF\xBF\xBD";  // libplist's texts end at the first NUL
            else
                written_ += character;
        }
        return written_;
    }

    bool xmlKeepsAll_ = true;
    std::size_t total_ = 0;  ///< bytes of text and data
    std::string written_;
};

std::optional<util::PropertyValue> valueOf(plist_t node, int depth);

std::optional<util::PropertyArray> arrayOf(plist_t node, int depth) {
    util::PropertyArray array;
    array.reserve(plist_array_get_size(node));
    plist_array_iter memory = nullptr;
    plist_array_new_iter(node, &memory);
    const std::unique_ptr<void, decltype(&std::free)> iterator(memory, &std::free);
    plist_t child = nullptr;
    for (plist_array_next_item(node, memory, &child); child != nullptr; plist_array_next_item(node, memory, &child)) {
        auto value = valueOf(child, depth + 1);
        if (!value) return std::nullopt;
        array.push_back(*std::move(value));
    }
    return array;
}

std::string textOf(std::string_view characters) {
    return util::isUTF8(characters) ? std::string(characters) : util::decodeUTF8(util::bytesOf(characters));
}

std::optional<util::PropertyDictionary> dictionaryOf(plist_t node, int depth) {
    util::PropertyDictionary dictionary;
    plist_dict_iter memory = nullptr;
    plist_dict_new_iter(node, &memory);
    const std::unique_ptr<void, decltype(&std::free)> iterator(memory, &std::free);
    while (true) {
        char* key = nullptr;
        plist_t child = nullptr;
        plist_dict_next_item(node, memory, &key, &child);
        const Memory owned(key);
        if (child == nullptr) break;
        auto value = valueOf(child, depth + 1);
        if (!value) return std::nullopt;
        dictionary.insert_or_assign(dictionary.end(), textOf(key == nullptr ? "" : key), *std::move(value));
    }
    return dictionary;
}

std::optional<util::PropertyValue> valueOf(plist_t node, int depth) {
    const plist_type type = plist_get_node_type(node);
    if ((type == PLIST_ARRAY || type == PLIST_DICT) && depth >= kDeepestPropertyList) return std::nullopt;
    switch (type) {
        case PLIST_BOOLEAN: {
            std::uint8_t value = 0;
            plist_get_bool_val(node, &value);
            return util::PropertyValue(value != 0);
        }
        case PLIST_UINT:
            return wholeNumberOf(node);
        case PLIST_REAL: {
            double value = 0;
            plist_get_real_val(node, &value);
            return util::PropertyValue(value);
        }
        case PLIST_STRING: {
            std::uint64_t size = 0;
            const char* text = plist_get_string_ptr(node, &size);
            return util::PropertyValue(textOf({text == nullptr ? "" : text, text == nullptr ? 0 : size}));
        }
        case PLIST_DATE: {
            const auto seconds = secondsOf(node);
            if (!seconds) return std::nullopt;
            return util::PropertyValue(util::PropertyDate{*seconds});
        }
        case PLIST_DATA: {
            std::uint64_t size = 0;
            const char* data = plist_get_data_ptr(node, &size);
            return util::PropertyValue(util::Data::copyOf(util::bytesOf({data, data == nullptr ? 0 : size})));
        }
        case PLIST_ARRAY:
            return arrayOf(node, depth);
        case PLIST_DICT:
            return dictionaryOf(node, depth);
        default:
            return std::nullopt;
    }
}

Node nodeOf(util::Bytes bytes) {
    std::string_view text = util::charactersOf(bytes);
    if (text.starts_with(kBinaryHead)) return isSoundBinaryPropertyList(bytes) ? nodeOf(text, plist_from_bin) : nullptr;
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());  // libplist stumbles over it
    return isSoundXMLPropertyList(bytes) ? nodeOf(text, plist_from_xml) : nullptr;
}

/// The file that `node` makes; without text where it cannot be made.
Form fileOf(const Node& node, const Builder& builder) {
    if (!node || builder.tooLarge()) return {};
    Form form = formOf(node.get(), builder.xmlKeepsAll() ? plist_to_xml : plist_to_bin);
    if (form.size > util::kLargestWholeFile) return {};
    return form;
}

}  // namespace

std::optional<std::vector<std::uint8_t>> LibplistPropertyLists::serialised(const util::PropertyValue& value) {
    Builder builder;
    const Form form = fileOf(builder.nodeFor(value, 0), builder);
    if (form.text().empty()) return std::nullopt;
    const util::Bytes bytes = util::bytesOf(form.text());
    return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
}

std::optional<util::PropertyValue> LibplistPropertyLists::parsed(util::Bytes bytes) {
    const Node node = nodeOf(bytes);
    if (!node) return std::nullopt;
    return valueOf(node.get(), 0);
}

std::optional<util::PropertyDictionary> LibplistPropertyLists::dictionaryWithContentsOfFile(const std::string& path) {
    const auto file = util::readFile(path);
    if (!file) return std::nullopt;
    const Node node = nodeOf(file->bytes());
    if (!node || plist_get_node_type(node.get()) != PLIST_DICT) return std::nullopt;
    return dictionaryOf(node.get(), 0);
}

bool LibplistPropertyLists::writeToFile(const util::PropertyDictionary& dictionary, const std::string& path, bool) {
    Builder builder;
    const Form form = fileOf(builder.dictionaryFor(dictionary, 0), builder);
    return !form.text().empty() && util::writeFileAtomically(path, util::bytesOf(form.text())).ok();
}

}  // namespace quillet
