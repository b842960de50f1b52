#include "platform/linux/LibplistPropertyLists.hpp"

#include <bit>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "platform/linux/LibplistNodes.hpp"
#include "platform/linux/PropertyListShape.hpp"
#include "util/Files.hpp"
#include "util/Narrow.hpp"

namespace quillet {

namespace {

using libplist::Form;
using libplist::formOf;
using libplist::Memory;
using libplist::Node;
using libplist::wellFormed;

constexpr std::string_view kBinaryHead = "bplist00";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

Node nodeOf(std::string_view bytes, void (*read)(const char*, std::uint32_t, plist_t*)) {
    plist_t node = nullptr;
    if (const auto size = util::narrow<std::uint32_t>(bytes.size())) read(bytes.data(), *size, &node);
    return Node(node);
}

// libplist's calls cut a date to microseconds and do not tell whether a whole number has a sign; its binary and its XML
// form do. Both values are rare, so they take the long way.

std::optional<double> secondsOf(plist_t date) {
    const Form form = formOf(date, plist_to_bin);
    if (form.text().size() < kBinaryHead.size() + 9) return std::nullopt;
    std::uint64_t bits = 0;
    for (const char byte : form.text().substr(kBinaryHead.size() + 1, 8))
        bits = bits << 8 | static_cast<unsigned char>(byte);
    return std::bit_cast<double>(bits);
}

util::PropertyValue wholeNumberOf(plist_t node) {
    std::uint64_t value = 0;
    plist_get_uint_val(node, &value);
    const auto asSigned = static_cast<std::int64_t>(value);
    if (asSigned >= 0) return asSigned;
    if (formOf(node, plist_to_xml).text().find("<integer>-") != std::string_view::npos) return asSigned;
    return value;
}

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
        dictionary.insert_or_assign(dictionary.end(), wellFormed(key == nullptr ? "" : key), *std::move(value));
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
            return util::PropertyValue(wellFormed({text == nullptr ? "" : text, text == nullptr ? 0 : size}));
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

}  // namespace

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

}  // namespace quillet
