#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/BinaryPropertyList.hpp"
#include "platform/linux/LibplistPropertyLists.hpp"
#include "platform/linux/PropertyListShape.hpp"
#include "util/Files.hpp"
#include "util/Limits.hpp"
#include "util/Log.hpp"

namespace quillet {

namespace {

/// Looks through a value before it is written.
class Survey {
  public:
    bool isWritable() const noexcept { return !tooDeep_ && total_ <= util::kLargestWholeFile; }

    void take(const util::PropertyValue& value, int depth) {
        if (const auto* text = value.text()) {
            total_ += text->size();
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
            total_ += key.size();
            if (!tooDeep_) take(value, depth + 1);
        }
    }

  private:
    bool tooDeep_ = false;
    std::size_t total_ = 0;  ///< bytes of text and data
};

/// The bytes of a file with the dictionary or value in it.
template <typename Value>
std::optional<std::vector<std::uint8_t>> fileOf(const Value& value) {
    Survey survey;
    survey.take(value, 0);
    if (!survey.isWritable()) return std::nullopt;
    std::vector<std::uint8_t> file = binaryPropertyList(value);
    if (file.size() > util::kLargestWholeFile) return std::nullopt;
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
