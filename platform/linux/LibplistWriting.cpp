#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/BinaryPropertyList.hpp"
#include "platform/linux/LibplistNodes.hpp"
#include "platform/linux/LibplistPropertyLists.hpp"
#include "platform/linux/PropertyListShape.hpp"
#include "util/Files.hpp"
#include "util/Limits.hpp"
#include "util/Log.hpp"
#include "util/Narrow.hpp"

namespace quillet {

namespace {

using libplist::Form;
using libplist::formOf;
using libplist::Node;
using libplist::wellFormed;

/// Looks through a value before it is written.
class Survey {
  public:
    bool isWritable() const noexcept { return !tooDeep_ && total_ <= util::kLargestWholeFile; }
    /// Whether XML, as libplist writes it, keeps everything.
    bool fitsXML() const noexcept { return fitsXML_; }

    void take(const util::PropertyValue& value, int depth) {
        if (const auto* text = value.text()) {
            take(*text);
        } else if (const auto* number = value.unsignedInteger()) {
            if (!util::narrow<std::int64_t>(*number)) fitsXML_ = false;
        } else if (const auto* real = value.real()) {
            if (*real == 0 && std::signbit(*real)) fitsXML_ = false;
        } else if (const auto* date = value.date()) {
            const double seconds = date->seconds;
            if (!(std::abs(seconds) <= std::numeric_limits<std::int32_t>::max()) || seconds != std::floor(seconds))
                fitsXML_ = false;
        } else if (const auto* data = value.data()) {
            total_ += data->size();
        } else if (const auto* array = value.array()) {
            if (depth >= kDeepestPropertyList) tooDeep_ = true;
            for (const util::PropertyValue& child : *array)
                if (!tooDeep_) take(child, depth + 1);
        } else if (const auto* dictionary = value.dictionary()) {
            take(*dictionary, depth);
        }
    }

    void take(const util::PropertyDictionary& dictionary, int depth) {
        if (depth >= kDeepestPropertyList) tooDeep_ = true;
        for (const auto& [key, value] : dictionary) {
            take(key);
            if (!tooDeep_) take(value, depth + 1);
        }
    }

  private:
    void take(const std::string& text) {
        total_ += text.size();
        for (const char character : text)  // a reader of XML makes a carriage return a line feed
            if (static_cast<unsigned char>(character) < 0x20 && character != '\t' && character != '\n')
                fitsXML_ = false;
        if (text.find("\xEF\xBF\xBE") != text.npos || text.find("\xEF\xBF\xBF") != text.npos)
            fitsXML_ = false;  // U+FFFE and U+FFFF
    }

    bool tooDeep_ = false;
    bool fitsXML_ = true;
    std::size_t total_ = 0;  ///< bytes of text and data
};

// libplist's nodes of what a Survey found to fit XML.

Node nodeFor(const util::PropertyDictionary& dictionary);

Node nodeFor(const util::PropertyValue& value) {
    if (const auto* text = value.text()) return Node(plist_new_string(wellFormed(*text).c_str()));
    if (const auto* truth = value.boolean()) return Node(plist_new_bool(*truth ? 1 : 0));
    if (const auto* number = value.signedInteger()) return Node(plist_new_uint(static_cast<std::uint64_t>(*number)));
    if (const auto* number = value.unsignedInteger()) return Node(plist_new_uint(*number));
    if (const auto* number = value.real()) return Node(plist_new_real(*number));
    if (const auto* date = value.date()) return Node(plist_new_date(static_cast<std::int32_t>(date->seconds), 0));
    if (const auto* data = value.data())
        return Node(plist_new_data(util::charactersOf(data->bytes()).data(), data->size()));
    if (const auto* dictionary = value.dictionary()) return nodeFor(*dictionary);
    Node node(plist_new_array());
    for (const util::PropertyValue& child : *value.array())
        plist_array_append_item(node.get(), nodeFor(child).release());
    return node;
}

Node nodeFor(const util::PropertyDictionary& dictionary) {
    Node node(plist_new_dict());
    for (const auto& [key, value] : dictionary)
        plist_dict_set_item(node.get(), wellFormed(key).c_str(), nodeFor(value).release());
    return node;
}

/// The bytes of a file with the dictionary or value in it.
template <typename Value>
std::optional<std::vector<std::uint8_t>> fileOf(const Value& value) {
    Survey survey;
    survey.take(value, 0);
    if (!survey.isWritable()) return std::nullopt;
    std::vector<std::uint8_t> file;
    if (survey.fitsXML()) {
        const Form form = formOf(nodeFor(value).get(), plist_to_xml);
        const util::Bytes bytes = util::bytesOf(form.text());
        file.assign(bytes.begin(), bytes.end());
    } else {
        file = binaryPropertyList(value);
    }
    if (file.empty() || file.size() > util::kLargestWholeFile) return std::nullopt;
    return file;
}

}  // namespace

std::optional<std::vector<std::uint8_t>> LibplistPropertyLists::serialised(const util::PropertyValue& value) {
    return fileOf(value);
}

bool LibplistPropertyLists::writeToFile(const util::PropertyDictionary& dictionary, const std::string& path, bool) {
    const auto file = fileOf(dictionary);
    if (!file) {
        util::log(path + " cannot be written: it is nested too deeply, or too large");
        return false;
    }
    const util::Status written = util::writeFileAtomically(path, *file);
    if (!written.ok()) util::log(path + " cannot be written: " + written.message());
    return written.ok();
}

}  // namespace quillet
